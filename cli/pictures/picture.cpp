// 8-bit greyscale pictures for people: scaling, coding and PNG file.
#include "cli/pictures/picture.h"

#include <png.h>

#include <algorithm>

#include "cli/files/image_output.h"
#include "cli/files/output.h"

namespace lumo::cli {
namespace {

/// First source column (or row) of each target one, and the end of the last.
std::vector<int> boundaries(int from, int to) {
    std::vector<int> bounds(static_cast<std::size_t>(to) + 1);
    for (std::size_t i = 0; i < bounds.size(); ++i)
        bounds[i] = static_cast<int>(static_cast<std::int64_t>(i) * from / to);
    return bounds;
}

std::vector<std::uint8_t> squareRootCodes(const Image& raster, const std::string& file) {
    std::vector<std::uint8_t> codes(std::size_t{raster.width} * raster.height);
    std::uint16_t white = 0;
    check(Convert_Image16_8(raster.data, codes.data(), raster.width, raster.height, 0, &white),
          file);
    return codes;
}

std::vector<std::uint8_t> linearCodes(const Image& raster, bool stretch) {
    const std::size_t count = std::size_t{raster.width} * raster.height;
    std::uint32_t white = stretch ? 1 : 65535;
    for (std::size_t i = 0; stretch && i < count; ++i)
        if (raster.data[i] != 65535) white = std::max<std::uint32_t>(white, raster.data[i]);
    std::vector<std::uint8_t> codes(count);
    for (std::size_t i = 0; i < count; ++i)
        codes[i] =
            static_cast<std::uint8_t>(std::min((raster.data[i] * 255U + white / 2) / white, 255U));
    return codes;
}

}  // namespace

ScaledDown::ScaledDown(const Image& source, int mostWidth) : image_(source) {
    if (source.width <= mostWidth) return;
    const std::int64_t exact = std::int64_t{source.height} * mostWidth / source.width;
    const int height = static_cast<int>(std::max<std::int64_t>(exact, 1));
    const std::vector<int> columns = boundaries(source.width, mostWidth);
    const std::vector<int> rows = boundaries(source.height, height);
    pixels_.reserve(static_cast<std::size_t>(mostWidth) * static_cast<std::size_t>(height));
    for (auto row = rows.begin(); row + 1 != rows.end(); ++row)
        for (auto column = columns.begin(); column + 1 != columns.end(); ++column) {
            std::uint64_t sum = 0;
            for (int y = row[0]; y < row[1]; ++y)
                for (int x = column[0]; x < column[1]; ++x)
                    sum += source.data[std::int64_t{y} * source.width + x];
            const int count = (row[1] - row[0]) * (column[1] - column[0]);
            pixels_.push_back(static_cast<std::uint16_t>(sum / static_cast<std::uint64_t>(count)));
        }
    image_ = {static_cast<std::uint16_t>(mostWidth), static_cast<std::uint16_t>(height),
              pixels_.data()};
}

void requirePictureName(const std::string& file) {
    if (file != standardStream && !hasExtension(SplitPath(file).name, "png"))
        throw usageError(file + ": a picture is a PNG file; its name ends in .png");
}

void writePicture(const Image& raster, Coding coding, const std::string& file, bool force) {
    const std::vector<std::uint8_t> codes = coding == Coding::squareRoot
                                                ? squareRootCodes(raster, file)
                                                : linearCodes(raster, coding != Coding::linear);
    const SplitPath path(file);
    StagedOutput output(path.folder, {path.name}, {}, force);
    png_image picture{};
    picture.version = PNG_IMAGE_VERSION;
    picture.width = raster.width;
    picture.height = raster.height;
    picture.format = PNG_FORMAT_GRAY;
    if (png_image_write_to_file(&picture, output.pathOf(path.name).c_str(), 0, codes.data(), 0,
                                nullptr) == 0)
        throw output.writingError(LumoErrorWrite, path.name);
    output.publish();
}

}  // namespace lumo::cli
