// Grey values: how many there are, computed values as pixels.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lumo {

/// Number of grey values, the length of every histogram and look-up table.
constexpr std::size_t greyValues = 65536;
constexpr int lastGreyValue = 65535;

/// Clamps to 0..65535 and truncates; NaN becomes 0.
[[nodiscard]] constexpr std::uint16_t toPixel(double value) {
    if (!(value > 0.0)) return 0;
    return value < 65535.0 ? static_cast<std::uint16_t>(value) : std::uint16_t{65535};
}

}  // namespace lumo
