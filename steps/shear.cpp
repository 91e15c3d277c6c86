// The step `shear`: an approximate turn in whole-pixel shears.
#include "steps/table.h"
#include "steps/turn.h"

namespace lumo {
namespace {

constexpr StepOption options[] = {
    {.name = "angle",
     .type = LumoOptionReal,
     .flags = LumoOptionRequired,
     .least = -89,
     .largest = 89,
     .value = "DEG",
     .unit = "degrees",
     .summary = "Against the clock"},
};

void apply(const StepWork& work) {
    requireSquarePixels(work);
    work.require(Shear(work.source(), work.result.raster.place(), work.arguments.real("angle")));
}

}  // namespace

constinit const Step shearStep = {
    .name = "shear",
    .summary = "Turn approximately, in whole-pixel shears",
    .effect =
        "Rows, then columns move by whole pixels, some out of the picture; no grey value "
        "changes.",
    .examples = "shear --angle 5",
    .flags = LumoStepRepeatable | LumoStepLinear,
    .options = options,
    .apply = apply,
};

}  // namespace lumo
