// `quality nps`: the noise power spectrum of all files together.
#include <memory>
#include <optional>

#include "cli/arguments.h"
#include "cli/files/inputs.h"
#include "cli/verbs/quality_input.h"
#include "cli/verbs/quality_report.h"

namespace lumo::cli {

Work setUpQualityNps(CLI::App& verb);

namespace {

struct Options : QualityOptions {
    std::string roi, detrend = "image";
};

struct NpsDeleter {
    void operator()(LumoNps* spectrum) const { LumoNpsDestroy(&spectrum); }
};
using Spectrum = std::unique_ptr<LumoNps, NpsDeleter>;

/// The spectrum and what its first image said of pitch and history.
struct Sum {
    Spectrum spectrum;
    std::uint32_t pitchX = 0, pitchY = 0;
    std::string history, note;
};

void begin(Sum& sum, const QualityInput& input, const Options& options, const std::string& file) {
    LumoNpsOptions chosen = sized<LumoNpsOptions>();
    chosen.keepTrend = options.detrend == "none" ? 1 : 0;
    chosen.pitchKnown = input.pitchKnown;
    LumoNps* created = nullptr;
    const int code = LumoNpsCreate(&created, input.pitchX, input.pitchY, &chosen);
    checkQuality(code, code == LumoErrorQuality ? LumoReasonAssumedPitch : LumoReasonNone, file);
    sum.spectrum.reset(created);
    sum.pitchX = input.pitchX;
    sum.pitchY = input.pitchY;
    sum.history = input.history;
    sum.note = input.note;
}

void add(Sum& sum, const std::string& file, const Options& options, const std::optional<Roi>& roi,
         const SignalSource& signal) {
    const QualityInput input = readInput(file, options);
    if (!sum.spectrum) begin(sum, input, options, file);
    if (input.pitchX != sum.pitchX || input.pitchY != sum.pitchY)
        throw CommandError(file + ": another pitch than the files before");
    std::uint32_t reason = LumoReasonNone;
    const int code = LumoNpsAdd(sum.spectrum.get(), rasterOf(*input.image), roi ? &*roi : nullptr,
                                signal.get(), &reason);
    checkQuality(code, reason, file);
}

void writeCurve(JsonWriter& json, const std::vector<LumoNpsPoint>& curve) {
    const std::pair<const char*, double LumoNpsPoint::*> columns[] = {
        {"f", &LumoNpsPoint::frequencyX}, {"fY", &LumoNpsPoint::frequencyY},
        {"npsX", &LumoNpsPoint::npsX},    {"npsY", &LumoNpsPoint::npsY},
        {"nnpsX", &LumoNpsPoint::nnpsX},  {"nnpsY", &LumoNpsPoint::nnpsY}};
    for (const auto& [key, member] : columns) {
        json.key(key);
        json.beginArray();
        for (const LumoNpsPoint& point : curve) json.significant(point.*member, 8);
        json.end();
    }
}

void print(const Sum& sum, const Options& options, QualityReport& report) {
    LumoNpsFigures figures = sized<LumoNpsFigures>();
    std::int32_t count = 0;
    checkQuality(LumoMeasureNps(sum.spectrum.get(), &figures, nullptr, &count), figures.reason,
                 options.files.front());
    std::vector<LumoNpsPoint> curve(static_cast<std::size_t>(count));
    check(LumoMeasureNps(sum.spectrum.get(), &figures, curve.data(), &count),
          options.files.front());
    report.add({{"files", "files", std::int64_t{figures.images}},
                {"regions", "regions", static_cast<std::int64_t>(figures.regions)},
                {"pixels", "pixels", static_cast<std::int64_t>(figures.pixels)},
                {"mean", "mean", figures.mean},
                {"variance", "variance", figures.variance},
                {"meanSquare", "mean square", figures.meanSquare},
                {"rowSigma", "sigma rows", figures.rowSigma, 4},
                {"columnSigma", "sigma columns", figures.columnSigma, 4},
                {"relativeError", "rel.error", figures.relativeError, 2},
                {"history", "history", sum.history}},
               noteText(figures.notes, sum.note),
               [&](JsonWriter& json) { writeCurve(json, curve); });
}

/// The whole spectrum as a table of its own.
void printCurve(const Sum& sum, const Options& options) {
    LumoNpsFigures figures = sized<LumoNpsFigures>();
    std::vector<LumoNpsPoint> curve(129);
    auto count = static_cast<std::int32_t>(curve.size());
    check(LumoMeasureNps(sum.spectrum.get(), &figures, curve.data(), &count),
          options.files.front());
    curve.resize(static_cast<std::size_t>(count));
    QualityReport report(true, false);
    for (const LumoNpsPoint& point : curve)
        report.add({{"fX", "", point.frequencyX},
                    {"npsX", "", point.npsX},
                    {"nnpsX", "", point.nnpsX},
                    {"fY", "", point.frequencyY},
                    {"npsY", "", point.npsY},
                    {"nnpsY", "", point.nnpsY}},
                   "");
}

Status run(const Options& options) {
    const std::optional<Roi> roi =
        options.roi.empty() ? std::nullopt : std::optional(parseRoi(options.roi));
    const SignalSource signal(options);
    Sum sum;
    QualityReport report(false, options.json);
    Status status = done;
    for (const std::string& file : options.files)
        if (guardedFor(file, report.records(), [&] { add(sum, file, options, roi, signal); }) !=
            done)
            status = failed;
    LumoNpsFigures figures = sized<LumoNpsFigures>();
    const bool measured =
        sum.spectrum && LumoMeasureNps(sum.spectrum.get(), &figures, nullptr, nullptr) == LumoOk;
    if (measured && options.csv)
        printCurve(sum, options);
    else if (measured)
        print(sum, options, report);
    report.records().end();
    return measured ? status : failed;
}

}  // namespace

Work setUpQualityNps(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addQualityOptions(verb, *options);
    verb.add_option("--roi", options->roi,
                    "Region to analyse: x1,y1,x2,y2; the centred square of 125 mm without");
    verb.add_option("--detrend", options->detrend,
                    "Subtract a trend of second order of each image, or its mean alone")
        ->check(CLI::IsMember({"image", "none"}))
        ->capture_default_str();
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
