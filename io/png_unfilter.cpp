// Filters undone in several rows at once.
//
// A pixel needs its left neighbour whole, so one row is a chain of a dozen operations a pixel. The
// rows of a block therefore go side by side in the lanes of one vector, each a pixel behind the one
// above: what a lane needs from above has just been made in the lane beside it.
#include "io/png_unfilter.h"

#include <algorithm>
#include <cstring>
#include <type_traits>

#include "platform/vectors.h"

namespace lumo {
namespace {

constexpr int lanes = 8;  // one byte of a sample each
using Lanes = Vector<std::int16_t, lanes * sizeof(std::int16_t)>;
using Bytes = Vector<std::uint8_t, 16>;
constexpr int filterCount = 5;

/// The bytes of all rows' pixels, each in 8 bits of a number, in lanes of their own.
LUMO_INLINE void spread(Lanes& to, std::uint64_t packed) {
    const Bytes zero{};
    Bytes bytes{};
    std::memcpy(&bytes, &packed, sizeof packed);
    bytes = __builtin_shufflevector(bytes, zero, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7,
                                    23);
    load(to, &bytes);
}
/// And back.
LUMO_INLINE std::uint64_t packed(const Lanes& from) {
    Bytes bytes;
    load(bytes, &from);
    bytes =
        __builtin_shufflevector(bytes, bytes, 0, 2, 4, 6, 8, 10, 12, 14, 0, 2, 4, 6, 8, 10, 12, 14);
    std::uint64_t result = 0;
    std::memcpy(&result, &bytes, sizeof result);
    return result;
}

constexpr std::uint16_t swapped(std::uint16_t value) {
    return static_cast<std::uint16_t>(value << 8 | value >> 8);
}

/// A sample as it stands in the file (its first byte lowest), of one byte or two, and a pixel.
template <int size>
struct Sample;
template <>
struct Sample<1> {
    static std::uint64_t of(std::uint16_t pixel) { return pixel >> 8; }
    static std::uint16_t pixel(std::uint64_t sample) {
        return static_cast<std::uint16_t>((sample & 0xFF) << 8);
    }
};
template <>
struct Sample<2> {
    static std::uint64_t of(std::uint16_t pixel) { return swapped(pixel); }
    static std::uint16_t pixel(std::uint64_t sample) {
        return swapped(static_cast<std::uint16_t>(sample));
    }
};

/// Rows that go side by side.
template <int size>
struct Block {
    static constexpr int rows = lanes / size;
    const std::uint8_t* filtered[lanes];  ///< the bytes behind the filters' numbers
    std::uint16_t* pixels[lanes];
    const std::uint16_t* above;  ///< the row above them all; null: zeros
    int count, width;            ///< rows in use, and their pixels
    Lanes useLeft{}, useAbove{}, useAverage{}, useNearest{};  ///< all bits set in a row's lanes

    [[nodiscard]] bool holds(int row, int x) const { return row < count && 0 <= x && x < width; }
};

/// What the rows' filters predict of the next pixels from their neighbours.
template <int size>
LUMO_INLINE void predict(Lanes& result, const Block<size>& block, const Lanes& left,
                         const Lanes& above, const Lanes& corner) {
    const Lanes ofLeft = above - corner, ofAbove = left - corner, ofCorner = ofLeft + ofAbove;
    const Lanes toLeft = ofLeft > -ofLeft ? ofLeft : -ofLeft;
    const Lanes toAbove = ofAbove > -ofAbove ? ofAbove : -ofAbove;
    const Lanes toCorner = ofCorner > -ofCorner ? ofCorner : -ofCorner;
    const Lanes aboveOrCorner = toAbove > toCorner ? corner : above;
    const Lanes nearest = ((toLeft > toAbove) | (toLeft > toCorner)) ? aboveOrCorner : left;
    result = (left & block.useLeft) | (above & block.useAbove) |
             (((left + above) >> 1) & block.useAverage) | (nearest & block.useNearest);
}

/// Goes through the block; row r is r pixels behind the first one. Pixels left of a row and rows
/// that are not there are zeros, as the filters take them; what is right of a row is not stored.
template <int size>
LUMO_INLINE void unfilterBody(const Block<size>& block) {
    constexpr int rows = Block<size>::rows;
    Lanes left{}, above{}, corner{};
    const auto step = [&](int x, auto whole) __attribute__((always_inline)) {
        std::uint64_t samples = 0;
        for (int r = 0; r < rows; ++r) {
            if (!whole && !block.holds(r, x - r)) continue;
            std::uint64_t sample = 0;
            std::memcpy(&sample, block.filtered[r] + std::ptrdiff_t{x - r} * size, size);
            samples |= sample << (8 * size * r);
        }
        Lanes top, values, prediction;
        const bool hasTop = block.above != nullptr && (whole || x < block.width);
        spread(top, hasTop ? Sample<size>::of(block.above[x]) : 0);
        if constexpr (size == 2)
            above = __builtin_shufflevector(left, top, 8, 9, 0, 1, 2, 3, 4, 5);
        else
            above = __builtin_shufflevector(left, top, 8, 0, 1, 2, 3, 4, 5, 6);
        spread(values, samples);
        predict(prediction, block, left, above, corner);
        left = (values + prediction) & 0xFF;
        corner = above;
        const std::uint64_t done = packed(left);
        for (int r = 0; r < rows; ++r)
            if (whole || block.holds(r, x - r))
                block.pixels[r][x - r] = Sample<size>::pixel(done >> (8 * size * r));
    };
    const int first = block.count == rows ? std::min(rows - 1, block.width) : block.width;
    int x = 0;
    for (; x < first; ++x) step(x, std::false_type());
    for (; x < block.width; ++x) step(x, std::true_type());
    for (; x < block.width + rows - 1; ++x) step(x, std::false_type());
}

LUMO_INLINE void unfilterBytesBody(const Block<1>& block) {
    unfilterBody(block);
}
LUMO_INLINE void unfilterWordsBody(const Block<2>& block) {
    unfilterBody(block);
}
LUMO_LEVELS(void, unfilterBytes, unfilterBytesBody, (const Block<1>& block), (block))
LUMO_LEVELS(void, unfilterWords, unfilterWordsBody, (const Block<2>& block), (block))

/// Adds a row; false if its filter's number is none.
template <int size>
bool addRow(Block<size>& block, const std::uint8_t* filtered, std::uint16_t* pixels) {
    const int row = block.count++;
    block.filtered[row] = filtered + 1;
    block.pixels[row] = pixels;
    Lanes* const uses[filterCount] = {nullptr, &block.useLeft, &block.useAbove, &block.useAverage,
                                      &block.useNearest};
    if (*filtered >= filterCount) return false;
    if (Lanes* use = uses[*filtered])
        for (int lane = row * size; lane < (row + 1) * size; ++lane) (*use)[lane] = -1;
    return true;
}

template <int size>
bool unfilterAll(const std::uint8_t* filtered, Target raster, int first, int count) {
    const std::size_t rowSize = filteredRowSize(raster.width, 8 * size);
    for (int y = first; y < first + count;) {
        Block<size> block{};
        block.above = y > 0 ? raster.row(y - 1) : nullptr;
        block.width = raster.width;
        for (; block.count < Block<size>::rows && y < first + count; ++y, filtered += rowSize)
            if (!addRow(block, filtered, raster.row(y))) return false;
        if constexpr (size == 1)
            unfilterBytes(block);
        else
            unfilterWords(block);
    }
    return true;
}

}  // namespace

bool unfilterRows(const std::uint8_t* filtered, int depth, Target raster, int first, int count) {
    if (first + count > raster.height) return false;
    return depth == 8 ? unfilterAll<1>(filtered, raster, first, count)
                      : unfilterAll<2>(filtered, raster, first, count);
}

}  // namespace lumo
