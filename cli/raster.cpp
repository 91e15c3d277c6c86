// One pass over the pixels gives all of it.
#include "cli/raster.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <span>

namespace lumo::cli {

RasterSummary summarize(const lmImage& image) {
    const std::span pixels(image.data, std::size_t{image.width} * image.height);
    if (pixels.empty()) return {};
    std::uint16_t minimum = 65535, maximum = 0;
    std::uint64_t sum = 0;
    for (const std::uint16_t pixel : pixels) {
        minimum = std::min(minimum, pixel);
        maximum = std::max(maximum, pixel);
        sum += pixel;
    }
    static_assert(std::endian::native == std::endian::little);
    const auto* bytes = static_cast<const Bytef*>(static_cast<const void*>(pixels.data()));
    const auto crc = static_cast<std::uint32_t>(crc32_z(0, bytes, pixels.size_bytes()));
    const double mean = static_cast<double>(sum) / static_cast<double>(pixels.size());
    return {minimum, maximum, mean, crc};
}

}  // namespace lumo::cli
