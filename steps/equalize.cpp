// The step `equalize`: the histogram equalised, between limits or with clipped counts.
#include "steps/table.h"

namespace lumo {
namespace {

constexpr StepOption options[] = {
    {.name = "limits",
     .type = LumoOptionIntegers,
     .least = 0,
     .largest = 400000,
     .count = 2,
     .value = "LOW,HIGH",
     .unit = "parts per million",
     .standard = "0,0",
     .summary = "Shares of the darkest and of the brightest pixels to leave out",
     .excludes = "clipped"},
    {.name = "clipped", .type = LumoOptionFlag, .summary = "Limit what frequent grey values take"},
    {.name = "strength",
     .type = LumoOptionInteger,
     .least = 0,
     .largest = 100,
     .value = "N",
     .standard = "50",
     .summary = "Clip level; 50 is neutral, each 50 are a factor of 1000",
     .needs = "clipped"},
    {.name = "weight",
     .type = LumoOptionInteger,
     .least = 0,
     .largest = 100,
     .value = "P",
     .unit = "per cent",
     .standard = "0",
     .summary = "Share of a square-root curve blended in",
     .needs = "clipped"},
    {.name = "low",
     .type = LumoOptionInteger,
     .least = 0,
     .largest = 65535,
     .value = "V",
     .unit = "grey value",
     .summary = "Lower end of the useful range; else it is found",
     .needs = "clipped"},
    {.name = "high",
     .type = LumoOptionInteger,
     .least = 0,
     .largest = 65535,
     .value = "V",
     .unit = "grey value",
     .summary = "Upper end of the useful range; else it is found",
     .needs = "clipped"},
};

void check(const StepArguments& arguments, LumoStepReport& report) {
    const bool both = arguments.has("low") && arguments.has("high");
    if (!both || arguments.integer("low") < arguments.integer("high")) return;
    refuse(report, LumoErrorParameter,
           "equalize: --low " + arguments.text("low") + " is not below --high " +
               arguments.text("high"));
}

void equalizeClipped(const StepWork& work) {
    const StepArguments& arguments = work.arguments;
    const bool hasLow = arguments.has("low"), hasHigh = arguments.has("high");
    std::int32_t low = hasLow ? arguments.integer("low") : 0;
    std::int32_t high = hasHigh ? arguments.integer("high") : 65535;
    work.require(Equal_Histo3(work.target(), work.source(), arguments.integer("strength"), &low,
                              &high, hasLow, hasHigh, arguments.integer("weight")));
    work.report.count("low", "lower end of the useful range", low);
    work.report.count("high", "upper end of the useful range", high);
}

void apply(const StepWork& work) {
    if (work.arguments.has("clipped")) return equalizeClipped(work);
    const auto limits = work.arguments.integers("limits");
    work.require(Equal_Histo(work.target(), work.source(), limits[0], limits[1]));
}

}  // namespace

constinit const Step equalizeStep = {
    .name = "equalize",
    .summary = "Equalise the histogram",
    .effect = "Grey values are spread by how many pixels have them.",
    .examples =
        "equalize --limits 5000,5000\n"
        "equalize --clipped --strength 50 --weight 20",
    .flags = LumoStepRepeatable,
    .options = options,
    .check = check,
    .apply = apply,
};

}  // namespace lumo
