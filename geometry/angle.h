// Angles in degrees and radians.
#pragma once

namespace lumo {

constexpr double fullTurn = 2 * 3.141592653589793;  // radians

[[nodiscard]] constexpr double radians(double degrees) {
    return degrees / 360 * fullTurn;
}

[[nodiscard]] constexpr double degrees(double radians) {
    return radians / fullTurn * 360.0;
}

}  // namespace lumo
