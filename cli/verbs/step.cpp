// The verbs that are one step each: window, crop, rotate and so on, as the library's table has
// them.
#include <memory>

#include "cli/steps/applying.h"
#include "cli/steps/options.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct Options : StepRun {
    explicit Options(const std::string& name) : step(name), values(step) {}
    StepDescription step;
    StepOptions values;
};

}  // namespace

Work setUpStep(CLI::App& verb) {
    const auto options = std::make_shared<Options>(verb.get_name());
    verb.description(options->step.info().summary);
    addStepRunOptions(verb, *options);
    options->values.declare(verb);
    verb.footer(options->step.info().effect +
                ("\n\n" + options->step.examples(verb.get_name(), "in.png out.png")));
    return [options] {
        return runSteps(*options, {{options->values.text(), ""}},
                        std::string("lumo ") + options->step.info().name);
    };
}

}  // namespace lumo::cli
