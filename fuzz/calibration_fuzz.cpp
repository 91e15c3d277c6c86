// Any bytes as a calibration file: a predicted code, pixels and history untouched by a refusal, and
// otherwise pixels that a correction written from the formula gives.
//
// Input: image width and height in a byte each, then the file.
#include <algorithm>
#include <cmath>

#include "support.h"

namespace {

using namespace lumo::fuzz;

/// The pixel after its correction; `file` holds the whole table.
std::uint16_t corrected(const Bytes& file, std::uint16_t pixel, std::size_t entry) {
    const float low = static_cast<float>(littleEndian(file, 16, 2)) / 100.0F;
    const float high = static_cast<float>(littleEndian(file, 18, 2)) / 100.0F;
    const double step = (static_cast<double>(high) - static_cast<double>(low)) / 65535.0;
    const std::uint32_t code = littleEndian(file, littleEndian(file, 6, 2) + 2 * entry, 2);
    const auto gain = static_cast<float>(code * step + static_cast<double>(low));
    return static_cast<std::uint16_t>(
        std::min(std::floor(pixel * static_cast<double>(gain)), 65535.0));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const int width = 1 + in.byte() % 40, height = 1 + in.byte() % 20;
    const Bytes file = in.rest();
    const std::string name = fileNamed("gains.cal");
    writeFile(name, file);

    ImageOwner image;
    require(LumoCreateImage(&image.image, static_cast<std::uint16_t>(width),
                            static_cast<std::uint16_t>(height)) == 0,
            "an image is made");
    for (int i = 0; i < width * height; ++i)
        image->data[i] =
            static_cast<std::uint16_t>(static_cast<std::uint32_t>(i) * 2654435761U >> 13);
    const auto pixels = image.pixels();
    const std::string metaData = image.metaData();
    const int code = CalibrateImage(image.image, name.c_str());

    const bool headed = file.size() >= 20;
    const std::size_t tableWidth = headed ? littleEndian(file, 2, 2) : 0;
    const std::size_t tableHeight = headed ? littleEndian(file, 4, 2) : 0;
    const bool whole =
        headed && file.size() >= littleEndian(file, 6, 2) + 2 * tableWidth * tableHeight;
    require(code == (whole ? 0 : -11), "the code is predicted");
    if (code != 0) {
        require(image.pixels() == pixels && image.metaData() == metaData,
                "a refusal changes nothing");
        return 0;
    }
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const std::size_t x = i % static_cast<std::size_t>(width),
                          y = i / static_cast<std::size_t>(width);
        const bool inTable = x < tableWidth && y < tableHeight;
        require(image->data[i] ==
                    (inTable ? corrected(file, pixels[i], y * tableWidth + x) : pixels[i]),
                "a pixel follows the formula");
    }
    require(image.entry("PerformedSteps", "Step0") ==
                "CalibrateImage(calibrationDataFileName=" + name + ")",
            "the step is recorded");
    return 0;
}
