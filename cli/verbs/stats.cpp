// The verb `stats`: figures of images and regions.
#include <cstdio>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/csv.h"
#include "cli/files/inputs.h"
#include "cli/json.h"
#include "cli/library.h"
#include "cli/regions.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct Options {
    std::vector<std::string> files, regions;
    std::string limits;
    bool csv = false, json = false;
};

struct Row {
    const std::string& file;
    const std::string& region;
    ImageValue value;
};

/// Writes a head and rows in one of three forms. Between limits there is no deviation.
class Report {
public:
    explicit Report(const Options& options)
        : csv_(options.csv), json_(options.json), hasSigma_(options.limits.empty()) {
        if (json_)
            writer_.beginArray();
        else
            std::cout << (csv_ ? "file,region,min,max,mean,sigma\n"
                               : "   min    max        mean       sigma  region                "
                                 "file\n");
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
    [[nodiscard]] std::string sigmaOf(const Row& row, int decimals) const {
        char text[64] = "";
        if (hasSigma_) std::snprintf(text, sizeof text, "%.*f", decimals, row.value.sigma);
        return text;
    }
    void addCsv(const Row& row) {
        char figures[128];
        std::snprintf(figures, sizeof figures, ",%u,%u,%.6f,", row.value.min, row.value.max,
                      row.value.mean);
        std::cout << csvField(row.file) << ',' << csvField(row.region) << figures << sigmaOf(row, 6)
                  << '\n';
    }
    void addLine(const Row& row) {
        char figures[128];
        std::snprintf(figures, sizeof figures, "%6u %6u %11.3f %11s  %-20s  ", row.value.min,
                      row.value.max, row.value.mean, sigmaOf(row, 3).c_str(), row.region.c_str());
        std::cout << figures << printable(row.file) << '\n';
    }
    void addObject(const Row& row) {
        writer_.beginObject();
        writer_.entry("file", row.file);
        writer_.entry("region", row.region);
        writer_.entry("min", row.value.min);
        writer_.entry("max", row.value.max);
        writer_.entry("mean", row.value.mean, 6);
        if (hasSigma_) writer_.entry("sigma", row.value.sigma, 6);
        writer_.end();
    }

    bool csv_, json_, hasSigma_;
    JsonWriter writer_{std::cout};
};

ImageValue measure(const lmImage& image, const Region& region, const Limits* limits,
                   const std::string& file) {
    const Image raster = rasterOf(image);
    if (!region.whole) requireInside(image, region.roi, file);
    ImageValue value{};
    int code = 0;
    if (limits == nullptr)
        code = region.whole ? Get_ImageValue(raster, &value)
                            : Get_ImageValueRoi(raster, region.roi, &value);
    else
        code = region.whole
                   ? Get_ImageValueLim(raster, &value, limits->low, limits->high)
                   : Get_ImageValueLimRoi(raster, region.roi, &value, limits->low, limits->high);
    check(code, file);
    return value;
}

Status stats(const Options& options) {
    const std::vector<Region> regions = regionsOf(options.regions);
    const bool limited = !options.limits.empty();
    const Limits limits = limited ? parseLimits(options.limits) : Limits{};
    Report report(options);
    Status status = done;
    const Status readStatus = forEach(options.files, [&](const std::string& file) {
        const ImageHandle image = readImage(file);
        const Status measured = forEach(regions, [&](const Region& region) {
            const ImageValue value = measure(*image, region, limited ? &limits : nullptr, file);
            report.add({file, region.text, value});
        });
        if (measured != done) status = measured;
    });
    report.end();
    return readStatus == done ? status : readStatus;
}

}  // namespace

Work setUpStats(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addInputOption(verb, options->files);
    addRegionOption(verb, options->regions);
    verb.add_option("--limits", options->limits,
                    "Limits that cut off shares of the darkest and brightest pixels, in parts per "
                    "million (LOW,HIGH), and the mean between them");
    CLI::Option* csv = verb.add_flag("--csv", options->csv, "Comma-separated, one row a line");
    verb.add_flag("--json", options->json, "An array with one object a row")->excludes(csv);
    return [options] { return stats(*options); };
}

}  // namespace lumo::cli
