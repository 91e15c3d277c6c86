// The verb `histogram`: pixels of each bin of grey values, as text or as a chart.
#include <algorithm>
#include <memory>

#include "cli/curves.h"
#include "cli/library.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

constexpr std::size_t greyValues = 65536;

struct HistogramOptions : CurveOptions {
    int bins = 256, lo = 0, hi = 65535;
};

/// The grey values of a histogram's bins: whole ones, so that each is in the bin that is printed.
Curve condensed(const std::vector<std::uint32_t>& pixels, const HistogramOptions& options) {
    const std::int64_t all = options.hi - options.lo + 1,
                       bins = std::min<std::int64_t>(options.bins, all);
    const auto firstOf = [&](std::int64_t bin) { return options.lo + bin * all / bins; };
    Curve curve;
    curve.end = options.hi + 1;
    for (std::int64_t bin = 0; bin < bins; ++bin) {
        std::int64_t count = 0;
        for (std::int64_t grey = firstOf(bin); grey < firstOf(bin + 1); ++grey)
            count += pixels[static_cast<std::size_t>(grey)];
        curve.abscissae.push_back(firstOf(bin));
        curve.values.push_back(count);
    }
    return curve;
}

void writeJson(JsonWriter& json, const Curve& bins) {
    json.key("bins");
    json.beginArray();
    for (std::size_t i = 0; i < bins.values.size(); ++i) {
        json.beginObject();
        json.entry("first", bins.abscissae[i]);
        json.entry("last", (i + 1 < bins.values.size() ? bins.abscissae[i + 1] : bins.end) - 1);
        json.entry("count", bins.values[i]);
        json.end();
    }
    json.end();
}

/// The grey values that the curves have pixels of, for the axis.
ChartRange occupied(const std::vector<ChartCurve>& curves) {
    ChartRange range{static_cast<double>(greyValues), 0};
    for (const ChartCurve& curve : curves)
        for (const Point& point : curve.points)
            if (point.y > 0) range = {std::min(range.low, point.x), std::max(range.high, point.x)};
    return range.low < range.high ? range : ChartRange{0, static_cast<double>(greyValues)};
}

Status histogram(HistogramOptions options) {
    if (options.lo > options.hi) throw usageError("lumo histogram: --lo lies above --hi");
    Chart chart;
    chart.title = "Histogram";
    chart.xName = "grey value";
    chart.yName = "pixels a bin";
    chart.filled = true;
    chart.fitX = occupied;
    return runCurves(options, {"first", "count", true, false, writeJson}, std::move(chart),
                     [&](const lmImage& image, const Roi& region, const std::string& file) {
                         std::vector<std::uint32_t> pixels(greyValues);
                         check(Make_HistogramRoi(rasterOf(image), region, pixels.data()), file);
                         return condensed(pixels, options);
                     });
}

}  // namespace

Work setUpHistogram(CLI::App& verb) {
    const auto options = std::make_shared<HistogramOptions>();
    addCurveOptions(verb, *options);
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
    return [options] { return histogram(*options); };
}

}  // namespace lumo::cli
