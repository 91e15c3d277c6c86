// The table of steps.
#pragma once

#include <string_view>
#include <vector>

#include "steps/step.h"

namespace lumo {

extern const Step binStep, calibrateStep, cropStep, deflashStep, equalizeStep, filterStep,
    invertStep, mirrorStep, phantomStep, rotateStep, shearStep, windowStep;

/// Null if there is none of this name.
[[nodiscard]] const Step* findStep(std::string_view name);

[[nodiscard]] std::vector<std::string_view> stepNames();

}  // namespace lumo
