// The step `crop`: a region alone.
#include <algorithm>

#include "steps/table.h"

namespace lumo {
namespace {

constexpr StepOption options[] = {
    {.name = "roi",
     .type = LumoOptionIntegers,
     .flags = LumoOptionRequired,
     .least = 0,
     .largest = 65534,
     .count = 4,
     .value = "X1,Y1,X2,Y2",
     .unit = "pixels",
     .summary = "What to keep: two opposite corners, inclusive"},
};

void apply(const StepWork& work) {
    const auto numbers = work.arguments.integers("roi");
    const Roi region{numbers[0], numbers[1], numbers[2], numbers[3]};
    if (std::max(region.x1, region.x2) >= work.image.width ||
        std::max(region.y1, region.y2) >= work.image.height)
        refuse(
            work.report, LumoErrorImage,
            "crop: --roi " + work.arguments.text("roi") + " leaves the picture of " + work.size());
    Image source = work.source();
    work.require(Crop_Image(&source, work.result.raster.place(), region));
}

}  // namespace

constinit const Step cropStep = {
    .name = "crop",
    .summary = "Keep a region",
    .effect = "The sides become the region's; grey values and pitch stay.",
    .examples = "crop --roi 180,120,760,980",
    .flags = LumoStepRepeatable | LumoStepLinear | LumoStepHarmless | LumoStepSides,
    .options = options,
    .apply = apply,
};

}  // namespace lumo
