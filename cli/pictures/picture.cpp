// Scaling by means of blocks, grey values through a window, and libpng's simple writer.
#include "cli/pictures/picture.h"

#include <png.h>

#include <algorithm>
#include <cmath>

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

void WindowOptions::check() const {
    (void)parseLimits(limits);
    if (lo && hi && *lo >= *hi)
        throw usageError("--lo " + std::to_string(*lo) + " is not below --hi " +
                         std::to_string(*hi));
}

Window WindowOptions::of(const Image& image, const std::string& file) const {
    Window window{lo.value_or(0), hi.value_or(65535)};
    if (lo && hi) return window;
    const auto [low, high] = parseLimits(limits);
    ImageValue value{};
    cli::check(Get_ImageValueLim(image, &value, low, high), file);
    if (!lo) window.black = value.min;
    if (!hi) window.white = value.max;
    return window;
}

void addWindowOptions(CLI::App& verb, WindowOptions& options) {
    const CLI::Range grey(0, 65535);
    verb.add_option("--lo", options.lo, "Grey value shown as black; else by --limits")->check(grey);
    verb.add_option("--hi", options.hi, "Grey value shown as white; else by --limits")->check(grey);
    verb.add_option("--limits", options.limits,
                    "Shares of the darkest and brightest pixels shown black and white, in parts "
                    "per million: LOW,HIGH")
        ->capture_default_str();
    verb.add_flag("--sqrt", options.squareRoot, "Lift dark parts, as for an exposure not windowed");
}

std::vector<std::uint8_t> pictureOf(const Image& raster, const Window& window, bool squareRoot) {
    const double span = std::max(window.white - window.black, 1);
    std::vector<std::uint8_t> steps(65536);
    for (int grey = 0; grey < 65536; ++grey) {
        const double share = std::clamp((grey - window.black) / span, 0.0, 1.0);
        steps[static_cast<std::size_t>(grey)] =
            static_cast<std::uint8_t>(std::lround(255 * (squareRoot ? std::sqrt(share) : share)));
    }
    std::vector<std::uint8_t> pixels(std::size_t{raster.width} * raster.height);
    for (std::size_t i = 0; i < pixels.size(); ++i) pixels[i] = steps[raster.data[i]];
    return pixels;
}

void requirePictureName(const std::string& file) {
    if (file != standardStream && !hasExtension(SplitPath(file).name, "png"))
        throw usageError(file + ": a picture is a PNG file; its name ends in .png");
}

void writePicture(const std::vector<std::uint8_t>& pixels, int width, int height,
                  const std::string& file, bool force) {
    const SplitPath path(file);
    StagedOutput output(path.folder, {path.name}, {}, force);
    png_image picture{};
    picture.version = PNG_IMAGE_VERSION;
    picture.width = static_cast<png_uint_32>(width);
    picture.height = static_cast<png_uint_32>(height);
    picture.format = PNG_FORMAT_GRAY;
    if (png_image_write_to_file(&picture, output.pathOf(path.name).c_str(), 0, pixels.data(), 0,
                                nullptr) == 0)
        throw output.writingError(LumoErrorWrite, path.name);
    output.publish();
}

}  // namespace lumo::cli
