// Edge scans. Columns are scanned row by row in blocks, a block being closed once all of its
// columns are found; rows are scanned from either end up to the first block that holds an exposed
// pixel.
#include "geometry/edges.h"

#include <algorithm>

#include "platform/cpu_level.h"

namespace lumo {
namespace {

constexpr std::uint16_t threshold = 8000;  // grey values above it are exposed
constexpr std::uint16_t notFound = 65535;  // no row or column has this number
constexpr int block = 64;

LUMO_INLINE bool anyExposed(const std::uint16_t* pixels, int count) {
    std::uint16_t highest = 0;
    for (int i = 0; i < count; ++i) highest = std::max(highest, pixels[i]);
    return highest > threshold;
}

/// Notes row number `row` for the columns whose first exposed pixel it holds.
/// @return whether some of the columns are still to be found
LUMO_INLINE bool noteExposed(const std::uint16_t* pixels, std::uint16_t row, std::uint16_t* first,
                             int count) {
    std::uint16_t latest = 0;
    for (int i = 0; i < count; ++i) {
        const std::uint16_t found = pixels[i] > threshold ? row : notFound;
        first[i] = std::min(first[i], found);
        latest = std::max(latest, first[i]);
    }
    return latest == notFound;
}

/// Numbers of rows, counted from the side where the scan begins, in which columns are first
/// exposed. `first` comes with notFound for each column to look at.
LUMO_INLINE void scanColumns(Source image, bool fromBottom, std::uint16_t* first) {
    constexpr int most = 65536 / block;
    std::uint16_t open[most];  // numbers of the blocks still to be scanned
    int count = 0;
    for (int i = 0; i * block < image.width; ++i) open[count++] = static_cast<std::uint16_t>(i);
    for (int row = 0; row < image.height && count > 0; ++row) {
        const std::uint16_t* pixels = image.row(fromBottom ? image.height - 1 - row : row);
        int kept = 0;
        for (int i = 0; i < count; ++i) {
            const int x = open[i] * block, columns = std::min(block, image.width - x);
            const auto number = static_cast<std::uint16_t>(row);
            const bool more = columns == block
                                  ? noteExposed(pixels + x, number, first + x, block)
                                  : noteExposed(pixels + x, number, first + x, columns);
            open[kept] = open[i];
            kept += more ? 1 : 0;
        }
        count = kept;
    }
}
LUMO_LEVELS(void, scanColumnsAtLevel, scanColumns,
            (Source image, bool fromBottom, std::uint16_t* first), (image, fromBottom, first))

LUMO_INLINE int firstExposed(const std::uint16_t* row, int width) {
    int x = 0;
    while (x + block <= width && !anyExposed(row + x, block)) x += block;
    while (x < width && row[x] <= threshold) ++x;
    return x;
}

LUMO_INLINE int lastExposed(const std::uint16_t* row, int width) {
    int end = width;
    while (end >= block && !anyExposed(row + end - block, block)) end -= block;
    while (end > 0 && row[end - 1] <= threshold) --end;
    return end > 0 ? end - 1 : 0;
}

LUMO_INLINE void scanRows(Source image, int first, int last, EdgeProfiles& edges) {
    for (int y = first; y <= last; ++y) {
        const auto index = static_cast<std::size_t>(y);
        edges.left[index] = static_cast<std::uint16_t>(firstExposed(image.row(y), image.width));
        edges.right[index] = static_cast<std::uint16_t>(lastExposed(image.row(y), image.width));
    }
}
LUMO_LEVELS(void, scanRowsAtLevel, scanRows,
            (Source image, int first, int last, EdgeProfiles& edges), (image, first, last, edges))

}  // namespace

EdgeProfiles findEdges(Source image) {
    const auto columns = static_cast<std::size_t>(image.width);
    const auto rows = static_cast<std::size_t>(image.height);
    const auto width = static_cast<std::uint16_t>(image.width);
    const auto lastRow = static_cast<std::uint16_t>(image.height - 1);
    EdgeProfiles edges{std::vector<std::uint16_t>(columns, notFound),
                       std::vector<std::uint16_t>(columns, notFound),
                       std::vector<std::uint16_t>(rows, width),
                       std::vector<std::uint16_t>(rows, std::uint16_t{0})};
    scanColumnsAtLevel(image, false, edges.top.data());
    // A column found from neither side need not be looked at again, nor a row beyond them all.
    std::ranges::transform(edges.top, edges.bottom.begin(),
                           [=](std::uint16_t y) { return y == notFound ? lastRow : notFound; });
    scanColumnsAtLevel(image, true, edges.bottom.data());
    for (std::uint16_t& y : edges.bottom) y = static_cast<std::uint16_t>(lastRow - y);
    const auto highest = std::ranges::min_element(edges.top);
    const auto lowest = std::ranges::max_element(edges.bottom);
    if (*highest != notFound) scanRowsAtLevel(image, *highest, *lowest, edges);
    std::ranges::replace(edges.top, notFound, lastRow);
    return edges;
}

}  // namespace lumo
