// Computed values as pixels.
#pragma once

#include <cstdint>

namespace lumo {

/// Clamps to 0..65535 and truncates; NaN becomes 0.
[[nodiscard]] constexpr std::uint16_t toPixel(double value) {
    if (!(value > 0.0)) return 0;
    return value < 65535.0 ? static_cast<std::uint16_t>(value) : std::uint16_t{65535};
}

}  // namespace lumo
