// The table of steps: which there are, in the order of help texts, and its description for callers.
#include "steps/table.h"

#include <algorithm>

namespace lumo {

namespace {

constexpr const Step* steps[] = {&calibrateStep, &cropStep,   &rotateStep,  &mirrorStep,
                                 &shearStep,     &binStep,    &filterStep,  &windowStep,
                                 &equalizeStep,  &invertStep, &deflashStep, &phantomStep};

/// Raises -2 for a place that is none.
const Step& stepAt(std::int32_t place) {
    if (place < 0 || place >= LumoCountSteps()) raise(LumoErrorParameter);
    return *steps[place];
}

void describe(const Step& step, LumoStepInfo* info) {
    handOut(
        LumoStepInfo{sizeof *info, step.flags, step.name, step.summary, step.effect, step.examples,
                     step.oneOf, static_cast<std::int32_t>(step.options.size()), 0},
        info);
}

void describe(const StepOption& option, LumoOptionInfo* info) {
    handOut(LumoOptionInfo{sizeof *info, option.type, option.flags, option.count, option.least,
                           option.largest, option.name, option.value, option.unit, option.standard,
                           option.summary, option.choices, option.needs, option.excludes,
                           option.commands},
            info);
}

}  // namespace

const Step* findStep(std::string_view name) {
    const auto* found =
        std::ranges::find_if(steps, [&](const Step* step) { return step->name == name; });
    return found != std::end(steps) ? *found : nullptr;
}

std::vector<std::string_view> stepNames() {
    std::vector<std::string_view> names;
    for (const Step* step : steps) names.emplace_back(step->name);
    return names;
}

}  // namespace lumo

extern "C" {

int32_t LumoCountSteps(void) {
    return static_cast<std::int32_t>(std::size(lumo::steps));
}

int LumoDescribeStep(int32_t step, LumoStepInfo* info) {
    return lumo::guarded([=] { lumo::describe(lumo::stepAt(step), info); });
}

int LumoDescribeStepOption(int32_t step, int32_t option, LumoOptionInfo* info) {
    return lumo::guarded([=] {
        const auto options = lumo::stepAt(step).options;
        const auto place = static_cast<std::size_t>(option);
        if (option < 0 || place >= options.size()) lumo::raise(LumoErrorParameter);
        lumo::describe(options[place], info);
    });
}

}  // extern "C"
