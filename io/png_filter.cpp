// The five filters in vectors of bytes. Sums and filtered bytes are whole numbers modulo 256, the
// same in vectors of any width.
#include "io/png_filter.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/vectors.h"

namespace lumo {
namespace {

constexpr int bytesPerPixel = 2;
constexpr int filterCount = 5;  // none, left, above, average, Paeth's: their numbers in the file

/// A pixel, its neighbours on the left, above, and left of the one above.
template <class V>
struct Neighbourhood {
    V pixel, left, above, corner;
};

template <class V>
LUMO_INLINE void look(Neighbourhood<V>& n, const std::uint8_t* current, const std::uint8_t* above) {
    load(n.pixel, current);
    load(n.left, current - bytesPerPixel);
    load(n.above, above);
    load(n.corner, above - bytesPerPixel);
}

/// How far two bytes are apart.
template <class V>
LUMO_INLINE void distance(V& result, const V& a, const V& b) {
    result = (a > b ? a : b) - (a < b ? a : b);
}

/// The neighbour nearest to left + above - corner.
template <class V>
LUMO_INLINE void nearest(V& result, const Neighbourhood<V>& n) {
    V toLeft, toAbove, toCorner;
    distance(toLeft, n.above, n.corner);
    distance(toAbove, n.left, n.corner);
    distance(toCorner, toLeft, toAbove);
    // Differences of one sign add up instead; their sum, which a byte need not hold, is no nearer
    // than either, and nor is the larger.
    const auto add = (n.above > n.corner) == (n.left > n.corner);
    toCorner = add ? (toLeft > toAbove ? toLeft : toAbove) : toCorner;
    result = toAbove <= toCorner ? n.above : n.corner;
    result = ((toLeft <= toAbove) & (toLeft <= toCorner)) ? n.left : result;
}

template <int filter, class V>
LUMO_INLINE void filterPixels(V& result, const Neighbourhood<V>& n) {
    if constexpr (filter == 0) result = V{};
    if constexpr (filter == 1) result = n.left;
    if constexpr (filter == 2) result = n.above;
    if constexpr (filter == 3) result = (n.left & n.above) + ((n.left ^ n.above) >> 1);
    if constexpr (filter == 4) nearest(result, n);
    result = n.pixel - result;
}

/// Adds the magnitudes of bytes taken as -128 to 127, two to a sum.
template <class W, class V>
LUMO_INLINE void addMagnitudes(W& sums, const V& values) {
    const V magnitudes = values < -values ? values : -values;
    W pairs;
    load(pairs, &magnitudes);
    sums += (pairs & 0xFF) + (pairs >> 8);
}

using Sums = std::array<std::uint64_t, filterCount>;

/// Sums of 16 bits hold so many pairs of magnitudes of at most 128.
constexpr std::size_t vectorsAtOnce = 255;

template <int filter, class V, class W>
LUMO_INLINE void sumOne(std::array<W, filterCount>& sums, const Neighbourhood<V>& n) {
    V values;
    filterPixels<filter>(values, n);
    addMagnitudes(sums[filter], values);
}

template <int bytes>
LUMO_INLINE void sumVectors(const std::uint8_t* current, const std::uint8_t* above,
                            std::size_t vectors, Sums& sums) {
    using V = Vector<std::uint8_t, bytes>;
    using W = Vector<std::uint16_t, bytes>;
    std::array<W, filterCount> parts{};
    for (std::size_t i = 0; i < vectors * bytes; i += bytes) {
        Neighbourhood<V> n;
        look(n, current + i, above + i);
        sumOne<0>(parts, n);
        sumOne<1>(parts, n);
        sumOne<2>(parts, n);
        sumOne<3>(parts, n);
        sumOne<4>(parts, n);
    }
    for (std::size_t filter = 0; filter < filterCount; ++filter)
        for (std::size_t i = 0; i < bytes / sizeof(std::uint16_t); ++i)
            sums[filter] += parts[filter][i];
}

/// GCC 12 takes comparisons of 64 bytes apart, byte by byte.
template <int bytes>
constexpr int widestOf = bytes < avx2Bytes ? bytes : avx2Bytes;

/// The sums of all filters' magnitudes over `size` bytes, a multiple of every vector's.
template <int bytes>
LUMO_INLINE void sumBody(const std::uint8_t* current, const std::uint8_t* above, std::size_t size,
                         Sums& sums) {
    constexpr int used = widestOf<bytes>;
    for (std::size_t i = 0; i < size; i += vectorsAtOnce * used)
        sumVectors<used>(current + i, above + i, std::min(vectorsAtOnce, (size - i) / used), sums);
}
LUMO_LEVELS(void, sumMagnitudes, sumBody<bytes>,
            (const std::uint8_t* current, const std::uint8_t* above, std::size_t size, Sums& sums),
            (current, above, size, sums))

template <int bytes, int filter>
LUMO_INLINE void applyOne(const std::uint8_t* current, const std::uint8_t* above, std::size_t size,
                          std::uint8_t* to) {
    using V = Vector<std::uint8_t, bytes>;
    for (std::size_t i = 0; i < size; i += bytes) {
        Neighbourhood<V> n;
        V values;
        look(n, current + i, above + i);
        filterPixels<filter>(values, n);
        store(values, to + i);
    }
}

template <int bytes>
LUMO_INLINE void applyBody(int filter, const std::uint8_t* current, const std::uint8_t* above,
                           std::size_t size, std::uint8_t* to) {
    switch (filter) {
        case 0:
            return applyOne<widestOf<bytes>, 0>(current, above, size, to);
        case 1:
            return applyOne<widestOf<bytes>, 1>(current, above, size, to);
        case 2:
            return applyOne<widestOf<bytes>, 2>(current, above, size, to);
        case 3:
            return applyOne<widestOf<bytes>, 3>(current, above, size, to);
        default:
            return applyOne<widestOf<bytes>, 4>(current, above, size, to);
    }
}
LUMO_LEVELS(void, applyFilter, applyBody<bytes>,
            (int filter, const std::uint8_t* current, const std::uint8_t* above, std::size_t size,
             std::uint8_t* to),
            (filter, current, above, size, to))

/// To and from PNG's byte order.
LUMO_INLINE void swapBody(const std::uint16_t* from, std::uint8_t* to, std::size_t count) {
    for (std::size_t i = 0; i < count; ++i) {
        const auto swapped = static_cast<std::uint16_t>(from[i] << 8 | from[i] >> 8);
        std::memcpy(to + i * sizeof swapped, &swapped, sizeof swapped);
    }
}
LUMO_LEVELS(void, swapBytes, swapBody,
            (const std::uint16_t* from, std::uint8_t* to, std::size_t count), (from, to, count))

constexpr std::size_t roundedUp(std::size_t size) {
    constexpr std::size_t widest = avx512Bytes;
    return (size + widest - 1) / widest * widest;
}

}  // namespace

PngFilter::PngFilter(int width)
    : rowBytes_(static_cast<std::size_t>(width) * bytesPerPixel),
      current_(bytesPerPixel + roundedUp(rowBytes_)),
      above_(current_.size()) {
    static_assert(roundedUp(1) == room);
}

void PngFilter::filter(const std::uint16_t* row, std::uint8_t* to) {
    std::uint8_t* const current = current_.data() + bytesPerPixel;
    const std::uint8_t* const above = above_.data() + bytesPerPixel;
    swapBytes(row, current, rowBytes_ / bytesPerPixel);
    // The zeros behind the row are summed too: what they add is the same in vectors of any width.
    Sums sums{};
    sumMagnitudes(current, above, roundedUp(rowBytes_), sums);
    const auto best = std::ranges::min_element(sums) - sums.begin();
    to[0] = static_cast<std::uint8_t>(best);
    applyFilter(static_cast<int>(best), current, above, roundedUp(rowBytes_), to + 1);
    current_.swap(above_);
}

}  // namespace lumo
