// The verb `histogram`: pixels of each bin of grey values, as text or as a chart.
#include <algorithm>
#include <iostream>
#include <memory>
#include <numeric>
#include <utility>

#include "cli/arguments.h"
#include "cli/files/inputs.h"
#include "cli/library.h"
#include "cli/pictures/chart.h"
#include "cli/pictures/chart_options.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct HistogramOptions : ChartOptions {
    int bins = 256, lo = 0, hi = 65535;
    bool csv = false, json = false;
};

/// The pixels of the grey values from `first` to `last`.
struct Bin {
    std::size_t first, last;
    std::uint32_t count;
};

/// Bins of whole grey values, so that each is in the bin that is printed.
std::vector<Bin> binsOf(const lmImage& image, const HistogramOptions& options) {
    std::vector<std::uint32_t> pixels(65536);
    check(Make_Histogram(rasterOf(image), pixels.data()), options.input);
    const auto lowest = static_cast<std::size_t>(options.lo);
    const auto greyValues = static_cast<std::size_t>(options.hi - options.lo + 1);
    const std::size_t count = std::min(static_cast<std::size_t>(options.bins), greyValues);
    std::vector<Bin> bins;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t first = lowest + i * greyValues / count;
        const std::size_t end = lowest + (i + 1) * greyValues / count;
        const auto* begin = pixels.data();
        bins.push_back({first, end - 1, std::accumulate(begin + first, begin + end, 0U)});
    }
    return bins;
}

void draw(const std::vector<Bin>& bins, const HistogramOptions& options) {
    std::vector<double> chart;  // a value for each grey value: bins differ in width
    for (const Bin& bin : bins) chart.insert(chart.end(), bin.last - bin.first + 1, bin.count);
    writeChart({std::move(chart), options.lo, true}, options.picture, options.force);
}

void print(const std::vector<Bin>& bins, bool csv) {
    if (csv) std::cout << "first,count\n";
    for (const Bin& bin : bins) std::cout << bin.first << (csv ? ',' : ' ') << bin.count << '\n';
}

void writeJson(JsonWriter& json, const std::vector<Bin>& bins) {
    json.key("bins");
    json.beginArray();
    for (const Bin& bin : bins) {
        json.beginObject();
        json.entry("first", static_cast<std::int64_t>(bin.first));
        json.entry("last", static_cast<std::int64_t>(bin.last));
        json.entry("count", bin.count);
        json.end();
    }
    json.end();
}

Status histogram(const HistogramOptions& options) {
    if (options.lo > options.hi) throw usageError("lumo histogram: --lo lies above --hi");
    Records records(options.json);
    return forEachFile({options.input}, records, [&](const std::string& file) {
        const std::vector<Bin> bins = binsOf(*readImage(file), options);
        if (!options.picture.empty()) draw(bins, options);
        if (options.json)
            records.add(file, [&](JsonWriter& json) { writeJson(json, bins); });
        else if (options.picture.empty() || options.csv)
            print(bins, options.csv);
    });
}

}  // namespace

Work setUpHistogram(CLI::App& verb) {
    const auto options = std::make_shared<HistogramOptions>();
    addInputOption(verb, options->input);
    verb.add_option("--bins", options->bins,
                    "Bins that the grey values are condensed to, at most one for each")
        ->check(CLI::Range(1, 65536))
        ->capture_default_str();
    verb.add_option("--lo", options->lo, "Lowest grey value to count")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    verb.add_option("--hi", options->hi, "Highest grey value to count")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    CLI::Option* csv = verb.add_flag("--csv", options->csv, "Comma-separated, with a head");
    addJsonOption(verb, options->json);
    verb.get_option("--json")->excludes(csv);
    addChartOptions(verb, *options);
    return [options] { return histogram(*options); };
}

}  // namespace lumo::cli
