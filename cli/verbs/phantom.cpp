// The verb `phantom`: a synthetic radiograph, so that every feature can be tried without a patient.
#include <charconv>
#include <memory>

#include "cli/files/image_output.h"
#include "cli/files/output.h"
#include "cli/library.h"
#include "cli/phantom/model.h"
#include "cli/raster.h"
#include "cli/steps/applying.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct Options {
    OutputOptions output;
    std::string flatField;            // of the detector; empty: none
    int width = 1024, height = 1024;  // pixels
    std::uint64_t seed = 1;
    std::uint32_t pitch = 100000;  // nanometres
};

/// Nothing if the text is a number of 64 bits; what is too large, the parser would cut.
std::string wholeNumber(const std::string& text) {
    std::uint64_t number = 0;
    const char* end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end ? "" : text + " is no whole number of 64 bits";
}

void setMetadata(lmImage* image, const std::string& step, const std::string& file) {
    const RasterSummary summary = summarize(*image);
    image->maxPix = summary.maximum;
    image->avgPix = static_cast<std::uint16_t>(summary.mean);
    const struct {
        const char *section, *key;
        std::string value;
    } entries[] = {{"Image", "Source", "Phantom"},
                   {"Image", "Software", "lumo " LUMO_VERSION},
                   {"Image_X", "bits", "16"},
                   {"Image_X", "MaxPix", std::to_string(image->maxPix)},
                   {"Image_X", "AvgPix", std::to_string(image->avgPix)}};
    for (const auto& [section, key, value] : entries)
        check(LumoSetMetaEntry(image, section, key, value.c_str()), file);
    check(LumoAddPerformedStep(image, step.c_str()), file);
}

std::string stepOf(const Options& options) {
    std::string step = "phantom --width " + std::to_string(options.width) + " --height " +
                       std::to_string(options.height) + " --seed " + std::to_string(options.seed) +
                       " --pitch " + std::to_string(options.pitch);
    if (!options.flatField.empty()) step += " --detector " + quotedWord(options.flatField);
    return step;
}

using Render = void (*)(std::uint16_t* raster, int width, int height, std::uint64_t seed);

ImageHandle make(const Options& options, Render render, const std::string& step,
                 const std::string& file) {
    ImageHandle image = createImage(options.width, options.height, file);
    image->pixelsizeX = image->pixelsizeY = options.pitch;
    render(image->data, options.width, options.height, options.seed);
    setMetadata(image.get(), step, file);
    return image;
}

bool haveOneFileTwice(const ImageOutput& a, const ImageOutput& b) {
    for (const std::string& name : a.names())
        for (const std::string& other : b.names())
            if (identity(a.folder() + name) == identity(b.folder() + other)) return true;
    return false;
}

Status run(const Options& options) {
    ImageOutput output(options.output);
    const std::string step = stepOf(options), &flatField = options.flatField;
    if (flatField.empty()) {
        output.save(make(options, renderPhantom, step, options.output.file).get());
        return done;
    }
    OutputOptions flatOptions = options.output;
    flatOptions.file = flatField;
    ImageOutput flatOutput(flatOptions);
    if (haveOneFileTwice(output, flatOutput))
        throw usageError("lumo phantom: --detector needs another file than OUT");
    const ImageHandle exposure = make(options, renderExposure, step, options.output.file);
    flatOutput.save(make(options, renderFlatField, "flat field of " + step, flatField).get());
    output.save(exposure.get());
    return done;
}

}  // namespace

Work setUpPhantom(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addOutputOptions(verb, options->output);
    verb.add_option("--width", options->width, "Pixels a row")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    verb.add_option("--height", options->height, "Rows")
        ->check(CLI::Range(1, 65535))
        ->capture_default_str();
    verb.add_option("--seed", options->seed, "Of the noise, and of the detector")
        ->check(wholeNumber)
        ->capture_default_str();
    verb.add_option("--pitch", options->pitch, "Of the pixels, in nanometres")
        ->check(CLI::Range(1, 1'000'000'000))
        ->capture_default_str();
    verb.add_option("--detector", options->flatField,
                    "Make OUT a raw exposure by a detector whose pixels differ in gain, and this "
                    "file its flat field");
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
