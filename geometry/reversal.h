// Pixels exchanged in place: the moves behind half turns and mirrorings.
#pragma once

#include "image/view.h"

namespace lumo {

/// Reverses the order of all pixels: a turn by 180 degrees.
void reverseRaster(Target raster);

/// Reverses each row: a horizontal mirroring.
void reverseRows(Target raster);

/// Reverses the order of the rows: a vertical mirroring.
void reverseRowOrder(Target raster);

}  // namespace lumo
