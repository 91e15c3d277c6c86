// The verbs `stats` and `dose`: figures of images and regions.
#include <cstdio>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/arguments.h"
#include "cli/inputs.h"
#include "cli/json.h"
#include "cli/library.h"

namespace lumo::cli {

Work setUpStats(CLI::App&verb), setUpDose(CLI::App&verb);

namespace {

struct Options {
    std::vector<std::string> files, regions;
    std::string limits;
    bool csv = false, json = false;
};

struct Row {
    std::string file, region;
    ImageValue value;
};

/// Writes rows in one of three forms, the first one under a head.
class Report {
public:
    explicit Report(const Options& options) : csv_(options.csv), json_(options.json) {
        if (json_) writer_.beginArray();
    }
    void add(const Row& row) {
        if (json_)
            addObject(row);
        else if (csv_)
            addCsv(row);
        else
            addLine(row);
    }
    void end() {
        if (json_) writer_.end();
    }

private:
    void addHead(const char* head) {
        if (first_) std::cout << head;
        first_ = false;
    }
    void addCsv(const Row& row) {
        addHead("file,region,min,max,mean,sigma\n");
        char figures[128];
        std::snprintf(figures, sizeof figures, ",%u,%u,%.6f,%.6f\n", row.value.min, row.value.max,
                      row.value.mean, row.value.sigma);
        std::cout << csvField(row.file) << ',' << csvField(row.region) << figures;
    }
    void addLine(const Row& row) {
        addHead("   min    max        mean       sigma  region                file\n");
        char figures[128];
        std::snprintf(figures, sizeof figures, "%6u %6u %11.3f %11.3f  %-20s  ", row.value.min,
                      row.value.max, row.value.mean, row.value.sigma, row.region.c_str());
        std::cout << figures << printable(row.file) << '\n';
    }
    void addObject(const Row& row) {
        writer_.beginObject();
        writer_.entry("file", row.file);
        writer_.entry("region", row.region);
        writer_.entry("min", row.value.min);
        writer_.entry("max", row.value.max);
        writer_.entry("mean", row.value.mean, 6);
        writer_.entry("sigma", row.value.sigma, 6);
        writer_.end();
    }

    bool csv_, json_, first_ = true;
    JsonWriter writer_{std::cout};
};

ImageValue measure(const Image& raster, const std::string& region, const Options& options,
                   const std::string& file) {
    const bool whole = region == "all";
    const Roi roi = whole ? Roi{} : parseRoi(region);
    const Limits limits = options.limits.empty() ? Limits{} : parseLimits(options.limits);
    ImageValue value{};
    int code = 0;
    if (options.limits.empty())
        code = whole ? Get_ImageValue(raster, &value) : Get_ImageValueRoi(raster, roi, &value);
    else
        code = whole ? Get_ImageValueLim(raster, &value, limits.low, limits.high)
                     : Get_ImageValueLimRoi(raster, roi, &value, limits.low, limits.high);
    check(code, whole ? file : file + " --roi " + region);
    return value;
}

Status stats(const Options& options) {
    for (const std::string& region : options.regions) (void)parseRoi(region);
    if (!options.limits.empty()) (void)parseLimits(options.limits);
    const std::vector<std::string> regions =
        options.regions.empty() ? std::vector<std::string>{"all"} : options.regions;
    Report report(options);
    Status status = done;
    for (const std::string& region : regions) {
        const Status part = forEachFile(options.files, [&](const std::string& file) {
            const ImageHandle image = readImage(file);
            report.add({file, region, measure(rasterOf(*image), region, options, file)});
        });
        if (part != done) status = part;
    }
    report.end();
    return status;
}

}  // namespace

Work setUpStats(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addInputOption(verb, options->files);
    verb.add_option("--roi", options->regions, "A region: x1,y1,x2,y2, inclusive; may be repeated")
        ->allow_extra_args(false);
    verb.add_option("--limits", options->limits,
                    "Limits that cut off shares of the darkest and brightest pixels, in parts per "
                    "million (LOW,HIGH), and the mean between them");
    CLI::Option* csv = verb.add_flag("--csv", options->csv, "Comma-separated, one row a line");
    verb.add_flag("--json", options->json, "An array with one object a row")->excludes(csv);
    return [options] { return stats(*options); };
}

Work setUpDose(CLI::App& verb) {
    const auto files = std::make_shared<std::vector<std::string>>();
    addInputOption(verb, *files);
    return [files] {
        return forEachFile(*files, [](const std::string& file) {
            const ImageHandle image = readImage(file);
            const Image raster = rasterOf(*image);
            std::int32_t indicator = 0;
            check(GetOrvelDoseIndicator(&raster, &indicator), file);
            std::cout << indicator << "  " << printable(file) << '\n';
        });
    };
}

}  // namespace lumo::cli
