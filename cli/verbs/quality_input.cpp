// What all quality figures share: their options, images whose history allows a figure, and the
// signal.
#include "cli/verbs/quality_input.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <optional>

#include "cli/arguments.h"
#include "cli/files/inputs.h"
#include "cli/history.h"
#include "cli/messages.h"
#include "lumo_steps.h"

namespace lumo::cli {
namespace {

/// What the program records beside the library's steps, and leaves noise, sharpness and linearity
/// what they are.
constexpr std::string_view harmlessRecords[] = {"average of ", "badpixels mend "};

/// Everything that is not known to be harmless counts as changing them.
bool isHarmless(const HistoryStep& step) {
    return (step.flags & LumoStepHarmless) != 0 ||
           std::ranges::any_of(harmlessRecords, [&](std::string_view start) {
               return step.recorded.starts_with(start);
           });
}

int formatOf(const std::string& file) {
    int format = FormatAuto;
    return LumoFormatOfFile(file.c_str(), &format) == LumoOk ? format : int{FormatAuto};
}

/// The first thing that forbids a figure of the exposure.
std::optional<std::string> obstacle(lmImage* image, const std::string& file) {
    if (formatOf(file) == FormatXyz8) return "8-bit XYZ holds square-root codes";
    for (const HistoryStep& step : readHistory(image, file))
        if (!isHarmless(step)) return "processed by \"" + printable(step.recorded) + '"';
    return std::nullopt;
}

/// A number at the begin of a text, which is moved behind it.
bool takeNumber(std::string_view& text, double& number) {
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return false;
    text.remove_prefix(static_cast<std::size_t>(rest - text.data()));
    return true;
}

void skip(std::string_view& text, std::string_view letters) {
    text.remove_prefix(std::min(text.find_first_not_of(letters), text.size()));
}

/// "GREY,SIGNAL", in blanks as well.
bool parseRow(std::string_view line, double& grey, double& signal) {
    skip(line, " \t");
    if (!takeNumber(line, grey)) return false;
    skip(line, " \t,;");
    if (!takeNumber(line, signal)) return false;
    skip(line, " \t\r");
    return line.empty();
}

}  // namespace

void addQualityOptions(CLI::App& verb, QualityOptions& options) {
    addInputOption(verb, options.files);
    CLI::Option* offset =
        verb.add_option("--offset", options.offset, "Grey value without dose, subtracted first");
    verb.add_option("--dark", options.dark, "Dark frame, subtracted first")->excludes(offset);
    verb.add_option("--response", options.response,
                    "Table of grey value and signal (CSV), for grey values that are not "
                    "proportional to dose");
    verb.add_option("--pitch", options.pitch, "Pitch in micrometres, instead of the file's")
        ->check(CLI::Range(0.001, 1e6));
    verb.add_flag("--processed", options.processed,
                  "Measure images that were filtered or mapped as well, as they are");
    CLI::Option* csv = verb.add_flag("--csv", options.csv, "Comma-separated, one object a line");
    verb.add_flag("--json", options.json, "An array with one object each")->excludes(csv);
}

SignalSource::SignalSource(const QualityOptions& options) {
    signal_ = sized<LumoSignal>();
    signal_.offset = options.offset;
    if (!options.dark.empty()) {
        darkImage_ = readImage(options.dark);
        dark_ = rasterOf(*darkImage_);
        signal_.dark = &dark_;
    }
    if (!options.response.empty()) readResponse(options.response);
}

void SignalSource::readResponse(const std::string& file) {
    std::ifstream stream(file);
    if (!stream) throw CommandError(file + ": cannot be opened");
    int number = 0;
    for (std::string line; std::getline(stream, line);) {
        ++number;
        if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
        double grey = 0, value = 0;
        if (parseRow(line, grey, value)) {
            grey_.push_back(grey);
            values_.push_back(value);
        } else if (number > 1) {  // the first line may be a head
            throw CommandError(file + ": line " + std::to_string(number) + ": not two numbers");
        }
    }
    if (stream.bad()) throw CommandError(file + ": cannot be read");
    if (grey_.size() < 2 || grey_.size() > 1000000)
        throw CommandError(file + ": " + LumoQualityReasonText(LumoReasonResponseTable));
    signal_.responseCount = static_cast<std::int32_t>(grey_.size());
    signal_.responseGrey = grey_.data();
    signal_.responseSignal = values_.data();
}

QualityInput readInput(const std::string& file, const QualityOptions& options) {
    QualityInput input{};
    input.image = readImage(file);
    input.pitchX = input.image->pixelsizeX;
    input.pitchY = input.image->pixelsizeY;
    if (options.pitch > 0) {
        input.pitchX = input.pitchY = static_cast<std::uint32_t>(std::lround(options.pitch * 1000));
        input.pitchKnown = 1;
    }
    const std::optional<std::string> found = obstacle(input.image.get(), file);
    if (found && !options.processed)
        throw CommandError(file + ": " + *found + "; --processed measures it as it is");
    if (found) input.note = *found;
    const bool isPng = formatOf(file) == FormatPng;
    if (!found && !isPng) input.note = "XYZ files keep no history";
    input.history = found ? "processed" : isPng ? "unprocessed" : "unknown";
    return input;
}

NamedRoi parseNamedRoi(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) return {text, parseRoi(text)};
    if (equals == 0) throw usageError("--roi " + text + ": the name is empty");
    return {text.substr(0, equals), parseRoi(text.substr(equals + 1))};
}

Roi wholeOf(const lmImage& image) {
    return {0, 0, image.width - 1, image.height - 1};
}

void checkQuality(int code, std::uint32_t reason, const std::string& subject) {
    if (reason != LumoReasonNone)
        throw CommandError(subject + ": " + LumoQualityReasonText(reason));
    check(code, subject);
}

}  // namespace lumo::cli
