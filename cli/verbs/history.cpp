// The verb `history`: the processing steps recorded in an image, in their order.
#include "cli/history.h"

#include <charconv>
#include <iostream>
#include <memory>

#include "cli/files/inputs.h"
#include "cli/library.h"
#include "cli/messages.h"
#include "cli/metadata.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

constexpr std::string_view stepPrefix = "Step";

struct Options {
    std::string file;
    bool script = false, asJson = false;
};

/// The filter commands among the steps, as `lumo filter --script` reads them.
void printScript(const std::map<unsigned long, std::string>& steps) {
    const std::string_view prefix = filterStepPrefix;
    for (const auto& [number, step] : steps)
        if (step.starts_with(prefix)) std::cout << step.substr(prefix.size()) << '\n';
}

void writeJson(JsonWriter& json, const std::map<unsigned long, std::string>& steps) {
    json.key("steps");
    json.beginArray();
    for (const auto& [number, step] : steps) {
        json.beginObject();
        json.entry("number", static_cast<std::int64_t>(number));
        json.entry("step", step);
        json.end();
    }
    json.end();
}

Status run(const Options& options) {
    Records records(options.asJson);
    return forEachFile({options.file}, records, [&](const std::string& file) {
        const ImageHandle image = readImage(file);
        const std::map<unsigned long, std::string> steps = readHistory(image.get(), file);
        if (options.script) return printScript(steps);
        if (options.asJson)
            return records.add(file, [&](JsonWriter& json) { writeJson(json, steps); });
        for (const auto& [number, step] : steps)
            std::cout << stepPrefix << number << ": " << printable(step) << '\n';
    });
}

}  // namespace

std::map<unsigned long, std::string> readHistory(lmImage* image, const std::string& file) {
    std::map<unsigned long, std::string> steps;
    for (const MetaEntry& entry : readMetadata(image, file)) {
        if (entry.section != "PerformedSteps" || !entry.key.starts_with(stepPrefix)) continue;
        const char *begin = entry.key.data() + stepPrefix.size(),
                   *end = entry.key.data() + entry.key.size();
        unsigned long number = 0;
        const auto [rest, error] = std::from_chars(begin, end, number);
        if (error == std::errc() && rest == end) steps[number] = entry.value;
    }
    return steps;
}

Work setUpHistory(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    verb.add_option("FILE", options->file, "Image file; -: standard input")->required();
    CLI::Option* script = verb.add_flag("--script", options->script,
                                        "Only the filter commands, as a script for filter");
    addJsonOption(verb, options->asJson);
    verb.get_option("--json")->excludes(script);
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
