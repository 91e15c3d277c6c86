// The step `invert`: black and white exchanged.
#include "steps/table.h"

namespace lumo {
namespace {

void apply(const StepWork& work) {
    work.require(Invert_Image(work.source(), work.target()));
}

}  // namespace

constinit const Step invertStep = {
    .name = "invert",
    .summary = "Exchange black and white",
    .effect = "Every grey value v becomes 65535 - v.",
    .examples = "invert",
    .flags = LumoStepRepeatable,
    .apply = apply,
};

}  // namespace lumo
