// Rotation about the centre with bilinear interpolation: the target's extent and its pixels.
#pragma once

#include "image/view.h"

namespace lumo {

/// A rotation of a source of width x height pixels and the target that holds all of it. Formulas
/// keep the written order of operations.
struct Rotation {
    Rotation(int width, int height, double angle);

    float centreX, centreY;
    double cosine, sine;
    int firstX, firstY;  ///< position of target pixel (0, 0), in pixels of the source
    int width, height;   ///< of the target
};

/// Fills the target of the rotation's size.
void rotate(Source source, const Rotation& rotation, Target target);

}  // namespace lumo
