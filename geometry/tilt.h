// How far the exposed area is tilted.
#pragma once

#include "image/view.h"

namespace lumo {

struct Tilt {
    double degrees;  ///< what CalculateRotationAngle() returns: the mean of two edges
    double spread;   ///< by how many degrees these two differ
};

/// Of a raster with pixels; raises -8.
[[nodiscard]] Tilt tiltOf(Source image);

}  // namespace lumo
