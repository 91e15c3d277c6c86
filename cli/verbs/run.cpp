// The verb `run`: a chain of steps, one read and one write.
#include <memory>
#include <vector>

#include "cli/files/pitch.h"
#include "cli/steps/applying.h"
#include "cli/steps/options.h"
#include "cli/steps/recipe.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct Options : StepRun {
    std::string recipe;
    std::vector<std::string> steps;
};

Status run(Options& options) {
    std::vector<StepText> steps;
    if (!options.recipe.empty()) steps = readRecipe(options.recipe);
    for (const std::string& text : takeTexts(options, options.steps)) steps.push_back({text, ""});
    if (steps.empty())
        throw usageError("lumo run: no step; give some behind the files, or --recipe FILE");
    return runSteps(options, steps, "lumo run");
}

std::string footer() {
    std::string text = "A step is the command line of a verb without its files. Steps:";
    for (const LumoStepInfo& step : stepsOfTable()) {
        std::string line = std::string("\n  ") + step.name;
        line.resize(16, ' ');
        text += line + step.summary;
    }
    return text +
           "\n\nExamples:"
           "\n  lumo run in.png out.png \"calibrate gains.cal\" \"window --limits 1000,1000\" "
           "invert"
           "\n  lumo run --recipe panel.txt --batch exposures --out corrected";
}

}  // namespace

Work setUpRun(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addStepRunOptions(verb, *options);
    addPitchOption(verb, options->pitch);
    verb.add_option("STEP", options->steps, "Steps, each one argument, in their order");
    verb.add_option("--recipe", options->recipe,
                    "File of steps to apply first, one a line; '#' begins a comment");
    verb.footer(footer());
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
