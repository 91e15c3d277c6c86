// The processing history: section "PerformedSteps" with entries "Step0", "Step1", ...
#pragma once

class ini2;

namespace lumo {

/// Appends a step's text to the history; does nothing without store or text.
void AddPerformedStep(const char* step, ini2* store);

}  // namespace lumo
