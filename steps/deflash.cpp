// The step `deflash`: single bright pixels replaced by the mean of those above and below.
#include "steps/table.h"

namespace lumo {
namespace {

constexpr StepOption options[] = {
    {.name = "threshold",
     .type = LumoOptionInteger,
     .least = 0,
     .largest = 65535,
     .value = "V",
     .unit = "grey values",
     .standard = "1000",
     .summary = "Rise over the pixel above that is a flash"},
};

void apply(const StepWork& work) {
    const Image target = work.target();
    work.require(Copy_Image(work.source(), target));
    work.require(DeFlash(target, static_cast<std::uint16_t>(work.arguments.integer("threshold"))));
}

}  // namespace

constinit const Step deflashStep = {
    .name = "deflash",
    .summary = "Remove single pixels much brighter than the one above",
    .effect =
        "Such pixels become the mean of the one above and the one below; the outermost rows "
        "and columns stay.",
    .examples = "deflash --threshold 8000",
    .flags = LumoStepRepeatable,
    .options = options,
    .apply = apply,
};

}  // namespace lumo
