// The middle of many values: a sample of them says between which two it lies, so that a single pass
// is left to do.
#include "quality/median.h"

#include <algorithm>
#include <memory>

namespace lumo {
namespace {

/// Values of ranks `lower` and `upper`, which are equal or neighbours.
template <class Value>
Middle byRank(Value* values, std::size_t count, std::size_t lower, std::size_t upper) {
    std::nth_element(values, values + upper, values + count);
    const double above = values[upper];
    return {lower < upper ? *std::max_element(values, values + upper) : above, above};
}

}  // namespace

template <class Value>
Middle middleOf(std::vector<Value>& values) {
    constexpr std::size_t sampleSize = 4096, margin = 256, worthwhile = 16 * sampleSize;
    const std::size_t count = values.size(), lower = (count - 1) / 2, upper = count / 2;
    if (count < worthwhile) return byRank(values.data(), count, lower, upper);

    std::vector<Value> sample(sampleSize);
    for (std::size_t i = 0; i < sampleSize; ++i) sample[i] = values[i * (count / sampleSize)];
    std::ranges::sort(sample);
    const Value low = sample[sampleSize / 2 - margin], high = sample[sampleSize / 2 + margin];
    const auto between = std::make_unique_for_overwrite<Value[]>(count);
    std::size_t below = 0, inside = 0;
    for (const Value value : values) {  // without branches: they could not be foreseen
        below += value < low;
        between[inside] = value;
        inside += value >= low && value <= high;
    }
    if (lower < below || upper >= below + inside) return byRank(values.data(), count, lower, upper);
    return byRank(between.get(), inside, lower - below, upper - below);
}

template Middle middleOf(std::vector<double>&);
template Middle middleOf(std::vector<float>&);

}  // namespace lumo
