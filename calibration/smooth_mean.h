// The smoothing of a reference exposure: a centred box mean in place.
#pragma once

#include <cstdint>

#include "lumo_legacy.h"

namespace lumo {

/// Replaces each pixel by the mean, cut to an integer, of a window of 2 * (kernelWidth / 2) + 1 by
/// 2 * (kernelHeight / 2) + 1 pixels around it; pixels whose window leaves the raster keep their
/// values. Throws std::bad_alloc with the raster untouched.
void Smooth_Mean(Image image, std::uint16_t kernelWidth, std::uint16_t kernelHeight);

}  // namespace lumo
