// Box mean of the window that begins at each pixel: running sums down the columns, prefix sums
// along the row, a corrected reciprocal for the division. The time does not depend on n.
#include <algorithm>
#include <cstring>
#include <vector>

#include "filters/filters.h"
#include "frame/call_frame.h"
#include "image/size_check.h"
#include "image/view.h"
#include "platform/cpu_level.h"

namespace lumo {
namespace {

/// Windows up to here have sums below 2^31: 181 * 181 * 65535.
constexpr int widestNarrow = 181;

LUMO_INLINE void addRowBody(const std::uint16_t* row, std::uint32_t* columns, int width) {
    for (int x = 0; x < width; ++x) columns[x] += row[x];
}
LUMO_LEVELS(void, addRow, addRowBody, (const std::uint16_t* row, std::uint32_t* columns, int width),
            (row, columns, width))

LUMO_INLINE void moveDownBody(const std::uint16_t* leaving, const std::uint16_t* entering,
                              std::uint32_t* columns, int width) {
    for (int x = 0; x < width; ++x)
        columns[x] += static_cast<std::uint32_t>(entering[x]) - leaving[x];
}
LUMO_LEVELS(void, moveDown, moveDownBody,
            (const std::uint16_t* leaving, const std::uint16_t* entering, std::uint32_t* columns,
             int width),
            (leaving, entering, columns, width))

/// sums[x] = columns[0] + ... + columns[x - 1], for x up to the width. 32-bit sums may wrap; their
/// differences are exact. Both arrays have room for `lanes` more.
constexpr int lanes = 4;
LUMO_INLINE void prefixSums(const std::uint32_t* columns, std::uint32_t* sums, int width) {
    using Vector [[gnu::vector_size(lanes * sizeof(std::uint32_t))]] = std::uint32_t;
    constexpr Vector zero = {};
    Vector before = {};  // the sum so far, in every lane
    sums[0] = 0;
    for (int x = 0; x < width; x += lanes) {
        Vector sum;
        std::memcpy(&sum, columns + x, sizeof sum);
        sum += __builtin_shufflevector(sum, zero, 4, 0, 1, 2);
        sum += __builtin_shufflevector(sum, zero, 4, 4, 0, 1);
        sum += before;
        std::memcpy(sums + x + 1, &sum, sizeof sum);
        before = __builtin_shufflevector(sum, sum, 3, 3, 3, 3);
    }
}

/// The division by the window's area is exact: the single-precision quotient of a mean is off by
/// less than 2^-20 of its size, that is by less than 1/16; taken 2^-21 too small it truncates to
/// the right integer or to the one below, and the remainder tells which.
LUMO_INLINE void meansBody(const std::uint32_t* columns, std::uint32_t* sums, int width, int n,
                           std::uint16_t* means) {
    prefixSums(columns, sums, width);
    const std::int32_t area = n * n;
    const auto reciprocal = static_cast<float>((1.0 - 0x1p-21) / area);
    for (int x = 0; x < width - n; ++x) {
        const auto sum = static_cast<std::int32_t>(sums[x + n] - sums[x]);
        const auto quotient = static_cast<std::int32_t>(static_cast<float>(sum) * reciprocal);
        const std::int32_t rest = sum - quotient * area;
        means[x] = static_cast<std::uint16_t>(quotient + (rest >= area ? 1 : 0));
    }
}
LUMO_LEVELS(void, means, meansBody,
            (const std::uint32_t* columns, std::uint32_t* sums, int width, int n,
             std::uint16_t* means),
            (columns, sums, width, n, means))

/// The same for windows whose sums need 64 bits.
void wideMeans(const std::uint32_t* columns, std::uint64_t* sums, int width, int n,
               std::uint16_t* means) {
    sums[0] = 0;
    for (int x = 0; x < width; ++x) sums[x + 1] = sums[x] + columns[x];
    const auto area = static_cast<std::uint64_t>(n) * static_cast<std::uint64_t>(n);
    for (int x = 0; x < width - n; ++x)
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
    std::vector<std::uint32_t> columns(count + lanes), sums(wide ? 0 : count + 1 + lanes);
    std::vector<std::uint64_t> wideSums(wide ? count + 1 : 0);
    std::vector<std::uint16_t> line(count);

    for (int y = 0; y < n; ++y) addRow(source.row(y), columns.data(), width);
    for (int y = 0; y < rows; ++y) {
        if (wide)
            wideMeans(columns.data(), wideSums.data(), width, n, line.data());
        else
            means(columns.data(), sums.data(), width, n, line.data());
        // In place row y is about to be overwritten: it leaves the columns first.
        moveDown(source.row(y), source.row(y + n), columns.data(), width);
        std::copy_n(line.data(), width - n, target.row(y));
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
