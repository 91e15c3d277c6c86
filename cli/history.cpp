// The verb `history`: the processing steps recorded in an image, in their order.
#include <charconv>
#include <iostream>
#include <map>
#include <memory>

#include "cli/command.h"
#include "cli/library.h"
#include "cli/messages.h"
#include "cli/metadata.h"

namespace lumo::cli {

Work setUpHistory(CLI::App& verb);

namespace {

constexpr std::string_view stepPrefix = "Step";

Status run(const std::string& file) {
    const ImageHandle image = readImage(file);
    std::map<unsigned long, std::string> steps;  // numbers may have gaps, and need not be in order
    for (const MetaEntry& entry : readMetadata(image.get())) {
        if (entry.section != "PerformedSteps" || !entry.key.starts_with(stepPrefix)) continue;
        const char *begin = entry.key.data() + stepPrefix.size(),
                   *end = entry.key.data() + entry.key.size();
        unsigned long number = 0;
        const auto [rest, error] = std::from_chars(begin, end, number);
        if (error == std::errc() && rest == end) steps[number] = entry.value;
    }
    for (const auto& [number, step] : steps)
        std::cout << stepPrefix << number << ": " << printable(step) << '\n';
    return done;
}

}  // namespace

Work setUpHistory(CLI::App& verb) {
    const auto file = std::make_shared<std::string>();
    verb.add_option("FILE", *file, "Image file")->required();
    return [file] { return run(*file); };
}

}  // namespace lumo::cli
