// The middle of many values.
#pragma once

#include <cstddef>
#include <optional>
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

/// The middle of numbers from 0 on that come one after another and are not kept: a sample of them
/// says between which two bounds it lies, with next to no doubt.
class MiddleFinder {
public:
    static constexpr std::size_t sampleSize = 4096;

    /// @param sample  values from all over
    /// @param count   of all values that will be added
    MiddleFinder(std::vector<double> sample, std::size_t count);
    void add(const double* values, std::size_t count);
    /// Nothing if the sample has misled. All values have been added.
    [[nodiscard]] std::optional<Middle> middle();

private:
    double low_ = 0, high_ = 0;
    std::size_t count_, below_ = 0, inside_ = 0;
    std::vector<double> between_;
};

}  // namespace lumo
