// Line profiles: the mean of each column or of each row of a region.
#include <algorithm>

#include "measure/region.h"
#include "measure/sums.h"
#include "platform/cpu_level.h"
#include "platform/prefetch.h"

namespace {

using lumo::Runs;

/// Columns summed at once: their sums stay in the nearest cache.
constexpr std::size_t mostColumns = 4096;

/// Adds four rows, the next four being fetched meanwhile.
LUMO_INLINE void addFourRows(const std::uint16_t* first, std::size_t stride, std::size_t columns,
                             std::uint32_t* __restrict sums) {
    constexpr std::size_t line = 64 / sizeof *first;
    const std::uint16_t *a = first, *b = a + stride, *c = b + stride, *d = c + stride;
    const auto ahead = static_cast<std::ptrdiff_t>(4 * stride * sizeof *first);
    const auto add = [&](std::size_t i) {
        sums[i] += static_cast<std::uint32_t>((a[i] + b[i]) + (c[i] + d[i]));
    };
    std::size_t i = 0;
    for (; i + line <= columns; i += line) {
        for (const std::uint16_t* row : {a, b, c, d}) lumo::prefetchAhead(row + i, ahead);
        for (std::size_t k = i; k < i + line; ++k) add(k);
    }
    for (; i < columns; ++i) add(i);
}

/// Means of up to mostColumns columns from `x` on.
LUMO_INLINE void columnMeansBody(const Runs& region, std::size_t x, std::size_t columns,
                                 std::uint16_t* means) {
    std::uint32_t sums[mostColumns] = {};
    std::size_t y = 0;
    for (; y + 4 <= region.rows; y += 4)
        addFourRows(region.row(y) + x, region.stride, columns, sums);
    for (; y < region.rows; ++y) {
        const std::uint16_t* row = region.row(y) + x;
        for (std::size_t i = 0; i < columns; ++i) sums[i] += row[i];
    }
    const auto rows = static_cast<std::uint32_t>(region.rows);
    for (std::size_t i = 0; i < columns; ++i) means[i] = static_cast<std::uint16_t>(sums[i] / rows);
}
LUMO_LEVELS(void, columnMeans, columnMeansBody,
            (const Runs& region, std::size_t x, std::size_t columns, std::uint16_t* means),
            (region, x, columns, means))

}  // namespace

extern "C" {

int Make_XScan(Image image, Roi region, uint16_t* profile) {
    Runs runs{};
    const int code = lumo::regionRuns(image, region, runs);
    if (code != LumoOk || profile == nullptr) return LumoErrorImage;
    for (std::size_t x = 0; x < runs.length; x += mostColumns)
        columnMeans(runs, x, std::min(mostColumns, runs.length - x), profile + x);
    return LumoOk;
}

int Make_YScan(Image image, Roi region, uint16_t* profile) {
    Runs runs{};
    const int code = lumo::regionRuns(image, region, runs);
    if (code != LumoOk || profile == nullptr) return LumoErrorImage;
    for (std::size_t y = 0; y < runs.rows; ++y)
        profile[y] =
            static_cast<std::uint16_t>(lumo::sumOf(runs.row(y), runs.length) / runs.length);
    return LumoOk;
}

}  // extern "C"
