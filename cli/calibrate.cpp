// The verb `calibrate`: gain tables from reference exposures, images corrected by them, and what
// happened to the pixels on the way.
#include <algorithm>
#include <charconv>
#include <cstdio>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <vector>

#include "cli/command.h"
#include "cli/image_output.h"
#include "cli/json.h"
#include "cli/messages.h"
#include "cli/metadata.h"
#include "cli/output.h"

namespace lumo::cli {

Work setUpCalibrate(CLI::App& verb);

namespace {

struct Options {
    std::string reference, table, input;
    std::string smooth = "1x1", range = "50,200";
    OutputOptions output;
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

void print(const Options& options, const std::string& file, const std::vector<Count>& counts) {
    if (!options.json) {
        std::cout << printable(file) << '\n';
        for (const Count& count : counts)
            std::cout << "  " << count.text << ": " << count.pixels << '\n';
        return;
    }
    JsonWriter json(std::cout);
    json.beginObject();
    json.entry("file", file);
    for (const Count& count : counts) json.entry(count.key, count.pixels);
    json.end();
    std::cout << '\n';
}

/// The gain codes of a calibration file that was just written: behind its header of 20 bytes.
std::vector<std::uint16_t> gainCodes(const std::string& file, std::size_t count) {
    constexpr std::streamoff headerSize = 20;
    std::vector<unsigned char> bytes(2 * count);
    std::ifstream in(file, std::ios::binary);
    in.seekg(headerSize)
        .read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!in) throw libraryError(LumoErrorFile, file);
    std::vector<std::uint16_t> codes(count);
    for (std::size_t i = 0; i < count; ++i)
        codes[i] = static_cast<std::uint16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
    return codes;
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
    check(CreateCalibrationData(reference.get(), smoothWidth, smoothHeight, lowest, highest,
                                staged.c_str()),
          options.table);
    const std::vector<std::uint16_t> codes = gainCodes(staged, count);
    output.publish();
    print(options, options.table,
          {{"pixels", "pixels", static_cast<std::int64_t>(count)},
           {"zeroPixels", "of 0 in the reference, given the gain 1", dead},
           {"atLowestGain", "at the lowest gain", countOf(codes.data(), count, 0)},
           {"atHighestGain", "at the highest gain", countOf(codes.data(), count, 65535)}});
    return done;
}

/// The history names tables as they were called then: the same name counts as the same table.
void warnIfRepeated(lmImage* image, const Options& options) {
    const std::string step = "CalibrateImage(calibrationDataFileName=" + options.table + ")";
    for (const MetaEntry& entry : readMetadata(image))
        if (entry.section == "PerformedSteps" && entry.value == step)
            return printMessage(printable(options.input) +
                                ": warning: already corrected with this calibration");
}

Status apply(const Options& options) {
    ImageOutput output(options.output);
    const ImageHandle image = readImage(options.input);
    const std::size_t count = std::size_t{image->width} * image->height;
    const std::int64_t before = countOf(image->data, count, 65535);
    warnIfRepeated(image.get(), options);
    check(CalibrateImage(image.get(), options.table.c_str()), options.table);
    output.save(image.get());
    print(options, options.output.file,
          {{"pixels", "pixels", static_cast<std::int64_t>(count)},
           {"saturatedBefore", "at 65535 before", before},
           {"saturatedAfter", "at 65535 after", countOf(image->data, count, 65535)}});
    return done;
}

}  // namespace

Work setUpCalibrate(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    verb.require_subcommand(1);
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
    apply_.add_option("IN", options->input, "Image file to read")->required();
    addOutputOptions(apply_, options->output);
    for (CLI::App* each : {&create_, &apply_})
        each->add_flag("--json", options->json, "Tell what was done as JSON");
    return [options, &create_] { return create_.parsed() ? create(*options) : apply(*options); };
}

}  // namespace lumo::cli
