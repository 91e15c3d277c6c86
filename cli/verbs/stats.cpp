// The verb `stats`: figures of images and regions.
#include <cstdio>
#include <iostream>
#include <memory>
#include <vector>

#include "cli/csv.h"
#include "cli/files/inputs.h"
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
    Report(const Options& options, Records& records)
        : csv_(options.csv), hasSigma_(options.limits.empty()), records_(records) {
        if (csv_)
            std::cout << "file,region,min,max,mean,sigma\n";
        else if (!records.asJson())
            std::cout << "   min    max        mean       sigma  region                file\n";
    }
    void add(const Row& row) {
        if (records_.asJson())
            addObject(row);
        else if (csv_)
            addCsv(row);
        else
            addLine(row);
    }

private:
    [[nodiscard]] std::string sigmaOf(const Row& row, int decimals) const {
        char text[64] = "";
        if (hasSigma_) std::snprintf(text, sizeof text, "%.*f", decimals, row.value.sigma);
        return text;
    }
    void addCsv(const Row& row) const {
        char figures[128];
        std::snprintf(figures, sizeof figures, ",%u,%u,%.6f,", row.value.min, row.value.max,
                      row.value.mean);
        std::cout << csvField(row.file) << ',' << csvField(row.region) << figures << sigmaOf(row, 6)
                  << '\n';
    }
    void addLine(const Row& row) const {
        char figures[128];
        std::snprintf(figures, sizeof figures, "%6u %6u %11.3f %11s  %-20s  ", row.value.min,
                      row.value.max, row.value.mean, sigmaOf(row, 3).c_str(), row.region.c_str());
        std::cout << figures << printable(row.file) << '\n';
    }
    void addObject(const Row& row) {
        records_.add(row.file, [&](JsonWriter& json) {
            json.entry("region", row.region);
            json.entry("min", row.value.min);
            json.entry("max", row.value.max);
            json.entry("mean", row.value.mean, 6);
            if (hasSigma_)
                json.entry("sigma", row.value.sigma, 6);
            else
                json.emptyEntry("sigma");
        });
    }

    bool csv_, hasSigma_;
    Records& records_;
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
    Records records(options.json);
    Report report(options, records);
    Status status = done;
    const Status readStatus = forEachFile(options.files, records, [&](const std::string& file) {
        const ImageHandle image = readImage(file);
        for (const Region& region : regions) {
            const Status measured = guardedFor(file, records, [&] {
                const ImageValue value = measure(*image, region, limited ? &limits : nullptr, file);
                report.add({file, region.text, value});
            });
            if (measured != done) status = measured;
        }
    });
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
    addJsonOption(verb, options->json);
    verb.get_option("--json")->excludes(csv);
    return [options] { return stats(*options); };
}

}  // namespace lumo::cli
