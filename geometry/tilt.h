// How far the exposed area is tilted.
#pragma once

#include "image/view.h"

namespace lumo {

/// CalculateRotationAngle() of a raster with pixels; raises -8.
[[nodiscard]] double rotationAngle(Source image);

}  // namespace lumo
