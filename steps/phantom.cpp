// The step `phantom`: stands first in the history of a synthetic radiograph.
#include "steps/table.h"

namespace lumo {
namespace {

constexpr double largestSeed = 18446744073709551615.0;

constexpr StepOption options[] = {
    {.name = "width",
     .type = LumoOptionInteger,
     .least = 1,
     .largest = 65535,
     .value = "N",
     .unit = "pixels",
     .standard = "1024",
     .summary = "Pixels a row"},
    {.name = "height",
     .type = LumoOptionInteger,
     .least = 1,
     .largest = 65535,
     .value = "N",
     .unit = "pixels",
     .standard = "1024",
     .summary = "Rows"},
    {.name = "seed",
     .type = LumoOptionInteger,
     .least = 0,
     .largest = largestSeed,
     .value = "N",
     .standard = "1",
     .summary = "Of the noise, and of the detector"},
    {.name = "pitch",
     .type = LumoOptionInteger,
     .least = 1,
     .largest = 1e9,
     .value = "NM",
     .unit = "nanometres",
     .standard = "100000",
     .summary = "Of the pixels"},
    {.name = "detector",
     .type = LumoOptionText,
     .value = "FLAT",
     .summary = "A raw exposure by a detector whose pixels differ in gain, and its flat field in "
                "this file"},
};

}  // namespace

constinit const Step phantomStep = {
    .name = "phantom",
    .summary = "Make a synthetic radiograph",
    .effect = "Begins a picture; cannot be applied to one.",
    .examples = "phantom --width 512 --height 512 --seed 7",
    .flags = LumoStepLinear | LumoStepHarmless | LumoStepSource,
    .options = options,
};

}  // namespace lumo
