// `quality mtf`: the sharpness of a slanted edge.
#include <memory>

#include "cli/arguments.h"
#include "cli/files/inputs.h"
#include "cli/verbs/quality_input.h"
#include "cli/verbs/quality_report.h"

namespace lumo::cli {

Work setUpQualityMtf(CLI::App& verb);

namespace {

struct Options : QualityOptions {
    std::vector<std::string> regions;
    double span = 0;
};

void writeCurve(JsonWriter& json, const std::vector<LumoCurvePoint>& curve) {
    constexpr int digits = 8;
    json.key("curve");
    json.beginArray();
    for (const LumoCurvePoint& point : curve) {
        json.beginArray();
        json.significant(point.x, digits);
        json.significant(point.y, digits);
        json.end();
    }
    json.end();
}

void measure(const std::string& file, const QualityInput& input, const NamedRoi& region,
             const Options& options, const SignalSource& signal, QualityReport& report) {
    LumoMtfOptions chosen = sized<LumoMtfOptions>();
    chosen.pitchKnown = input.pitchKnown;
    chosen.spanMillimetres = options.span;
    chosen.signal = signal.get();
    LumoMtf mtf = sized<LumoMtf>();
    const auto call = [&](LumoCurvePoint* points, std::int32_t* count) {
        const int code = LumoMeasureMtf(rasterOf(*input.image), region.roi, input.pitchX,
                                        input.pitchY, &chosen, &mtf, points, count);
        checkQuality(code, mtf.reason, file + ": " + region.text);
    };
    std::vector<LumoCurvePoint> curve;
    std::int32_t count = 0;
    call(nullptr, &count);
    curve.resize(static_cast<std::size_t>(count));
    if (options.json) call(curve.data(), &count);
    report.add({{"file", "file", file},
                {"region", "region", region.text},
                {"mtf50", "MTF50/(1/mm)", mtf.mtf50, 5},
                {"mtf50Error", "+-", mtf.mtf50Error, 2},
                {"mtf20", "MTF20/(1/mm)", mtf.mtf20, 5},
                {"mtf10", "MTF10/(1/mm)", mtf.mtf10, 5},
                {"nyquist", "at Nyquist", mtf.nyquist, 4},
                {"nyquistFrequency", "Nyquist/(1/mm)", mtf.nyquistFrequency, 5},
                {"angleDegrees", "angle/deg", mtf.angleDegrees, 4},
                {"spanMillimetres", "span/mm", mtf.spanMillimetres, 4},
                {"contrast", "contrast", mtf.contrast, 5},
                {"contrastOverNoise", "over noise", mtf.contrastOverNoise, 4},
                {"overshootPercent", "overshoot/%", mtf.overshootPercent, 2},
                {"axis", "axis", std::string(mtf.axis == 0 ? "x" : "y")},
                {"history", "history", input.history}},
               noteText(mtf.notes, input.note), [&](JsonWriter& json) { writeCurve(json, curve); });
}

Status run(const Options& options) {
    std::vector<NamedRoi> regions;
    for (const std::string& text : options.regions) regions.push_back(parseNamedRoi(text));
    const SignalSource signal(options);
    QualityReport report(options.csv, options.json);
    Status status = done;
    const Status readStatus =
        forEachFile(options.files, report.records(), [&](const std::string& file) {
            const QualityInput input = readInput(file, options);
            const std::vector<NamedRoi> whole{{"all", wholeOf(*input.image)}};
            for (const NamedRoi& region : regions.empty() ? whole : regions)
                if (guardedFor(file, report.records(), [&] {
                        measure(file, input, region, options, signal, report);
                    }) != done)
                    status = failed;
        });
    return readStatus == done ? status : readStatus;
}

}  // namespace

Work setUpQualityMtf(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addQualityOptions(verb, *options);
    verb.add_option("--roi", options->regions,
                    "A region with the edge alone: x1,y1,x2,y2 or NAME=x1,y1,x2,y2; may be "
                    "repeated; the whole image without")
        ->allow_extra_args(false);
    verb.add_option("--span", options->span,
                    "Distance from the edge that is used on either side, in mm; all without")
        ->check(CLI::Range(0.0, 1e6));
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
