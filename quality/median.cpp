// The middle of many values: a sample of them says between which two it lies, so that a single pass
// is left to do.
#include "quality/median.h"

#include <algorithm>

namespace lumo {
namespace {

Middle middleBySelection(std::vector<double>& values, std::size_t below) {
    const auto upper = values.begin() + static_cast<std::ptrdiff_t>(below);
    std::nth_element(values.begin(), upper, values.end());
    return {*upper, *upper};
}

/// Values of ranks `lower` and `upper`, which are equal or neighbours.
Middle byRank(std::vector<double>& values, std::size_t lower, std::size_t upper) {
    Middle middle = middleBySelection(values, upper);
    if (lower < upper)
        middle.lower =
            *std::max_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(upper));
    return middle;
}

}  // namespace

Middle middleOf(std::vector<double>& values) {
    constexpr std::size_t sampleSize = 4096, margin = 256, worthwhile = 16 * sampleSize;
    const std::size_t count = values.size(), lower = (count - 1) / 2, upper = count / 2;
    if (count < worthwhile) return byRank(values, lower, upper);

    std::vector<double> sample(sampleSize);
    for (std::size_t i = 0; i < sampleSize; ++i) sample[i] = values[i * (count / sampleSize)];
    std::ranges::sort(sample);
    const double low = sample[sampleSize / 2 - margin], high = sample[sampleSize / 2 + margin];
    std::vector<double> between(count);
    std::size_t below = 0, inside = 0;
    for (const double value : values) {  // without branches: they could not be foreseen
        below += value < low;
        between[inside] = value;
        inside += value >= low && value <= high;
    }
    between.resize(inside);
    if (lower < below || upper >= below + inside) return byRank(values, lower, upper);
    return byRank(between, lower - below, upper - below);
}

}  // namespace lumo
