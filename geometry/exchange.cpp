// Half turns and mirrorings in place.
#include "geometry/exchange.h"

#include <algorithm>
#include <cstring>

#include "platform/cpu_level.h"

namespace lumo {
namespace {

constexpr int lanes = 16;
constexpr int line = 32;  // pixels
typedef std::uint16_t Lanes __attribute__((vector_size(lanes * sizeof(std::uint16_t))));

LUMO_INLINE void loadReversed(Lanes& to, const std::uint16_t* from) {
    std::memcpy(&to, from, sizeof to);
    to = __builtin_shufflevector(to, to, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
}

/// @param ahead  bytes from either end to what the caller will reverse soon after; 0: none
LUMO_INLINE void reverse(std::uint16_t* front, std::uint16_t* back, std::ptrdiff_t ahead) {
    for (; back - front >= 2 * line; front += line, back -= line) {
        if (ahead != 0) {
            __builtin_prefetch(reinterpret_cast<char*>(front) + ahead);
            __builtin_prefetch(reinterpret_cast<char*>(back - line) + ahead);
        }
        for (int k = 0; k < line; k += lanes) {
            Lanes first, last;
            loadReversed(first, front + k);
            loadReversed(last, back - lanes - k);
            std::memcpy(front + k, &last, sizeof last);
            std::memcpy(back - lanes - k, &first, sizeof first);
        }
    }
    std::reverse(front, back);
}

LUMO_INLINE void reverseEach(Target raster) {
    constexpr int rowsAhead = 2;  // the walk from both ends to the middle hides what comes next
    for (int y = 0; y < raster.height; ++y) {
        const bool more = y + rowsAhead < raster.height;
        std::uint16_t* row = raster.row(y);
        reverse(row, row + raster.width, more ? std::ptrdiff_t{rowsAhead} * raster.width * 2 : 0);
    }
}

LUMO_INLINE void reverseAll(Target raster) {
    reverse(raster.pixels, raster.pixels + raster.count(), 0);
}

LUMO_INLINE void exchange(std::uint16_t* __restrict a, std::uint16_t* __restrict b, int count) {
    for (int i = 0; i < count; ++i) std::swap(a[i], b[i]);
}

LUMO_LEVELS(void, reverseAllAtLevel, reverseAll, (Target raster), (raster))
LUMO_LEVELS(void, reverseEachAtLevel, reverseEach, (Target raster), (raster))
LUMO_LEVELS(void, exchangeAtLevel, exchange, (std::uint16_t * a, std::uint16_t* b, int count),
            (a, b, count))

}  // namespace

void reverseRaster(Target raster) {
    reverseAllAtLevel(raster);
}

void reverseRows(Target raster) {
    reverseEachAtLevel(raster);
}

void reverseRowOrder(Target raster) {
    for (int top = 0, bottom = raster.height - 1; top < bottom; ++top, --bottom)
        exchangeAtLevel(raster.row(top), raster.row(bottom), raster.width);
}

}  // namespace lumo
