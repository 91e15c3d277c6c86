// The middle of many values.
#include "quality/median.h"

#include <algorithm>
#include <bit>
#include <cstdint>

#include "platform/cpu_level.h"

namespace lumo {
namespace {

/// Values of ranks `lower` and `upper`, which are equal or neighbours.
template <class Value>
Middle byRank(Value* values, std::size_t count, std::size_t lower, std::size_t upper) {
    std::nth_element(values, values + upper, values + count);
    const double above = values[upper];
    return {lower < upper ? *std::max_element(values, values + upper) : above, above};
}

/// Numbers from 0 on keep their order when their bits are taken as a whole number. No branches:
/// they could not be foreseen.
LUMO_INLINE void collectBody(const double* values, std::size_t count, double low, double high,
                             double* to, std::size_t& below, std::size_t& inside) {
    std::size_t smaller = 0;
    for (std::size_t i = 0; i < count; ++i) smaller += values[i] < low;
    below += smaller;
    const auto first = std::bit_cast<std::uint64_t>(low);
    const std::uint64_t span = std::bit_cast<std::uint64_t>(high) - first;
    double* place = to + inside;
    for (std::size_t i = 0; i < count; ++i) {
        *place = values[i];
        place += std::bit_cast<std::uint64_t>(values[i]) - first <= span;
    }
    inside = static_cast<std::size_t>(place - to);
}
LUMO_LEVELS(void, collectMiddle, collectBody,
            (const double* values, std::size_t count, double low, double high, double* to,
             std::size_t& below, std::size_t& inside),
            (values, count, low, high, to, below, inside))

}  // namespace

template <class Value>
Middle middleOf(std::vector<Value>& values) {
    return byRank(values.data(), values.size(), (values.size() - 1) / 2, values.size() / 2);
}
template Middle middleOf(std::vector<double>&);
template Middle middleOf(std::vector<float>&);

MiddleFinder::MiddleFinder(std::vector<double> sample, std::size_t count) : count_(count) {
    // Three deviations of the rank that the middle has in the sample.
    constexpr std::ptrdiff_t margin = 96;
    const auto size = std::ssize(sample), middle = size / 2;
    const auto rank = [&](std::ptrdiff_t at) {
        const auto place = sample.begin() + std::clamp<std::ptrdiff_t>(at, 0, size - 1);
        std::nth_element(sample.begin(), place, sample.end());
        return *place;
    };
    low_ = rank(middle - margin);
    high_ = rank(middle + margin);
    between_.resize(count / 16 + sampleSize);
}

void MiddleFinder::add(const double* values, std::size_t count) {
    if (between_.size() < inside_ + count) between_.resize(2 * (inside_ + count));
    collectMiddle(values, count, low_, high_, between_.data(), below_, inside_);
}

std::optional<Middle> MiddleFinder::middle() {
    const std::size_t lower = (count_ - 1) / 2, upper = count_ / 2;
    if (lower < below_ || upper >= below_ + inside_) return std::nullopt;
    return byRank(between_.data(), inside_, lower - below_, upper - below_);
}

}  // namespace lumo
