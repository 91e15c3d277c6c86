// The step `window`: grey values mapped through a curve over a window.
#include <algorithm>

#include "steps/table.h"
#include "steps/words.h"

namespace lumo {
namespace {

/// In the order of their numbers in ::LutMode.
constexpr const char* curves =
    "linear sqrt log quadratic exp threshold25 threshold50 threshold75 sigmoid shifted-sqrt";

constexpr StepOption options[] = {
    {.name = "lo",
     .type = LumoOptionInteger,
     .least = 0,
     .largest = 65535,
     .value = "V",
     .unit = "grey value",
     .summary = "What becomes black",
     .needs = "hi"},
    {.name = "hi",
     .type = LumoOptionInteger,
     .least = 0,
     .largest = 65535,
     .value = "V",
     .unit = "grey value",
     .summary = "What becomes white, above --lo",
     .needs = "lo"},
    {.name = "limits",
     .type = LumoOptionIntegers,
     .least = 0,
     .largest = 400000,
     .count = 2,
     .value = "LOW,HIGH",
     .unit = "parts per million",
     .summary = "Instead: shares of the darkest and of the brightest pixels to cut off",
     .excludes = "lo hi"},
    {.name = "mode",
     .type = LumoOptionChoice,
     .value = "CURVE",
     .standard = "linear",
     .summary = "The curve over the window",
     .choices = curves},
    {.name = "invert", .type = LumoOptionFlag, .summary = "White becomes black"},
    {.name = "mirror", .type = LumoOptionFlag, .summary = "Mirror the curve along the grey values"},
};

void check(const StepArguments& arguments, LumoStepReport& report) {
    if (!arguments.has("lo") || arguments.integer("lo") < arguments.integer("hi")) return;
    refuse(report, LumoErrorParameter,
           "window: --lo " + arguments.text("lo") + " is not below --hi " + arguments.text("hi"));
}

std::uint16_t modeOf(const StepArguments& arguments) {
    const std::vector<std::string_view> names = itemsOf(curves);
    const auto curve = std::ranges::find(names, arguments.text("mode")) - names.begin();
    const int flags = (arguments.has("invert") ? int{LutInvert} : 0) |
                      (arguments.has("mirror") ? int{LutMirror} : 0);
    return static_cast<std::uint16_t>(curve | flags);
}

void apply(const StepWork& work) {
    const std::uint16_t mode = modeOf(work.arguments);
    if (work.arguments.has("limits")) {
        const auto limits = work.arguments.integers("limits");
        return work.require(
            Opt_GreyscaleLim(work.source(), work.target(), limits[0], limits[1], mode));
    }
    work.require(Opt_GreyscaleAbs(work.source(), work.target(),
                                  static_cast<std::uint16_t>(work.arguments.integer("lo")),
                                  static_cast<std::uint16_t>(work.arguments.integer("hi")), mode));
}

}  // namespace

constinit const Step windowStep = {
    .name = "window",
    .summary = "Map a window of grey values through a curve",
    .effect = "The window is spread over 0 to 65535; what lies beyond becomes black or white.",
    .examples =
        "window --lo 9600 --hi 50000 --mode sqrt\n"
        "window --limits 1000,1000 --invert",
    .flags = LumoStepRepeatable,
    .options = options,
    .oneOf = "lo limits",
    .check = check,
    .apply = apply,
};

}  // namespace lumo
