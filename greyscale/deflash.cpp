// Removing flashes: single pixels much brighter than the one above.
#include <cstdint>

#include "image/view.h"
#include "lumo_legacy.h"
#include "platform/cpu_level.h"

namespace {

LUMO_INLINE void deflashRowBody(const std::uint16_t* above, std::uint16_t* row,
                                const std::uint16_t* below, std::size_t count,
                                std::uint16_t threshold) {
    for (std::size_t x = 0; x < count; ++x) {
        const int up = above[x];
        const auto mean = static_cast<std::uint16_t>((up + below[x]) / 2);
        row[x] = row[x] - up > threshold ? mean : row[x];
    }
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
