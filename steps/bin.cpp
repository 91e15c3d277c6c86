// The step `bin`: means of blocks of pixels.
#include "steps/table.h"

namespace lumo {
namespace {

constexpr std::uint64_t largestPitch = 1'000'000'000;  // nanometres: PNG's one pixel a metre

constexpr StepOption options[] = {
    {.name = "x",
     .type = LumoOptionInteger,
     .least = 1,
     .largest = 255,
     .value = "N",
     .unit = "pixels",
     .standard = "2",
     .summary = "Columns taken together"},
    {.name = "y",
     .type = LumoOptionInteger,
     .least = 1,
     .largest = 255,
     .value = "N",
     .unit = "pixels",
     .standard = "2",
     .summary = "Rows taken together"},
};

void apply(const StepWork& work) {
    const auto x = static_cast<std::uint8_t>(work.arguments.integer("x"));
    const auto y = static_cast<std::uint8_t>(work.arguments.integer("y"));
    if (x > work.image.width || y > work.image.height)
        refuse(work.report, LumoErrorImage,
               "bin: the picture of " + work.size() + " is smaller than one block");
    const std::uint64_t pitchX = std::uint64_t{work.image.pixelsizeX} * x,
                        pitchY = std::uint64_t{work.image.pixelsizeY} * y;
    if (std::max(pitchX, pitchY) > largestPitch)
        refuse(work.report, LumoErrorParameter,
               "bin: pixels of " + std::to_string(pitchX) + " x " + std::to_string(pitchY) +
                   " nm would be larger than any format holds (" + std::to_string(largestPitch) +
                   " nm)");
    work.require(Bin_Image(work.source(), work.result.raster.place(), x, y));
    work.result.pixelsizeX = static_cast<std::uint32_t>(pitchX);
    work.result.pixelsizeY = static_cast<std::uint32_t>(pitchY);
}

}  // namespace

constinit const Step binStep = {
    .name = "bin",
    .summary = "Average blocks of pixels",
    .effect =
        "The sides are divided and the pitch is multiplied; columns and rows that fill no "
        "block are dropped.",
    .examples = "bin --x 2 --y 2",
    .flags = LumoStepRepeatable | LumoStepLinear | LumoStepHarmless | LumoStepSides | LumoStepPitch,
    .options = options,
    .apply = apply,
};

}  // namespace lumo
