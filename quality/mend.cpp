// Replacing bad pixels by the mean of good ones around them.
#include <algorithm>
#include <vector>

#include "measure/region.h"
#include "platform/prefetch.h"
#include "quality/bad_map.h"
#include "quality/record.h"

namespace lumo {
namespace {

struct Mended {
    std::uint32_t all = 0, doubtful = 0;
};

/// Good pixels of a square's outermost ring.
struct Ring {
    std::uint64_t sum = 0, count = 0;
};

Ring ringAround(Source image, const BadMap& map, int x, int y, int radius) {
    Ring ring;
    const int left = std::max(x - radius, 0), right = std::min(x + radius, map.width - 1);
    const auto take = [&](int column, int line) {
        if (map.row(line)[column] != 0) return;
        ring.sum += image.row(line)[column];
        ++ring.count;
    };
    for (const int line : {y - radius, y + radius})
        if (line >= 0 && line < map.height)
            for (int column = left; column <= right; ++column) take(column, line);
    const int top = std::max(y - radius + 1, 0), bottom = std::min(y + radius - 1, map.height - 1);
    for (const int column : {x - radius, x + radius})
        if (column >= 0 && column < map.width)
            for (int line = top; line <= bottom; ++line) take(column, line);
    return ring;
}

bool hasGoodPixel(const BadMap& map) {
    return std::any_of(map.pixels, map.pixels + map.count(),
                       [](std::uint16_t pixel) { return pixel == 0; });
}

/// The columns of a row's bad pixels; what is around them is fetched.
void findBad(Source image, const BadMap& map, int y, std::vector<int>& columns) {
    const std::ptrdiff_t stride =
        std::ptrdiff_t{image.width} * std::ptrdiff_t{sizeof *image.pixels};
    columns.clear();
    forEachBad(map.row(y), map.width, [&](int x) {
        columns.push_back(x);
        for (int line = -1; line <= 1; ++line) prefetchAhead(image.row(y) + x, line * stride);
    });
}

Mended mend(Target image, const BadMap& map) {
    Mended mended;
    std::vector<int> columns;
    columns.reserve(static_cast<std::size_t>(map.width));
    for (int y = 0; y < map.height; ++y) {
        findBad(asSource(image), map, y, columns);
        int radius = 1;  // of the smallest square with good pixels around the last one
        int last = -1;
        for (const int x : columns) {
            // One column further on it is smaller by one at most.
            radius = last == x - 1 ? std::max(radius - 1, 1) : 1;
            last = x;
            Ring ring = ringAround(asSource(image), map, x, y, radius);
            while (ring.count == 0) ring = ringAround(asSource(image), map, x, y, ++radius);
            // Bad pixels are never read, so the order in which they are mended does not matter.
            image.row(y)[x] =
                static_cast<std::uint16_t>((2 * ring.sum + ring.count) / (2 * ring.count));
            ++mended.all;
            if (map.goodNeighbours(x, y) < enoughNeighbours) ++mended.doubtful;
        }
    }
    return mended;
}

}  // namespace
}  // namespace lumo

extern "C" int LumoMendPixels(Image image, Image map, uint32_t* mended, uint32_t* doubtful,
                              uint32_t* reason) {
    using namespace lumo;
    std::uint32_t why = LumoReasonNone;
    Mended counts;
    const int code = withReason("LumoMendPixels", why, [&] {
        Runs runs{};
        raiseFailure(pixelRuns(image, runs));
        raiseFailure(pixelRuns(map, runs));
        if (image.width != map.width || image.height != map.height) refuse(LumoReasonSizes);
        const BadMap bad{asSource(viewOf(map))};
        if (!hasGoodPixel(bad)) refuse(LumoReasonNoGoodPixel);
        counts = mend(viewOf(image), bad);
    });
    if (mended != nullptr) *mended = counts.all;
    if (doubtful != nullptr) *doubtful = counts.doubtful;
    if (reason != nullptr) *reason = why;
    return code;
}
