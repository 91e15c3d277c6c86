// `quality duplex`: what a duplex wire gauge shows.
#include <charconv>
#include <memory>

#include "cli/arguments.h"
#include "cli/files/inputs.h"
#include "cli/verbs/quality_input.h"
#include "cli/verbs/quality_report.h"

namespace lumo::cli {

Work setUpQualityDuplex(CLI::App& verb);

namespace {

struct Options : QualityOptions {
    std::string line;
    double strip = 9, magnification = 1;
    int first = 1;
};

void writePairs(JsonWriter& json, const LumoDuplex& duplex) {
    constexpr int digits = 6;
    json.key("pairs");
    json.beginArray();
    for (std::uint32_t i = 0; i < duplex.pairCount; ++i) {
        const LumoDuplexPair& pair = duplex.pairs[i];
        json.beginObject();
        json.entry("pair", std::int64_t{pair.pair});
        const std::pair<const char*, double> entries[] = {
            {"spacingMicrometres", pair.spacingMicrometres},
            {"placeMillimetres", pair.placeMillimetres},
            {"depthA", pair.depthA},
            {"depthB", pair.depthB},
            {"depthC", pair.depthC},
            {"dip", pair.dip},
            {"dipError", pair.dipError}};
        for (const auto& [key, value] : entries) {
            json.key(key);
            json.significant(value, digits);
        }
        json.end();
    }
    json.end();
}

void printPairs(const LumoDuplex& duplex) {
    std::cout << "        pair    d/um   dip/%   +-\n";
    for (std::uint32_t i = 0; i < duplex.pairCount; ++i) {
        const LumoDuplexPair& pair = duplex.pairs[i];
        char line[96];
        std::snprintf(line, sizeof line, "        D%-3u %8.0f %7.1f %5.1f\n", pair.pair,
                      pair.spacingMicrometres, pair.dip, pair.dipError);
        std::cout << line;
    }
}

void measure(const std::string& file, const Options& options, const SignalSource& signal,
             QualityReport& report) {
    const auto [x1, y1, x2, y2] = parseNumbers<4>("--line", options.line);
    const QualityInput input = readInput(file, options);
    LumoDuplexOptions chosen = sized<LumoDuplexOptions>();
    chosen.firstPair = static_cast<std::uint32_t>(options.first);
    chosen.stripMillimetres = options.strip;
    chosen.magnification = options.magnification;
    chosen.pitchKnown = input.pitchKnown;
    chosen.signal = signal.get();
    LumoDuplex duplex = sized<LumoDuplex>();
    const int code = LumoMeasureDuplex(rasterOf(*input.image), x1, y1, x2, y2, input.pitchX,
                                       input.pitchY, &chosen, &duplex, nullptr, nullptr);
    checkQuality(code, duplex.reason, file);
    constexpr const char* methods[] = {"none", "quadratic", "line"};
    const std::string pair = duplex.srbPair > 0 ? "D" + std::to_string(duplex.srbPair) : "-";
    report.add({{"file", "file", file},
                {"srbMicrometres", "SRb/um", duplex.srbMicrometres, 4},
                {"isrbMicrometres", "iSRb/um", duplex.isrbMicrometres, 4},
                {"unsharpnessMicrometres", "unsharpness/um", duplex.unsharpnessMicrometres, 4},
                {"tiltDegrees", "tilt/deg", duplex.tiltDegrees, 3},
                {"stripMillimetres", "strip/mm", duplex.stripMillimetres, 4},
                {"pitchRatio", "spacing ratio", duplex.pitchRatio, 5},
                {"srbPair", "pair", pair},
                {"isrbMethod", "iSRb by", std::string(methods[duplex.isrbMethod])},
                {"history", "history", input.history}},
               noteText(duplex.notes, input.note),
               [&](JsonWriter& json) { writePairs(json, duplex); });
    if (!options.csv && !options.json) printPairs(duplex);
}

}  // namespace

Work setUpQualityDuplex(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addQualityOptions(verb, *options);
    verb.add_option("--line", options->line,
                    "A line across all pairs, from outside the coarsest to outside the finest: "
                    "x1,y1,x2,y2")
        ->required();
    verb.add_option("--strip", options->strip, "Width along the wires in mm")
        ->check(CLI::Range(0.001, 1000.0))
        ->capture_default_str();
    verb.add_option("--first", options->first, "Number of the first pair on the line")
        ->check(CLI::Range(1, LUMO_DUPLEX_PAIRS))
        ->capture_default_str();
    verb.add_option("--magnification", options->magnification, "Of the gauge on the detector")
        ->check(CLI::Range(0.01, 1000.0))
        ->capture_default_str();
    return [options] {
        const SignalSource signal(*options);
        QualityReport report(options->csv, options->json);
        const Status status =
            forEachFile(options->files, report.records(),
                        [&](const std::string& file) { measure(file, *options, signal, report); });
        return status;
    };
}

}  // namespace lumo::cli
