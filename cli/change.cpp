// What all verbs share that read an image, change its pixels and write it.
#include "cli/change.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "cli/arguments.h"
#include "cli/files/inputs.h"
#include "cli/metadata.h"

namespace lumo::cli {
namespace {

constexpr const char* section = "Image_X";
constexpr std::uint64_t largestPitch = 1'000'000'000;  // nanometres: PNG's one pixel a metre

/// Rewrites an entry that the metadata holds.
void renew(lmImage* image, const char* key, std::uint32_t value, const std::string& file) {
    if (metaValue(image, section, key, file).empty()) return;
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

void renewGeometry(lmImage* image, const std::string& file) {
    const struct {
        const char* key;
        std::uint32_t value;
    } entries[] = {{"Width", image->width},           {"Height", image->height},
                   {"PixelsizeX", image->pixelsizeX}, {"PixelsizeY", image->pixelsizeY},
                   {"Res_X", image->pixelsizeX},      {"Res_Y", image->pixelsizeY}};
    for (const auto& [key, value] : entries) renew(image, key, value, file);
}

}  // namespace

void addChangeOptions(CLI::App& verb, ChangeOptions& options) {
    addInputOption(verb, options.input);
    addOutputOptions(verb, options.output);
}

Status changeImage(const ChangeOptions& options, const Change& change) {
    ImageOutput output(options.output);
    ImageHandle image = readImage(options.input);
    const std::pair before{image->pixelsizeX, image->pixelsizeY};
    change(image);
    renewStatistics(image.get(), options.input);
    renewGeometry(image.get(), options.input);
    // Computed from the pitch when the image is written as XYZ.
    if (before != std::pair{image->pixelsizeX, image->pixelsizeY})
        renew(image.get(), "Pixelsize", 0, options.input);
    output.save(image.get());
    return done;
}

Status changeImage(const ChangeOptions& options, const std::string& step, const Change& change) {
    return changeImage(options, [&](ImageHandle& image) {
        change(image);
        addStep(image.get(), step, options.input);
    });
}

void addStep(lmImage* image, const std::string& step, const std::string& file) {
    check(LumoAddPerformedStep(image, step.c_str()), file);
}

void cropTo(ImageHandle& image, const Roi& region, const std::string& file) {
    requireInside(*image, region, file);
    Image source = rasterOf(*image), cropped{};
    check(Crop_Image(&source, &cropped, region), file);
    replaceRaster(image, cropped, 1, 1, file);
}

void replaceRaster(ImageHandle& image, Image raster, int factorX, int factorY,
                   const std::string& file) {
    const std::unique_ptr<Image, int (*)(Image*)> releasing(&raster, Destroy_Image);
    const auto pitchX = std::uint64_t{image->pixelsizeX} * static_cast<std::uint64_t>(factorX);
    const auto pitchY = std::uint64_t{image->pixelsizeY} * static_cast<std::uint64_t>(factorY);
    if (std::max(pitchX, pitchY) > largestPitch)
        throw CommandError(file + ": pixels of " + std::to_string(pitchX) + " x " +
                           std::to_string(pitchY) + " nm would be larger than any format holds (" +
                           std::to_string(largestPitch) + " nm)");
    lmImage* place = image.release();
    const int code = LumoResizeImageBuf(&place, raster.width, raster.height);
    image.reset(place);
    check(code, file);
    std::copy_n(raster.data, std::size_t{raster.width} * raster.height, image->data);
    image->pixelsizeX = static_cast<std::uint32_t>(pitchX);
    image->pixelsizeY = static_cast<std::uint32_t>(pitchY);
}

}  // namespace lumo::cli
