// The verb `calibrate`: gain tables from reference exposures, images corrected by them, and what
// happened to the pixels on the way.
#include <algorithm>
#include <charconv>
#include <iostream>
#include <memory>
#include <string_view>
#include <vector>

#include "cli/files/batch.h"
#include "cli/files/output.h"
#include "cli/files/reading.h"
#include "cli/files/records.h"
#include "cli/gain_table.h"
#include "cli/history.h"
#include "cli/messages.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct Options : ChangeOptions {
    BatchOptions batch;
    std::string reference, table;
    std::string smooth = "1x1", range = "50,200";
    bool force = false, json = false;
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

void report(Records& records, const std::string& file, const std::vector<Count>& counts) {
    if (records.asJson())
        return records.add(file, [&](JsonWriter& json) {
            for (const Count& count : counts) json.entry(count.key, count.pixels);
        });
    clearProgress();
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
    Records records(options.json);
    report(records, options.table,
           {{"pixels", "pixels", static_cast<std::int64_t>(count)},
            {"zeroPixels", "of 0 in the reference", dead},
            {"zeroSmoothed", "of 0 after smoothing, given the gain 1",
             countOf(reference->data, count, 0)},
            {"atLowestGain", "at the lowest gain", countOf(codes.data(), count, 0)},
            {"atHighestGain", "at the highest gain", atHighest}});
    records.end();
    return done;
}

/// The history names tables as they were called then, whatever the folder was: the same name counts
/// as the same table.
void warnIfRepeated(lmImage* image, const Options& options, const std::string& file) {
    constexpr std::string_view prefix = "CalibrateImage(calibrationDataFileName=", suffix = ")";
    for (const auto& [number, step] : readHistory(image, file)) {
        if (!step.starts_with(prefix)) continue;
        const std::string table =
            step.substr(prefix.size(), step.size() - prefix.size() - suffix.size());
        if (SplitPath(table).name == SplitPath(options.table).name)
            return printMessage(file + ": warning: already corrected with this calibration (" +
                                table + ')');
    }
}

void correct(ImageHandle& image, const Options& options, const std::string& file,
             CorrectionCounts& counts) {
    const std::vector<std::uint16_t> source(
        image->data, image->data + std::size_t{image->width} * image->height);
    warnIfRepeated(image.get(), options, file);
    checkRead(CalibrateImage(image.get(), options.table.c_str()), options.table);
    counts = countCorrection(readGainTable(options.table, options.table), image->width,
                             image->height, source);
}

Status apply(const Options& options) {
    requireFiles(options.batch, options, "lumo calibrate apply");
    if (options.batch.chosen() && !options.input.empty())
        throw usageError("lumo calibrate apply: --batch takes the place of IN and OUT");
    Records records(options.json);
    const Status status = runOnFiles(
        options.batch, options,
        [&](const ChangeOptions& each) {
            CorrectionCounts counts{};
            changeImage(each,
                        [&](ImageHandle& image) { correct(image, options, each.input, counts); });
            report(records, each.output.file,
                   {{"corrected", "pixels corrected", counts.corrected},
                    {"beyondTable", "left as they were, beyond the table", counts.beyondTable},
                    {"atLowestGain", "at the lowest gain", counts.atLowestGain},
                    {"atHighestGain", "at the highest gain", counts.atHighestGain},
                    {"clamped", "clamped at 65535", counts.clamped}});
        },
        &records);
    records.end();
    return status;
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
    CLI::App& apply_ = *verb.add_subcommand("apply", "Correct an image by a gain table");
    apply_.add_option("CAL", options->table, "Calibration file to read")->required();
    addBatchOptions(apply_, *options, options->batch);
    for (CLI::App* each : {&create_, &apply_})
        each->add_flag("--json", options->json,
                       "What was done as JSON, an array with one object a file");
    return [options, &create_, &apply_] {
        if (create_.parsed()) return create(*options);
        if (apply_.parsed()) return apply(*options);
        throw usageError("lumo calibrate: give create or apply");
    };
}

}  // namespace lumo::cli
