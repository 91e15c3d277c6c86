// JPEG 2000 streams of a picture, lossless, as other systems make them.
#pragma once

#include <openjpeg.h>

#include <cstdint>
#include <vector>

namespace lumo::test {

/// Values row by row, in two's complement if `isSigned`.
inline std::vector<std::uint8_t> jpeg2000(int width, int height,
                                          const std::vector<std::uint16_t>& values, int precision,
                                          bool isSigned, int components = 1) {
    std::vector<opj_image_cmptparm_t> parameters(std::size_t(components), opj_image_cmptparm_t{});
    for (opj_image_cmptparm_t& grey : parameters) {
        grey.dx = grey.dy = 1;
        grey.w = OPJ_UINT32(width);
        grey.h = OPJ_UINT32(height);
        grey.prec = OPJ_UINT32(precision);
        grey.sgnd = isSigned;
    }
    opj_image_t* const image =
        opj_image_create(OPJ_UINT32(components), parameters.data(),
                         components == 1 ? OPJ_CLRSPC_GRAY : OPJ_CLRSPC_SRGB);
    image->x1 = OPJ_UINT32(width);
    image->y1 = OPJ_UINT32(height);
    for (int c = 0; c < components; ++c)
        for (std::size_t i = 0; i < values.size(); ++i)
            image->comps[c].data[i] = isSigned ? std::int16_t(values[i]) : values[i];

    opj_cparameters_t settings;
    opj_set_default_encoder_parameters(&settings);
    settings.tcp_numlayers = 1;
    settings.cp_disto_alloc = 1;
    settings.numresolution = 3;
    opj_codec_t* const codec = opj_create_compress(OPJ_CODEC_J2K);
    opj_setup_encoder(codec, &settings, image);
    std::vector<std::uint8_t> bytes;
    opj_stream_t* const stream = opj_stream_default_create(OPJ_FALSE);
    opj_stream_set_user_data(stream, &bytes, nullptr);
    opj_stream_set_write_function(stream, [](void* from, OPJ_SIZE_T count, void* user) {
        const auto* const data = static_cast<std::uint8_t*>(from);
        auto& all = *static_cast<std::vector<std::uint8_t>*>(user);
        all.insert(all.end(), data, data + count);
        return count;
    });
    opj_start_compress(codec, image, stream);
    opj_encode(codec, stream);
    opj_end_compress(codec, stream);
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    return bytes;
}

}  // namespace lumo::test
