// What can be told of a raster at one glance.
#include "cli/raster.h"

#include <algorithm>
#include <array>
#include <span>

namespace lumo::cli {

namespace {

/// CRC-32 as in PNG and zip: the remainder of each byte.
constexpr auto remainders = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < table.size(); ++byte) {
        std::uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit) value = value >> 1 ^ (value & 1 ? 0xEDB88320U : 0);
        table[byte] = value;
    }
    return table;
}();

std::uint32_t advance(std::uint32_t crc, std::uint32_t byte) {
    return crc >> 8 ^ remainders[(crc ^ byte) & 0xFF];
}

}  // namespace

RasterSummary summarize(const lmImage& image) {
    const std::span pixels(image.data, std::size_t{image.width} * image.height);
    if (pixels.empty()) return {};
    std::uint16_t minimum = 65535, maximum = 0;
    std::uint64_t sum = 0;
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint16_t pixel : pixels) {
        minimum = std::min(minimum, pixel);
        maximum = std::max(maximum, pixel);
        sum += pixel;
        crc = advance(advance(crc, pixel & 0xFFU), pixel >> 8U);
    }
    return {minimum, maximum, static_cast<double>(sum) / static_cast<double>(pixels.size()), ~crc};
}

}  // namespace lumo::cli
