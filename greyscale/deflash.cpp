// Removing flashes: single pixels much brighter than the one above.
#include <cstdint>

#include "image/view.h"
#include "lumo_legacy.h"
#include "platform/cpu_level.h"
#include "platform/prefetch.h"
#include "platform/stream_store.h"

namespace {

/// In 16 bits throughout, so that a vector holds as many pixels as it can.
LUMO_INLINE std::uint16_t deflashed(std::uint16_t above, std::uint16_t pixel, std::uint16_t below,
                                    std::uint16_t threshold) {
    const auto mean = static_cast<std::uint16_t>((above & below) + ((above ^ below) >> 1));
    const auto rise = static_cast<std::uint16_t>(pixel > above ? pixel - above : 0);
    return rise > threshold ? mean : pixel;
}

LUMO_INLINE void deflashPixels(const std::uint16_t* __restrict above, std::uint16_t* __restrict row,
                               const std::uint16_t* __restrict below, std::ptrdiff_t count,
                               std::uint16_t threshold) {
    for (std::ptrdiff_t i = 0; i < count; ++i)
        row[i] = deflashed(above[i], row[i], below[i], threshold);
}

/// By whole cache lines of the row: a vector that lies across two lines takes twice as long. The
/// pixels before the first and behind the last one are done by blocks that overlap with these, as
/// doing a pixel again changes nothing.
LUMO_INLINE void deflashRowBody(const std::uint16_t* above, std::uint16_t* row,
                                const std::uint16_t* below, std::ptrdiff_t count,
                                std::uint16_t threshold) {
    constexpr std::ptrdiff_t line = lumo::lineBytes / sizeof *row;
    if (count < line) return deflashPixels(above, row, below, count, threshold);
    deflashPixels(above, row, below, line, threshold);
    const std::ptrdiff_t last = count - line;
    for (std::ptrdiff_t x = lumo::pixelsToLine(row); x < last; x += line) {
        lumo::prefetchAhead(below + x, lumo::farAhead);
        deflashPixels(above + x, row + x, below + x, line, threshold);
    }
    deflashPixels(above + last, row + last, below + last, line, threshold);
}
LUMO_LEVELS(void, deflashRow, deflashRowBody,
            (const std::uint16_t* above, std::uint16_t* row, const std::uint16_t* below,
             std::ptrdiff_t count, std::uint16_t threshold),
            (above, row, below, count, threshold))

}  // namespace

extern "C" int DeFlash(Image image, uint16_t threshold) {
    if (image.data == nullptr) return LumoErrorImage;
    if (image.width < 3) return LumoOk;
    const lumo::Target raster = lumo::viewOf(image);
    const std::ptrdiff_t inner = image.width - 2;
    // In order: each row is compared with the corrected one above it.
    for (int y = 1; y < image.height - 1; ++y)
        deflashRow(raster.row(y - 1) + 1, raster.row(y) + 1, raster.row(y + 1) + 1, inner,
                   threshold);
    return LumoOk;
}
