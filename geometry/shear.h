// A turn approximated by two shears in whole pixels.
#pragma once

#include "image/view.h"

namespace lumo {

/// Shears rows, then columns.
/// @param target  of the source's size, apart from it
void shear(Source source, double angle, Target target);

}  // namespace lumo
