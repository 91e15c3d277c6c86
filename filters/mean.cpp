// Box mean of the window that begins at each pixel: running sums down the columns, prefix sums
// along the row, a corrected reciprocal for the division. The time does not depend on n.
#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

#include "filters/filters.h"
#include "frame/call_frame.h"
#include "image/size_check.h"
#include "image/view.h"
#include "platform/prefetch.h"
#include "platform/vectors.h"

namespace lumo {
namespace {

/// Windows up to here have sums below 2^31: 181 * 181 * 65535.
constexpr int widestNarrow = 181;

LUMO_INLINE void addRowBody(const std::uint16_t* row, std::uint32_t* columns, int width) {
    for (int x = 0; x < width; ++x) columns[x] += row[x];
}
LUMO_LEVELS(void, addRow, addRowBody, (const std::uint16_t* row, std::uint32_t* columns, int width),
            (row, columns, width))

template <int bytes>
using Sums = Vector<std::uint32_t, bytes>;

/// Adds to each element the one `by` before it.
template <int by, class Vector, int... lane>
LUMO_INLINE void addShifted(Vector& sums, std::integer_sequence<int, lane...>) {
    constexpr int lanes = sizeof...(lane);
    constexpr Vector zero{};
    sums += __builtin_shufflevector(zero, sums, (lane < by ? lane : lanes + lane - by)...);
}

template <class Vector, int... lane>
LUMO_INLINE void addPrefixes(Vector& sums, std::integer_sequence<int, lane...> lanes) {
    addShifted<1>(sums, lanes);
    addShifted<2>(sums, lanes);
    if constexpr (sizeof...(lane) > 4) addShifted<4>(sums, lanes);
    if constexpr (sizeof...(lane) > 8) addShifted<8>(sums, lanes);
}

template <class Vector, int... lane>
LUMO_INLINE void addLast(Vector& all, const Vector& sums, std::integer_sequence<int, lane...>) {
    all += __builtin_shufflevector(sums, sums, (lane - lane + int{sizeof...(lane)} - 1)...);
}

/// sums[x] = columns[0] + ... + columns[x - 1], for x up to the width, and then the columns move
/// down a row. 32-bit sums may wrap; their differences are exact.
template <int bytes>
LUMO_INLINE void addUpBody(const std::uint16_t* leaving, const std::uint16_t* entering,
                           std::uint32_t* columns, std::uint32_t* sums, int width) {
    constexpr int lanes = bytes / int{sizeof(std::uint32_t)};
    using Lanes = std::make_integer_sequence<int, lanes>;
    Sums<bytes> before{};  // the sum so far, in every lane
    sums[0] = 0;
    int x = 0;
    for (; x + lanes <= width; x += lanes) {
        Vector<std::uint16_t, bytes / 2> out, in;
        load(out, leaving + x);
        load(in, entering + x);
        prefetchAhead(entering + x);
        Sums<bytes> sum, gone, come;
        load(sum, columns + x);
        convert(gone, out);
        convert(come, in);
        store(sum + come - gone, columns + x);
        addPrefixes(sum, Lanes());
        store(sum + before, sums + x + 1);
        addLast(before, sum, Lanes());
    }
    for (; x < width; ++x) {
        sums[x + 1] = sums[x] + columns[x];
        columns[x] += static_cast<std::uint32_t>(entering[x]) - leaving[x];
    }
}
LUMO_LEVELS(void, addUp, addUpBody<bytes>,
            (const std::uint16_t* leaving, const std::uint16_t* entering, std::uint32_t* columns,
             std::uint32_t* sums, int width),
            (leaving, entering, columns, sums, width))

/// The division by the window's area is exact: the single-precision quotient of a mean is off by
/// less than 2^-20 of its size, that is by less than 1/16; taken 2^-21 too small it truncates to
/// the right integer or to the one below, and the remainder says which.
LUMO_INLINE void meansBody(const std::uint32_t* sums, int count, int n, std::uint16_t* means) {
    const std::int32_t area = n * n;
    const auto reciprocal = static_cast<float>((1.0 - 0x1p-21) / area);
    constexpr int line = 32;
    // The row below is written next; its lines come slowly.
    for (int x = 0; x < count; x += line) __builtin_prefetch(means + count + n + x, 1);
    for (int x = 0; x < count; ++x) {
        const auto sum = static_cast<std::int32_t>(sums[x + n] - sums[x]);
        const auto quotient = static_cast<std::int32_t>(static_cast<float>(sum) * reciprocal);
        const std::int32_t rest = sum - quotient * area;
        means[x] = static_cast<std::uint16_t>(quotient + (rest >= area ? 1 : 0));
    }
}
LUMO_LEVELS(void, means, meansBody,
            (const std::uint32_t* sums, int count, int n, std::uint16_t* means),
            (sums, count, n, means))

/// The same for windows whose sums need 64 bits.
void addUpWide(const std::uint16_t* leaving, const std::uint16_t* entering, std::uint32_t* columns,
               std::uint64_t* sums, int width) {
    sums[0] = 0;
    for (int x = 0; x < width; ++x) {
        sums[x + 1] = sums[x] + columns[x];
        columns[x] += static_cast<std::uint32_t>(entering[x]) - leaving[x];
    }
}

void meansWide(const std::uint64_t* sums, int count, int n, std::uint16_t* means) {
    const auto area = static_cast<std::uint64_t>(n) * static_cast<std::uint64_t>(n);
    for (int x = 0; x < count; ++x)
        means[x] = static_cast<std::uint16_t>((sums[x + n] - sums[x]) / area);
}

void copyTail(Source source, Target target, int y, int from) {
    // In place both ranges are the same.
    std::memmove(target.row(y) + from, source.row(y) + from,
                 static_cast<std::size_t>(source.width - from) * sizeof(std::uint16_t));
}

void mean(Source source, Target target, int n) {
    const int width = source.width, rows = source.height - n;
    const auto count = static_cast<std::size_t>(width);
    const bool wide = n > widestNarrow;
    std::vector<std::uint32_t> columns(count), sums(wide ? 0 : count + 1);
    std::vector<std::uint64_t> wideSums(wide ? count + 1 : 0);

    for (int y = 0; y < n; ++y) addRow(source.row(y), columns.data(), width);
    for (int y = 0; y < rows; ++y) {
        // In place row y is overwritten: it leaves the columns first.
        const std::uint16_t *leaving = source.row(y), *entering = source.row(y + n);
        if (wide) {
            addUpWide(leaving, entering, columns.data(), wideSums.data(), width);
            meansWide(wideSums.data(), width - n, n, target.row(y));
        } else {
            addUp(leaving, entering, columns.data(), sums.data(), width);
            means(sums.data(), width - n, n, target.row(y));
        }
        copyTail(source, target, y, width - n);
    }
    for (int y = rows; y < source.height; ++y) copyTail(source, target, y, 0);
}

}  // namespace

int Mean_Image(Image destination, Image source, int n) {
    return guarded([&] {
        raiseFailure(Check_SameSize(destination, source));
        const Source from = asSource(viewOf(source));
        if (from.count() == 0) return;
        if (n < 1 || n > std::min(from.width, from.height)) raise(LumoErrorParameter);
        mean(from, viewOf(destination), n);
    });
}

}  // namespace lumo
