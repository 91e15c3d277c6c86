// What the steps that turn and mirror share.
#pragma once

#include "steps/step.h"

namespace lumo {

/// Turns that are no quarters are true on square pixels only; raises -50 with words for others.
void requireSquarePixels(const StepWork& work);

/// The metadata of a turn by 90, 180 or 270 degrees.
void recordTurn(StepResult& result, int angle);

}  // namespace lumo
