// The verb `preview`: an 8-bit picture of an image, scaled down on request.
#include <algorithm>
#include <cstdint>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/image_output.h"
#include "cli/library.h"
#include "cli/output.h"
#include "cli/picture.h"

namespace lumo::cli {

Work setUpPreview(CLI::App& verb);

namespace {

constexpr int mostPixels = 65535;  // a side

struct Options {
    std::string input, output;
    int width = 0;  // 0: that of the image
    bool force = false;
};

/// First source column (or row) of each target one, and the end of the last.
std::vector<int> boundaries(int from, int to) {
    std::vector<int> bounds(static_cast<std::size_t>(to) + 1);
    for (std::size_t i = 0; i < bounds.size(); ++i)
        bounds[i] = static_cast<int>(static_cast<std::int64_t>(i) * from / to);
    return bounds;
}

/// Averages blocks of pixels, which differ by one in size where the sides do not divide.
std::vector<std::uint16_t> scaledDown(const lmImage& image, int width, int height) {
    const std::vector<int> columns = boundaries(image.width, width);
    const std::vector<int> rows = boundaries(image.height, height);
    std::vector<std::uint16_t> result;
    result.reserve(static_cast<std::size_t>(width) * static_cast<std::size_t>(height));
    for (auto row = rows.begin(); row + 1 != rows.end(); ++row)
        for (auto column = columns.begin(); column + 1 != columns.end(); ++column) {
            std::uint64_t sum = 0;
            for (int y = row[0]; y < row[1]; ++y)
                for (int x = column[0]; x < column[1]; ++x)
                    sum += image.data[std::int64_t{y} * image.width + x];
            const int count = (row[1] - row[0]) * (column[1] - column[0]);
            result.push_back(static_cast<std::uint16_t>(sum / static_cast<std::uint64_t>(count)));
        }
    return result;
}

Status run(const Options& options) {
    const SplitPath path(options.output);
    if (!hasExtension(path.name, "png"))
        throw usageError(options.output + ": a preview is a PNG file; its name ends in .png");
    const ImageHandle image = readImage(options.input);
    Image raster{image->width, image->height, image->data};
    std::vector<std::uint16_t> scaled;
    if (0 < options.width && options.width < image->width) {
        const std::int64_t exact = std::int64_t{image->height} * options.width / image->width;
        const int height = static_cast<int>(std::max<std::int64_t>(exact, 1));
        scaled = scaledDown(*image, options.width, height);
        raster = {static_cast<std::uint16_t>(options.width), static_cast<std::uint16_t>(height),
                  scaled.data()};
    }
    StagedOutput output(path.folder, {path.name}, {}, options.force);
    writePicture(raster, output.pathOf(path.name), options.output);
    output.publish();
    return done;
}

}  // namespace

Work setUpPreview(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    verb.add_option("IN", options->input, "Image file to read")->required();
    verb.add_option("OUT", options->output, "PNG picture to write")->required();
    verb.add_option("--width", options->width, "Scale down to this many pixels a row by averaging")
        ->check(CLI::Range(1, mostPixels));
    addForceOption(verb, options->force);
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
