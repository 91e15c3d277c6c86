// Grey values: how many there are, computed values as pixels.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/cpu_level.h"

namespace lumo {

/// Number of grey values, the length of every histogram and look-up table.
constexpr std::size_t greyValues = 65536;
constexpr int lastGreyValue = 65535;

/// Clamps to 0..65535 and truncates; NaN becomes 0. Without branches, so that loops become vectors.
template <class Real>
[[nodiscard]] LUMO_INLINE constexpr std::uint16_t toPixel(Real value) {
    constexpr auto last = static_cast<Real>(lastGreyValue);
    const Real positive = value > Real{0} ? value : Real{0};  // false for NaN
    return static_cast<std::uint16_t>(static_cast<std::int32_t>(positive < last ? positive : last));
}

/// The same of a value that is known not to be negative and to fit a whole number: the cut comes
/// first, the limit is one of whole numbers.
template <class Real>
[[nodiscard]] LUMO_INLINE constexpr std::uint16_t positiveToPixel(Real value) {
    const auto whole = static_cast<std::int32_t>(value);
    return static_cast<std::uint16_t>(whole < lastGreyValue ? whole : lastGreyValue);
}

}  // namespace lumo
