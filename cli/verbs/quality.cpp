// The verb `quality`: figures of an exposure or a detector. Here signal and contrast to noise; the
// others have files of their own.
#include <memory>

#include "cli/arguments.h"
#include "cli/files/inputs.h"
#include "cli/verbs/quality_input.h"
#include "cli/verbs/quality_report.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

Work setUpQualityDuplex(CLI::App&verb), setUpQualityMtf(CLI::App&verb),
    setUpQualityNps(CLI::App&verb);

namespace {

struct NoiseOptions : QualityOptions {
    std::vector<std::string> regions;
    std::string along = "x", object, background;
    double srb = 0, step = 0;
};

std::uint32_t axisOf(const NoiseOptions& options) {
    return options.along == "x" ? 0 : 1;
}

void measureSnr(const std::string& file, const QualityInput& input, const NamedRoi& region,
                const NoiseOptions& options, const SignalSource& signal, QualityReport& report) {
    LumoSnrOptions chosen = sized<LumoSnrOptions>();
    chosen.along = axisOf(options);
    chosen.srbMicrometres = options.srb;
    chosen.signal = signal.get();
    LumoSnr snr = sized<LumoSnr>();
    const int code = LumoMeasureSnr(rasterOf(*input.image), region.roi, &chosen, &snr);
    checkQuality(code, snr.reason, file + ": " + region.text);
    report.add({{"file", "file", file},
                {"region", "region", region.text},
                {"mean", "mean", snr.mean},
                {"sigma", "sigma", snr.sigma, 5},
                {"snr", "SNR", snr.snr, 5},
                {"relativeError", "rel.error", snr.relativeError, 2},
                {"snrN", "SNRn", snr.snrN, 5},
                {"srbMicrometres", "SRb/um", snr.srbMicrometres, 5},
                {"plainSigma", "sigma(all)", snr.plainSigma, 5},
                {"plainSnr", "SNR(all)", snr.plainSnr, 5},
                {"groups", "groups", std::int64_t{snr.groups}},
                {"groupSize", "of", std::int64_t{20}},
                {"along", "along", options.along},
                {"history", "history", input.history}},
               noteText(snr.notes, input.note));
}

Status runSnr(const NoiseOptions& options) {
    std::vector<NamedRoi> regions;
    for (const std::string& text : options.regions) regions.push_back(parseNamedRoi(text));
    const SignalSource signal(options);
    QualityReport report(options.csv, options.json);
    Status status = done;
    const Status readStatus =
        forEachFile(options.files, report.records(), [&](const std::string& file) {
            const QualityInput input = readInput(file, options);
            for (const NamedRoi& region : regions)
                if (guardedFor(file, report.records(), [&] {
                        measureSnr(file, input, region, options, signal, report);
                    }) != done)
                    status = failed;
        });
    return readStatus == done ? status : readStatus;
}

void measureCnr(const std::string& file, const NoiseOptions& options, const SignalSource& signal,
                QualityReport& report) {
    const QualityInput input = readInput(file, options);
    LumoCnrOptions chosen = sized<LumoCnrOptions>();
    chosen.along = axisOf(options);
    chosen.srbMicrometres = options.srb;
    chosen.stepPercent = options.step;
    chosen.signal = signal.get();
    LumoCnr cnr = sized<LumoCnr>();
    const int code = LumoMeasureCnr(rasterOf(*input.image), parseNamedRoi(options.object).roi,
                                    parseNamedRoi(options.background).roi, &chosen, &cnr);
    checkQuality(code, cnr.reason, file);
    report.add(
        {{"cnr", "CNR", cnr.cnr, 5},
         {"cnrPooled", "CNR pooled", cnr.cnrPooled, 5},
         {"cnrN", "CNRn", cnr.cnrN, 5},
         {"contrastSensitivityPercent", "contrast sens./%", cnr.contrastSensitivityPercent, 4},
         {"objectMean", "mean obj.", cnr.objectMean},
         {"objectSigma", "sigma obj.", cnr.objectSigma, 5},
         {"backgroundMean", "mean back.", cnr.backgroundMean},
         {"backgroundSigma", "sigma back.", cnr.backgroundSigma, 5},
         {"history", "history", input.history},
         {"file", "file", file}},
        noteText(cnr.notes, input.note));
}

Status runCnr(const NoiseOptions& options) {
    const SignalSource signal(options);
    QualityReport report(options.csv, options.json);
    const Status status =
        forEachFile(options.files, report.records(),
                    [&](const std::string& file) { measureCnr(file, options, signal, report); });
    return status;
}

void addNoiseOptions(CLI::App& verb, NoiseOptions& options) {
    addQualityOptions(verb, options);
    verb.add_option("--along", options.along, "Direction of the groups of 20 pixels")
        ->check(CLI::IsMember({"x", "y"}))
        ->capture_default_str();
    verb.add_option("--srb", options.srb,
                    "Basic spatial resolution in micrometres, to normalise by")
        ->check(CLI::Range(0.001, 1e6));
}

Work setUpSnr(CLI::App& verb) {
    const auto options = std::make_shared<NoiseOptions>();
    addNoiseOptions(verb, *options);
    verb.add_option("--roi", options->regions,
                    "A uniform region: x1,y1,x2,y2 or NAME=x1,y1,x2,y2, inclusive; may be repeated")
        ->required()
        ->allow_extra_args(false);
    return [options] { return runSnr(*options); };
}

Work setUpCnr(CLI::App& verb) {
    const auto options = std::make_shared<NoiseOptions>();
    addNoiseOptions(verb, *options);
    verb.add_option("--object", options->object, "Region on the object: x1,y1,x2,y2")->required();
    verb.add_option("--background", options->background, "Region beside it: x1,y1,x2,y2")
        ->required();
    verb.add_option("--step", options->step, "Relative thickness step between them, per cent")
        ->check(CLI::Range(0.0, 1e6));
    return [options] { return runCnr(*options); };
}

}  // namespace

Work setUpQuality(CLI::App& verb) {
    constexpr struct {
        const char *name, *summary;
        Work (*setUp)(CLI::App&);
    } figures[] = {
        {"snr", "Signal to noise of uniform regions, by the method of grouped medians", setUpSnr},
        {"cnr", "Contrast to noise of two regions", setUpCnr},
        {"duplex", "Basic spatial resolution, by the method of a line across a duplex wire gauge",
         setUpQualityDuplex},
        {"mtf", "Modulation transfer, by the method of the slanted edge", setUpQualityMtf},
        {"nps", "Noise power spectrum of all files together, by the method of overlapping regions",
         setUpQualityNps},
    };
    verb.require_subcommand(0, 1);
    std::vector<std::pair<CLI::App*, Work>> works;
    for (const auto& figure : figures) {
        CLI::App* nested = verb.add_subcommand(figure.name, figure.summary);
        works.emplace_back(nested, figure.setUp(*nested));
    }
    return [works] {
        for (const auto& [nested, work] : works)
            if (nested->parsed()) return work();
        throw usageError("lumo quality: give snr, cnr, duplex, mtf or nps");
    };
}

}  // namespace lumo::cli
