// The verb `filter`: runs filter commands on an image, one after another, one step of history each.
#include <memory>
#include <sstream>
#include <vector>

#include "cli/command.h"
#include "cli/files/pitch.h"
#include "cli/steps/applying.h"
#include "cli/steps/options.h"
#include "cli/steps/recipe.h"
#include "cli/verbs/verbs.h"
#include "lumo_legacy.h"

namespace lumo::cli {

namespace {

struct Options : StepRun {
    std::string script;
    std::vector<std::string> commands;
};

/// A bare name is looked for in the workstation's script folder.
std::string scriptPath(const std::string& name) {
    if (name.find('/') != std::string::npos) return name;
    char path[1024] = "";
    CompleteImoPath(path, name.c_str());
    std::string file = path;
    // The library puts its separator before the name; here files have another.
    if (file.size() > name.size()) file[file.size() - name.size() - 1] = '/';
    return file;
}

Status run(Options& options) {
    const std::string name = "filter ";
    std::vector<StepText> steps;
    if (!options.script.empty()) steps = readRecipe(scriptPath(options.script), name);
    for (const std::string& text : takeTexts(options, options.commands))
        steps.push_back({name + text, ""});
    if (steps.empty())
        throw usageError("lumo filter: no command; give one behind the files, or --script FILE");
    return runSteps(options, steps, "lumo filter");
}

/// The keys of one command, a line each.
std::string keysOf(const StepDescription& step, const std::string& command) {
    std::string text;
    for (const LumoOptionInfo& key : step.options()) {
        std::istringstream commands(key.commands);
        for (std::string each; commands >> each;) {
            if (each != command) continue;
            std::string line = std::string("\n    ") + key.name + '=' + key.value;
            line.resize(27, ' ');
            text += line + key.summary + detailsOf(key);
        }
    }
    return text;
}

/// Commands with the same keys stand together.
std::string footer(const StepDescription& step) {
    std::string text = "Commands and their keys:", heads, keys;
    std::istringstream commands(step.options().front().choices);
    for (std::string command; commands >> command;) {
        const std::string own = keysOf(step, command);
        if (own == keys) {
            heads += ", type=" + command;
            continue;
        }
        text += heads + keys;
        heads = "\n  type=" + command;
        keys = own;
    }
    return text + heads + keys + "\n\n" +
           "Examples:"
           "\n  lumo filter in.png out.png \"type=unsharp_mask radius=0.5 value=2\""
           "\n  lumo filter in.png out.png \"type=median_filter size=5\" \"type=gauss_fd2 ab1=3\""
           "\n  lumo filter --batch exposures --out sharp --script sharpen.imo";
}

}  // namespace

Work setUpFilter(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addStepRunOptions(verb, *options);
    addPitchOption(verb, options->pitch);
    verb.add_option("COMMAND", options->commands,
                    "Filter commands, such as \"type=unsharp_mask radius=0.5 value=2\"");
    verb.add_option("--script", options->script,
                    "File of filter commands to run first, one a line; '#' begins a comment; a "
                    "bare name is looked for in the script folder");
    verb.footer(footer(StepDescription("filter")));
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
