// What all verbs share that read an image, change its pixels and write it.
#include "cli/change.h"

#include <algorithm>

#include "cli/arguments.h"
#include "cli/metadata.h"

namespace lumo::cli {
namespace {

constexpr const char* section = "Image_X";

/// Rewrites an entry that the metadata holds.
void renew(lmImage* image, const char* key, std::uint32_t value, const std::string& file) {
    if (metaValue(image, section, key).empty()) return;
    check(LumoSetMetaEntry(image, section, key, std::to_string(value).c_str()), file);
}

void renewStatistics(lmImage* image, const std::string& file) {
    ImageValue value{};
    check(Get_ImageValue(rasterOf(*image), &value), file);
    const auto mean = static_cast<std::uint16_t>(value.mean);
    if (image->maxPix != 0) image->maxPix = value.max;
    if (image->avgPix != 0) image->avgPix = mean;
    renew(image, "MaxPix", value.max, file);
    renew(image, "AvgPix", mean, file);
}

}  // namespace

void addChangeOptions(CLI::App& verb, ChangeOptions& options) {
    verb.add_option("IN", options.input, "Image file to read")->required();
    addOutputOptions(verb, options.output);
}

Status changeImage(const ChangeOptions& options, const std::string& step,
                   const std::function<void(ImageHandle&)>& change) {
    ImageOutput output(options.output);
    ImageHandle image = readImage(options.input);
    change(image);
    check(LumoAddPerformedStep(image.get(), step.c_str()), options.input);
    renewStatistics(image.get(), options.input);
    output.save(image.get());
    return done;
}

void replaceRaster(ImageHandle& image, Image raster, int factorX, int factorY,
                   const std::string& file) {
    lmImage* place = image.release();
    const int code = LumoResizeImageBuf(&place, raster.width, raster.height);
    image.reset(place);
    if (code == LumoOk)
        std::copy_n(raster.data, std::size_t{raster.width} * raster.height, image->data);
    Destroy_Image(&raster);
    check(code, file);
    image->pixelsizeX *= static_cast<std::uint32_t>(factorX);
    image->pixelsizeY *= static_cast<std::uint32_t>(factorY);
    const struct {
        const char* key;
        std::uint32_t value;
    } entries[] = {{"Width", image->width},           {"Height", image->height},
                   {"PixelsizeX", image->pixelsizeX}, {"PixelsizeY", image->pixelsizeY},
                   {"Res_X", image->pixelsizeX},      {"Res_Y", image->pixelsizeY}};
    for (const auto& [key, value] : entries) renew(image.get(), key, value, file);
    // Computed from the pitch when the image is written as XYZ.
    if (factorX != 1 || factorY != 1) renew(image.get(), "Pixelsize", 0, file);
}

}  // namespace lumo::cli
