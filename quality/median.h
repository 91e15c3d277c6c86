// The middle of many values.
#pragma once

#include <vector>

namespace lumo {

/// The two middle values, which are one for an odd count.
struct Middle {
    double lower, upper;
    [[nodiscard]] double mean() const { return (lower + upper) / 2; }
};

/// Puts the values, of which there is at least one, into another order. For double and float.
template <class Value>
[[nodiscard]] Middle middleOf(std::vector<Value>& values);

/// Their median: the mean of the middle two for an even count.
template <class Value>
[[nodiscard]] double medianOf(std::vector<Value>& values) {
    return middleOf(values).mean();
}

}  // namespace lumo
