// The verbs `histogram` and `profile`: rows of numbers, as text or as a chart.
#include <algorithm>
#include <iostream>
#include <memory>
#include <utility>

#include "cli/arguments.h"
#include "cli/files/image_output.h"
#include "cli/files/inputs.h"
#include "cli/library.h"
#include "cli/pictures/chart.h"

namespace lumo::cli {

Work setUpHistogram(CLI::App&verb), setUpProfile(CLI::App&verb);

namespace {

struct CurveOptions {
    std::string input, picture;
    bool force = false;
};

void addPictureOptions(CLI::App& verb, CurveOptions& options) {
    verb.add_option("--png", options.picture, "Draw a picture into this file instead");
    addForceOption(verb, options.force);
}

struct HistogramOptions : CurveOptions {
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

struct ProfileOptions : CurveOptions {
    std::string roi, axis;
};

Status profile(const ProfileOptions& options) {
    const Roi roi = parseRoi(options.roi);
    const ImageHandle image = readImage(options.input);
    requireInside(*image, roi, options.input);
    const bool alongX = options.axis == "x";
    const auto [first, last] =
        alongX ? std::minmax({roi.x1, roi.x2}) : std::minmax({roi.y1, roi.y2});
    std::vector<std::uint16_t> means(65536);
    check((alongX ? Make_XScan : Make_YScan)(rasterOf(*image), roi, means.data()), options.input);
    means.resize(static_cast<std::size_t>(last - first + 1));
    if (!options.picture.empty()) {
        writeChart({{means.begin(), means.end()}, first, false}, options.picture, options.force);
        return done;
    }
    std::cout << options.axis << ",mean\n";
    for (std::size_t i = 0; i < means.size(); ++i)
        std::cout << first + static_cast<std::int64_t>(i) << ',' << means[i] << '\n';
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
    addPictureOptions(verb, *options);
    return [options] { return histogram(*options); };
}

Work setUpProfile(CLI::App& verb) {
    const auto options = std::make_shared<ProfileOptions>();
    addInputOption(verb, options->input);
    verb.add_option("--roi", options->roi, "The region: x1,y1,x2,y2, inclusive")->required();
    verb.add_option("--axis", options->axis, "x: mean of each column, y: mean of each row")
        ->required()
        ->check(CLI::IsMember({"x", "y"}));
    addPictureOptions(verb, *options);
    return [options] { return profile(*options); };
}

}  // namespace lumo::cli
