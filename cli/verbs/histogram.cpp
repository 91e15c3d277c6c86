// The verb `histogram`: pixels of each bin of grey values, as text or as a chart.
#include <algorithm>
#include <iostream>
#include <memory>
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
    bool csv = false;
};

/// The grey values of a histogram's bins: whole ones, so that each is in the bin that is printed.
struct Bins {
    std::size_t count, lowest, greyValues;

    explicit Bins(const HistogramOptions& options)
        : lowest(static_cast<std::size_t>(options.lo)),
          greyValues(static_cast<std::size_t>(options.hi - options.lo + 1)) {
        count = std::min(static_cast<std::size_t>(options.bins), greyValues);
    }
    [[nodiscard]] std::size_t first(std::size_t bin) const {
        return lowest + bin * greyValues / count;
    }
};

Status histogram(const HistogramOptions& options) {
    if (options.lo > options.hi) throw usageError("lumo histogram: --lo lies above --hi");
    const ImageHandle image = readImage(options.input);
    std::vector<std::uint32_t> pixels(65536);
    check(Make_Histogram(rasterOf(*image), pixels.data()), options.input);
    const Bins bins(options);
    std::vector<double> chart;  // a value for each grey value: bins differ in width
    std::string text = options.csv ? "first,count\n" : "";
    for (std::size_t bin = 0; bin < bins.count; ++bin) {
        const std::size_t first = bins.first(bin), end = bins.first(bin + 1);
        std::uint32_t count = 0;
        for (std::size_t grey = first; grey < end; ++grey) count += pixels[grey];
        chart.insert(chart.end(), end - first, count);
        text += std::to_string(first) + (options.csv ? ',' : ' ') + std::to_string(count) + '\n';
    }
    if (!options.picture.empty())
        writeChart({std::move(chart), options.lo, true}, options.picture, options.force);
    if (options.picture.empty() || options.csv) std::cout << text;
    return done;
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
    verb.add_flag("--csv", options->csv, "Comma-separated, with a head");
    addChartOptions(verb, *options);
    return [options] { return histogram(*options); };
}

}  // namespace lumo::cli
