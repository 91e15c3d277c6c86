// Half turns and mirrorings in place.
#include "geometry/exchange.h"

#include <algorithm>
#include <cstring>

#include "platform/cpu_level.h"

namespace lumo {
namespace {

constexpr std::size_t lanes = 16;
typedef std::uint16_t Lanes __attribute__((vector_size(lanes * sizeof(std::uint16_t))));

LUMO_INLINE void loadReversed(Lanes& to, const std::uint16_t* from) {
    std::memcpy(&to, from, sizeof to);
    to = __builtin_shufflevector(to, to, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
}

LUMO_INLINE void reverse(std::uint16_t* front, std::uint16_t* back) {
    for (; static_cast<std::size_t>(back - front) >= 2 * lanes; front += lanes, back -= lanes) {
        Lanes first, last;
        loadReversed(first, front);
        loadReversed(last, back - lanes);
        std::memcpy(front, &last, sizeof last);
        std::memcpy(back - lanes, &first, sizeof first);
    }
    std::reverse(front, back);
}

LUMO_INLINE void reverseEach(Target raster) {
    constexpr int ahead = 2;  // rows: the walk from both ends to the middle hides what comes next
    constexpr int line = 32;
    for (int y = 0; y < raster.height; ++y) {
        std::uint16_t* row = raster.row(y);
        if (y + ahead < raster.height)
            for (int x = 0; x < raster.width; x += line)
                __builtin_prefetch(row + ahead * raster.width + x, 1);
        reverse(row, row + raster.width);
    }
}

LUMO_INLINE void exchange(std::uint16_t* __restrict a, std::uint16_t* __restrict b, int count) {
    for (int i = 0; i < count; ++i) std::swap(a[i], b[i]);
}

LUMO_LEVELS(void, reverseAtLevel, reverse, (std::uint16_t * front, std::uint16_t* back),
            (front, back))
LUMO_LEVELS(void, reverseEachAtLevel, reverseEach, (Target raster), (raster))
LUMO_LEVELS(void, exchangeAtLevel, exchange, (std::uint16_t * a, std::uint16_t* b, int count),
            (a, b, count))

}  // namespace

void reverseRaster(Target raster) {
    reverseAtLevel(raster.pixels, raster.pixels + raster.count());
}

void reverseRows(Target raster) {
    reverseEachAtLevel(raster);
}

void reverseRowOrder(Target raster) {
    for (int top = 0, bottom = raster.height - 1; top < bottom; ++top, --bottom)
        exchangeAtLevel(raster.row(top), raster.row(bottom), raster.width);
}

}  // namespace lumo
