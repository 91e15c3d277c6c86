// The verb `calibrate`: gain tables from reference exposures, and images corrected by them.
#include <algorithm>
#include <charconv>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/files/output.h"
#include "cli/files/reading.h"
#include "cli/files/records.h"
#include "cli/gain_table.h"
#include "cli/messages.h"
#include "cli/steps/applying.h"
#include "cli/steps/options.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct Options : StepRun {
    StepDescription step{"calibrate"};
    StepOptions values{step};
    std::string reference, table;
    std::string smooth = "1x1", range = "50,200";
    bool force = false;
};

/// Two numbers of 0 to 65535 with a separator between.
std::pair<std::uint16_t, std::uint16_t> numberPair(const std::string& text, char separator,
                                                   const char* option) {
    std::uint16_t first = 0, second = 0;
    const char* end = text.data() + text.size();
    const auto [middle, error] = std::from_chars(text.data(), end, first);
    if (error == std::errc() && middle != end && *middle == separator) {
        const auto [rest, secondError] = std::from_chars(middle + 1, end, second);
        if (secondError == std::errc() && rest == end) return {first, second};
    }
    throw usageError(std::string("lumo calibrate: ") + option + ": two numbers with '" + separator +
                     "' between are wanted, not " + printable(text));
}

struct Count {
    const char *key, *text;
    std::int64_t pixels;
};

/// Counts about a file, as text or as JSON.
void report(bool asJson, const std::string& file, const std::vector<Count>& counts) {
    Records records(asJson);
    if (asJson) {
        records.add(file, [&](JsonWriter& json) {
            for (const Count& count : counts) json.entry(count.key, count.pixels);
        });
        return records.end();
    }
    std::cout << printable(file) << '\n';
    for (const Count& count : counts)
        std::cout << "  " << count.text << ": " << count.pixels << '\n';
}

std::int64_t countOf(const std::uint16_t* pixels, std::size_t count, std::uint16_t value) {
    return std::count(pixels, pixels + count, value);
}

Status create(const Options& options) {
    const auto [smoothWidth, smoothHeight] = numberPair(options.smooth, 'x', "--smooth");
    const auto [lowest, highest] = numberPair(options.range, ',', "--range");
    if (lowest >= 100 || highest <= 100)
        throw usageError("lumo calibrate: --range: below 100 and above 100 per cent are wanted");
    const ImageHandle reference = readImage(options.reference);
    const std::size_t count = std::size_t{reference->width} * reference->height;
    const std::int64_t dead = countOf(reference->data, count, 0);
    const SplitPath path(options.table);
    StagedOutput output(path.folder, {path.name}, {}, options.force);
    const std::string staged = output.pathOf(path.name);
    const int created = CreateCalibrationData(reference.get(), smoothWidth, smoothHeight, lowest,
                                              highest, staged.c_str());
    if (created < 0) throw output.writingError(created, path.name);
    const GainTable table = readGainTable(staged, options.table);
    const std::vector<std::uint16_t>& codes = table.codes;
    const auto atHighest = std::ranges::count_if(
        codes, [top = table.topCode()](std::uint16_t code) { return code >= top; });
    output.publish();
    report(options.json, options.table,
           {{"pixels", "pixels", static_cast<std::int64_t>(count)},
            {"zeroPixels", "of 0 in the reference", dead},
            {"zeroSmoothed", "of 0 after smoothing, given the gain 1",
             countOf(reference->data, count, 0)},
            {"atLowestGain", "at the lowest gain", countOf(codes.data(), count, 0)},
            {"atHighestGain", "at the highest gain", atHighest}});
    return done;
}

Status apply(const Options& options) {
    if (options.batch.chosen() && !options.input.empty())
        throw usageError("lumo calibrate apply: --batch takes the place of IN and OUT");
    return runSteps(options, {{options.values.text(), ""}}, "lumo calibrate");
}

}  // namespace

Work setUpCalibrate(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    verb.require_subcommand(0, 1);
    CLI::App& create_ = *verb.add_subcommand("create", "Make a gain table from a flat exposure");
    create_.add_option("REF", options->reference, "Exposure without an object")->required();
    create_.add_option("OUT", options->table, "Calibration file to write")->required();
    create_.add_option("--smooth", options->smooth, "Window of the mean, WxH pixels")
        ->capture_default_str();
    create_.add_option("--range", options->range, "Lowest and highest gain in per cent, MIN,MAX")
        ->capture_default_str();
    addForceOption(create_, options->force);
    create_.add_flag("--json", options->json, "What was done as JSON, an array with one object");
    create_.footer("Examples:\n  lumo calibrate create flat.png gains.cal --range 50,200");
    CLI::App& apply_ = *verb.add_subcommand("apply", "Correct an image by a gain table");
    options->values.declare(apply_);
    addStepRunOptions(apply_, *options);
    apply_.footer(options->step.info().effect +
                  std::string("\n\nExamples:"
                              "\n  lumo calibrate apply gains.cal in.png out.png"
                              "\n  lumo calibrate apply gains.cal --batch raw --out corrected"));
    return [options, &create_, &apply_] {
        if (create_.parsed()) return create(*options);
        if (apply_.parsed()) return apply(*options);
        throw usageError("lumo calibrate: give create or apply");
    };
}

}  // namespace lumo::cli
