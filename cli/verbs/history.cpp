// The verb `history`: the processing steps recorded in an image, in their order.
#include "cli/history.h"

#include <charconv>
#include <iostream>
#include <memory>

#include "cli/files/reading.h"
#include "cli/library.h"
#include "cli/messages.h"
#include "cli/metadata.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

constexpr std::string_view stepPrefix = "Step";

struct Options {
    std::string file;
    bool script = false;
};

/// The filter commands among the steps, as `lumo filter --script` reads them.
void printScript(const std::map<unsigned long, std::string>& steps) {
    const std::string_view prefix = filterStepPrefix;
    for (const auto& [number, step] : steps)
        if (step.starts_with(prefix)) std::cout << step.substr(prefix.size()) << '\n';
}

Status run(const Options& options) {
    const ImageHandle image = readImage(options.file);
    const std::map<unsigned long, std::string> steps = readHistory(image.get());
    if (options.script) {
        printScript(steps);
        return done;
    }
    for (const auto& [number, step] : steps)
        std::cout << stepPrefix << number << ": " << printable(step) << '\n';
    return done;
}

}  // namespace

std::map<unsigned long, std::string> readHistory(lmImage* image) {
    std::map<unsigned long, std::string> steps;
    for (const MetaEntry& entry : readMetadata(image)) {
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
    verb.add_option("FILE", options->file, "Image file")->required();
    verb.add_flag("--script", options->script, "Only the filter commands, as a script for filter");
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
