// The verb `history`: the processing steps recorded in an image, as a list, or as a recipe or
// script that makes the picture again from its source.
#include "cli/history.h"

#include <iostream>
#include <memory>

#include "cli/files/inputs.h"
#include "cli/library.h"
#include "cli/messages.h"
#include "cli/verbs/verbs.h"
#include "lumo_steps.h"

namespace lumo::cli {

namespace {

struct Options {
    std::string file;
    bool script = false, recipe = false, json = false;
};

std::string nameOf(const HistoryStep& step) {
    return "Step" + std::to_string(step.number) + ": " + printable(step.recorded);
}

bool isSource(const HistoryStep& step) {
    return (step.flags & LumoStepSource) != 0 && step.reason.empty();
}

/// The steps as lines, or a message for each that would be lost.
template <class Line, class Reason>
Status printLines(const Options& options, const std::vector<HistoryStep>& steps, Line line,
                  Reason reasonAgainst) {
    std::string text;
    Status status = done;
    for (const HistoryStep& step : steps) {
        const std::string reason = reasonAgainst(step);
        if (reason.empty()) {
            text += line(step);
            continue;
        }
        printMessage(options.file + ": " + nameOf(step) + ": " + reason);
        status = failed;
    }
    if (status == done) std::cout << text;
    return status;
}

Status printRecipe(const Options& options, const std::vector<HistoryStep>& steps) {
    return printLines(
        options, steps,
        [](const HistoryStep& step) {
            return (isSource(step) ? "# the source: " : "") + step.text + '\n';
        },
        [](const HistoryStep& step) {
            return step.reason.empty() ? "" : "cannot be repeated (" + step.reason + ')';
        });
}

/// The filter commands, as `lumo filter --script` reads them.
Status printScript(const Options& options, const std::vector<HistoryStep>& steps) {
    return printLines(
        options, steps,
        [](const HistoryStep& step) {
            return isSource(step) ? "" : step.text.substr(sizeof "filter") + '\n';
        },
        [](const HistoryStep& step) {
            const bool fits = isSource(step) || (step.flags & LumoStepFilterCommand) != 0;
            return fits ? "" : "is no filter command, a script would leave it out; see --recipe";
        });
}

void writeJson(JsonWriter& json, const std::vector<HistoryStep>& steps) {
    json.key("steps");
    json.beginArray();
    for (const HistoryStep& step : steps) {
        json.beginObject();
        json.entry("number", static_cast<std::int64_t>(step.number));
        json.entry("recorded", step.recorded);
        json.entry("step", step.text);
        for (const auto& [name, value] :
             {std::pair{"repeatable", step.reason.empty()},
              std::pair{"linear", (step.flags & LumoStepLinear) != 0},
              std::pair{"harmless", (step.flags & LumoStepHarmless) != 0}}) {
            json.key(name);
            json.boolean(value);
        }
        json.end();
    }
    json.end();
}

Status run(const Options& options) {
    if (options.script + options.recipe + options.json > 1)
        throw usageError("lumo history: give one of --script, --recipe and --json");
    Records records(options.json);
    Status printed = done;
    const Status read = forEachFile({options.file}, records, [&](const std::string& file) {
        const ImageHandle image = readImage(file);
        const std::vector<HistoryStep> steps = readHistory(image.get(), file);
        if (options.json)
            return records.add(file, [&](JsonWriter& json) { writeJson(json, steps); });
        if (options.script)
            printed = printScript(options, steps);
        else if (options.recipe)
            printed = printRecipe(options, steps);
        else
            for (const HistoryStep& step : steps) std::cout << nameOf(step) << '\n';
    });
    return read == done ? printed : read;
}

}  // namespace

Work setUpHistory(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    verb.add_option("FILE", options->file, "Image file; -: standard input")->required();
    verb.add_flag("--script", options->script, "The filter commands, as a script for filter");
    verb.add_flag("--recipe", options->recipe,
                  "The steps that make the picture again from its source, for run");
    verb.add_flag("--json", options->json, "As JSON, with what is known of each step");
    verb.footer(
        "Examples:"
        "\n  lumo history out.png"
        "\n  lumo history --recipe out.png > panel.txt");
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
