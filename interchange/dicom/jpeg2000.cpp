// A JPEG 2000 stream as words, which the DICOM library does not decode.
#include "interchange/dicom/jpeg2000.h"

#include <openjpeg.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>

#include "interchange/helper_main.h"

namespace lumo::interchange::dicom {

namespace {

using Codec = std::unique_ptr<opj_codec_t, decltype(&opj_destroy_codec)>;
using Stream = std::unique_ptr<opj_stream_t, decltype(&opj_stream_destroy)>;
using DecodedImage = std::unique_ptr<opj_image_t, decltype(&opj_image_destroy)>;

/// Where the decoder is in the bytes.
struct Bytes {
    std::span<const std::uint8_t> all;
    std::size_t at = 0;
};

OPJ_SIZE_T readBytes(void* to, OPJ_SIZE_T count, void* user) {
    Bytes& bytes = *static_cast<Bytes*>(user);
    const std::size_t part = std::min<std::size_t>(count, bytes.all.size() - bytes.at);
    if (part == 0) return static_cast<OPJ_SIZE_T>(-1);
    std::memcpy(to, bytes.all.data() + bytes.at, part);
    bytes.at += part;
    return part;
}

OPJ_OFF_T skipBytes(OPJ_OFF_T count, void* user) {
    Bytes& bytes = *static_cast<Bytes*>(user);
    const std::size_t left = bytes.all.size() - bytes.at;
    if (count < 0 || left == 0) return -1;
    const std::size_t part = std::min(static_cast<std::size_t>(count), left);
    bytes.at += part;
    return static_cast<OPJ_OFF_T>(part);
}

OPJ_BOOL seekByte(OPJ_OFF_T place, void* user) {
    Bytes& bytes = *static_cast<Bytes*>(user);
    if (place < 0 || static_cast<std::size_t>(place) > bytes.all.size()) return OPJ_FALSE;
    bytes.at = static_cast<std::size_t>(place);
    return OPJ_TRUE;
}

Stream streamOf(Bytes& bytes) {
    Stream stream(opj_stream_default_create(OPJ_STREAM_READ), opj_stream_destroy);
    if (!stream) throw std::bad_alloc();
    opj_stream_set_user_data(stream.get(), &bytes, nullptr);
    opj_stream_set_user_data_length(stream.get(), bytes.all.size());
    opj_stream_set_read_function(stream.get(), readBytes);
    opj_stream_set_skip_function(stream.get(), skipBytes);
    opj_stream_set_seek_function(stream.get(), seekByte);
    return stream;
}

/// Some files wrap the stream as a file of its own, which begins with a box of 12 bytes.
OPJ_CODEC_FORMAT formatOf(std::span<const std::uint8_t> stream) {
    constexpr std::uint8_t box[] = {0, 0, 0, 12, 'j', 'P', ' ', ' '};
    const bool wrapped =
        stream.size() >= sizeof box && std::equal(std::begin(box), std::end(box), stream.begin());
    return wrapped ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K;
}

void require(bool holds, const char* what) {
    if (!holds) throw Refusal(what);
}

void checkHeader(const opj_image_t& image, std::uint32_t width, std::uint32_t height) {
    require(image.numcomps == 1, "the JPEG 2000 stream holds colour; lumo takes grey images");
    const opj_image_comp_t& grey = image.comps[0];
    require(grey.w == width && grey.h == height && grey.dx == 1 && grey.dy == 1,
            "the file contradicts itself: the JPEG 2000 stream has another size");
    require(1 <= grey.prec && grey.prec <= 16,
            "the JPEG 2000 stream has more than 16 bits a pixel; lumo holds 16");
}

}  // namespace

Jpeg2000Values decodeJpeg2000(std::span<const std::uint8_t> bytes, std::uint32_t width,
                              std::uint32_t height, std::uint16_t* words) {
    constexpr char damaged[] = "the JPEG 2000 stream is damaged or ends early";
    Bytes place{bytes};
    const Stream stream = streamOf(place);
    const Codec codec(opj_create_decompress(formatOf(bytes)), opj_destroy_codec);
    if (!codec) throw std::bad_alloc();
    opj_dparameters_t parameters;
    opj_set_default_decoder_parameters(&parameters);
    require(opj_setup_decoder(codec.get(), &parameters) != 0, damaged);
    require(opj_decoder_set_strict_mode(codec.get(), OPJ_TRUE) != 0, damaged);

    opj_image_t* header = nullptr;
    const bool headed = opj_read_header(stream.get(), codec.get(), &header) != 0;
    const DecodedImage image(header, opj_image_destroy);
    require(headed && image, damaged);
    checkHeader(*image, width, height);
    require(opj_decode(codec.get(), stream.get(), image.get()) != 0 &&
                opj_end_decompress(codec.get(), stream.get()) != 0,
            damaged);
    checkHeader(*image, width, height);
    const opj_image_comp_t& grey = image->comps[0];
    require(grey.data != nullptr, damaged);

    const std::uint32_t mask = (1U << grey.prec) - 1;
    const std::size_t count = std::size_t{width} * height;
    for (std::size_t i = 0; i < count; ++i)
        words[i] = static_cast<std::uint16_t>(static_cast<std::uint32_t>(grey.data[i]) & mask);
    return {static_cast<int>(grey.prec), grey.sgnd != 0};
}

}  // namespace lumo::interchange::dicom
