// Removing flashes: single pixels much brighter than the one above.
#include <cstdint>

#include "image/view.h"
#include "lumo_legacy.h"
#include "platform/cpu_level.h"

namespace {

/// In 16 bits throughout, so that a vector holds as many pixels as it can.
LUMO_INLINE std::uint16_t deflashed(std::uint16_t above, std::uint16_t pixel, std::uint16_t below,
                                    std::uint16_t threshold) {
    const auto mean = static_cast<std::uint16_t>((above & below) + ((above ^ below) >> 1));
    const auto rise = static_cast<std::uint16_t>(pixel > above ? pixel - above : 0);
    return rise > threshold ? mean : pixel;
}

LUMO_INLINE void deflashRowBody(const std::uint16_t* above, std::uint16_t* row,
                                const std::uint16_t* below, std::size_t count,
                                std::uint16_t threshold) {
    constexpr std::size_t lineLength = 64 / sizeof *row;
    std::size_t x = 0;
    for (; x + lineLength <= count; x += lineLength) {
        lumo::prefetchAhead(below + x);
        for (std::size_t i = x; i < x + lineLength; ++i)
            row[i] = deflashed(above[i], row[i], below[i], threshold);
    }
    for (; x < count; ++x) row[x] = deflashed(above[x], row[x], below[x], threshold);
}
LUMO_LEVELS(void, deflashRow, deflashRowBody,
            (const std::uint16_t* above, std::uint16_t* row, const std::uint16_t* below,
             std::size_t count, std::uint16_t threshold),
            (above, row, below, count, threshold))

}  // namespace

extern "C" int DeFlash(Image image, uint16_t threshold) {
    if (image.data == nullptr) return LumoErrorImage;
    if (image.width < 3) return LumoOk;
    const lumo::Target raster = lumo::viewOf(image);
    const std::size_t inner = std::size_t{image.width} - 2;
    // In order: each row is compared with the corrected one above it.
    for (int y = 1; y < image.height - 1; ++y)
        deflashRow(raster.row(y - 1) + 1, raster.row(y) + 1, raster.row(y + 1) + 1, inner,
                   threshold);
    return LumoOk;
}
