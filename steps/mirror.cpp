// The step `mirror`: left and right exchanged, or top and bottom.
#include "geometry/reversal.h"
#include "image/view.h"
#include "steps/table.h"
#include "steps/turn.h"

namespace lumo {
namespace {

constexpr StepOption options[] = {
    {.name = "horizontal", .type = LumoOptionFlag, .summary = "Exchange left and right"},
    {.name = "vertical", .type = LumoOptionFlag, .summary = "Exchange top and bottom"},
};

void apply(const StepWork& work) {
    const bool vertical = work.arguments.has("vertical");
    const bool both = vertical && work.arguments.has("horizontal");
    const Image target = work.target();
    work.require(Copy_Image(work.source(), target));
    (both ? reverseRaster : vertical ? reverseRowOrder : reverseRows)(viewOf(target));
    if (both)
        recordTurn(work.result, 180);
    else
        work.result.settings.push_back({"Image_X", "Mirror", vertical ? "Vertical" : "Horizontal"});
}

}  // namespace

constinit const Step mirrorStep = {
    .name = "mirror",
    .summary = "Exchange left and right or top and bottom",
    .effect = "Every grey value is kept; both together are a half turn.",
    .examples = "mirror --horizontal",
    .flags = LumoStepRepeatable | LumoStepLinear | LumoStepHarmless,
    .options = options,
    .oneOf = "horizontal vertical",
    .apply = apply,
};

}  // namespace lumo
