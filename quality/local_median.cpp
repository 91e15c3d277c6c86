// value > factor * median holds if factor * v is below the value for more than half of the window's
// values v, as rounding keeps their order. Most pixels need no count: what the windows of a block
// of pixels have in common bounds all their medians.
#include "quality/local_median.h"

#include <algorithm>

#include "platform/cpu_level.h"
#include "quality/median.h"

namespace lumo {
namespace {

LUMO_INLINE void countBody(const float* values, int count, double factor, double limit, bool above,
                           int& found) {
    int some = 0;
    if (above)
        for (int i = 0; i < count; ++i) some += factor * static_cast<double>(values[i]) < limit;
    else
        for (int i = 0; i < count; ++i) some += factor * static_cast<double>(values[i]) > limit;
    found += some;
}
LUMO_LEVELS(void, countBeyond, countBody,
            (const float* values, int count, double factor, double limit, bool above, int& found),
            (values, count, factor, limit, above, found))

LUMO_INLINE void widenBody(const float* values, int count, float& least, float& most) {
    for (int i = 0; i < count; ++i) {
        least = values[i] < least ? values[i] : least;
        most = values[i] > most ? values[i] : most;
    }
}

}  // namespace

LocalMedian::LocalMedian(const std::vector<float>& values, int width, int height, int side)
    : values_(values.data()), width_(width), height_(height), side_(side) {}

LocalMedian::Block LocalMedian::windowsOf(const Block& block) const {
    const auto first = [this](int place, int size) {
        return std::clamp(place - side_ / 2, 0, size - side_);
    };
    return {first(block.x1, width_), first(block.y1, height_), first(block.x2, width_) + side_ - 1,
            first(block.y2, height_) + side_ - 1};
}

LocalMedian::Bounds LocalMedian::extremes(const Block& block) const {
    const Block all = windowsOf(block);
    Bounds bounds{row(all.y1)[all.x1], row(all.y1)[all.x1]};
    for (int y = all.y1; y <= all.y2; ++y)
        widenBody(row(y) + all.x1, all.x2 - all.x1 + 1, bounds.least, bounds.most);
    return bounds;
}

/// A median has half of its window on either side, so at least as many of all windows' values.
LocalMedian::Bounds LocalMedian::bounds(const Block& block) const {
    const Block all = windowsOf(block);
    std::vector<float> values;
    for (int y = all.y1; y <= all.y2; ++y)
        values.insert(values.end(), row(y) + all.x1, row(y) + all.x2 + 1);
    const auto rank = static_cast<std::ptrdiff_t>(side_) * side_ / 2;
    const auto low = values.begin() + rank, high = values.end() - 1 - rank;
    std::nth_element(values.begin(), low, values.end());
    const float least = *low;
    std::nth_element(values.begin(), high, values.end());
    return {least, *high};
}

bool LocalMedian::mayHold(const Block& block, const Bounds& bounds, double factor,
                          bool above) const {
    float least = row(block.y1)[block.x1], most = least;
    for (int y = block.y1; y <= block.y2; ++y)
        widenBody(row(y) + block.x1, block.x2 - block.x1 + 1, least, most);
    return above ? most > factor * bounds.least : least < factor * bounds.most;
}

bool LocalMedian::isBeyond(int x, int y, double factor, bool above) const {
    const Block window = windowsOf({x, y, x, y});
    int found = 0;
    for (int i = window.y1; i <= window.y2; ++i)
        countBeyond(row(i) + window.x1, side_, factor, row(y)[x], above, found);
    return found > side_ * side_ / 2;
}

double LocalMedian::at(std::size_t pixel) const {
    const int x = static_cast<int>(pixel % static_cast<std::size_t>(width_));
    const int y = static_cast<int>(pixel / static_cast<std::size_t>(width_));
    const Block window = windowsOf({x, y, x, y});
    std::vector<float> values;
    for (int i = window.y1; i <= window.y2; ++i)
        values.insert(values.end(), row(i) + window.x1, row(i) + window.x2 + 1);
    return medianOf(values);
}

}  // namespace lumo
