// Steps of the unsharp masks on rows and views.
#pragma once

#include <limits>

#include "image/view.h"

namespace lumo {

/// The smallest and the largest value seen; NaN is passed over.
struct Range {
    float low, high;
};
constexpr Range emptyRange = {std::numeric_limits<float>::infinity(),
                              -std::numeric_limits<float>::infinity()};

/// Floats in two halves, as a float image is larger than what the allocator keeps for reuse: every
/// run would wait for fresh pages.
struct Halves {
    std::uint16_t *upper, *lower;
};

/// to = a * first + b * second in double, rounded to single precision; widens the range by the
/// results.
void blendRow(const float* first, const std::uint16_t* second, float a, float b, Halves to, int n,
              Range* range);

/// (value - low) * gain with gain = 65535 / (high - low) rounded to single precision, clamped and
/// truncated; zeros for a range of one value or none.
class Stretch {
public:
    explicit Stretch(Range range);
    [[nodiscard]] std::uint16_t operator()(float value) const;
    void row(Halves values, std::uint16_t* to, int n) const;

private:
    float low_, gain_;
};

}  // namespace lumo
