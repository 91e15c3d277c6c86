// Whole cache lines change places, from both ends to the middle; along a row they are reversed, too.
#include "geometry/reversal.h"

#include <algorithm>
#include <cstring>

#include "platform/prefetch.h"
#include "platform/stream_store.h"
#include "platform/vectors.h"

namespace lumo {
namespace {

constexpr int line = 32;   // pixels
constexpr int lanes = 16;  // of a vector
using Lanes = Vector<std::uint16_t, lanes * sizeof(std::uint16_t)>;

LUMO_INLINE void loadReversed(Lanes& to, const std::uint16_t* from) {
    load(to, from);
    to = __builtin_shufflevector(to, to, 15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0);
}

/// Exchanges a line at the front with one that ends at the back, both reversed.
LUMO_INLINE void exchangeReversed(std::uint16_t* front, std::uint16_t* back) {
    for (int k = 0; k < line; k += lanes) {
        Lanes first, last;
        loadReversed(first, front + k);
        loadReversed(last, back - lanes - k);
        store(last, front + k);
        store(first, back - lanes - k);
    }
}

/// Leaves to the walk what lies between the first start of a line and its counterpart at the back.
LUMO_INLINE void reverseToLine(std::uint16_t*& front, std::uint16_t*& back) {
    const auto length = static_cast<int>(std::min<std::ptrdiff_t>(back - front, 2 * line));
    for (int k = std::min(pixelsToLine(front), length / 2); k > 0; --k)
        std::swap(*front++, *--back);
}

/// The row after next is fetched meanwhile, from left to right: a walk from both ends to the middle
/// hides from the processor what comes next.
LUMO_INLINE void reverseRow(std::uint16_t* front, std::uint16_t* back) {
    const std::ptrdiff_t width = back - front;
    const std::uint16_t* next = front + 2 * width;
    reverseToLine(front, back);
    for (; back - front >= 2 * line; front += line, back -= line, next += 2 * line) {
        prefetchAhead(next, 0);
        prefetchAhead(next + line, 0);
        exchangeReversed(front, back);
    }
    std::reverse(front, back);
}

LUMO_INLINE void reverseEach(Target raster) {
    for (int y = 0; y < raster.height; ++y) reverseRow(raster.row(y), raster.row(y) + raster.width);
}

LUMO_INLINE void reverseAll(Target raster) {
    std::uint16_t *front = raster.pixels, *back = front + raster.count();
    reverseToLine(front, back);
    for (; back - front >= 2 * line; front += line, back -= line) {
        prefetchAhead(front, farAhead);
        prefetchAhead(back, -farAhead);
        exchangeReversed(front, back);
    }
    std::reverse(front, back);
}

/// Either row's successor is fetched meanwhile.
LUMO_INLINE void exchangeRows(std::uint16_t* top, std::uint16_t* bottom, int width) {
    const std::ptrdiff_t stride = width * static_cast<std::ptrdiff_t>(sizeof *top);
    int x = 0;
    for (; x + line <= width; x += line) {
        prefetchAhead(top + x, stride);
        prefetchAhead(bottom + x, -stride);
        std::uint16_t kept[line];
        std::memcpy(kept, top + x, sizeof kept);
        std::memcpy(top + x, bottom + x, sizeof kept);
        std::memcpy(bottom + x, kept, sizeof kept);
    }
    std::swap_ranges(top + x, top + width, bottom + x);
}

LUMO_INLINE void exchangeEach(Target raster) {
    for (int top = 0, bottom = raster.height - 1; top < bottom; ++top, --bottom)
        exchangeRows(raster.row(top), raster.row(bottom), raster.width);
}

LUMO_LEVELS(void, reverseAllAtLevel, reverseAll, (Target raster), (raster))
LUMO_LEVELS(void, reverseEachAtLevel, reverseEach, (Target raster), (raster))
LUMO_LEVELS(void, exchangeEachAtLevel, exchangeEach, (Target raster), (raster))

}  // namespace

void reverseRaster(Target raster) {
    reverseAllAtLevel(raster);
}

void reverseRows(Target raster) {
    reverseEachAtLevel(raster);
}

void reverseRowOrder(Target raster) {
    exchangeEachAtLevel(raster);
}

}  // namespace lumo
