// The verbs `histogram` and `profile`: rows of numbers, as text or as a chart.
#include <iostream>
#include <memory>

#include "cli/arguments.h"
#include "cli/chart.h"
#include "cli/image_output.h"
#include "cli/inputs.h"
#include "cli/library.h"

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
    int bins = 256;
    bool csv = false;
};

Status histogram(const HistogramOptions& options) {
    const ImageHandle image = readImage(options.input);
    std::vector<std::uint32_t> counts(static_cast<std::size_t>(options.bins));
    check(Make_HistogramScaled(rasterOf(*image), counts.data(),
                               static_cast<std::uint16_t>(options.bins), 0, 0, 65535),
          options.input);
    if (!options.picture.empty())
        writeChart({{counts.begin(), counts.end()}, 0, 65535, true}, options.picture,
                   options.force);
    if (!options.picture.empty() && !options.csv) return done;
    std::cout << (options.csv ? "first,count\n" : "");
    for (std::size_t bin = 0; bin < counts.size(); ++bin)
        std::cout << bin * 65536 / counts.size() << (options.csv ? ',' : ' ') << counts[bin]
                  << '\n';
    return done;
}

struct ProfileOptions : CurveOptions {
    std::string roi, axis;
};

Status profile(const ProfileOptions& options) {
    const Roi roi = parseRoi(options.roi);
    const ImageHandle image = readImage(options.input);
    const bool alongX = options.axis == "x";
    const auto [first, last] =
        alongX ? std::minmax({roi.x1, roi.x2}) : std::minmax({roi.y1, roi.y2});
    std::vector<std::uint16_t> means(65536);
    check((alongX ? Make_XScan : Make_YScan)(rasterOf(*image), roi, means.data()), options.input);
    means.resize(static_cast<std::size_t>(last - first + 1));
    if (!options.picture.empty()) {
        writeChart({{means.begin(), means.end()}, double(first), double(last), false},
                   options.picture, options.force);
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
    verb.add_option("--bins", options->bins, "Bins that the grey values are condensed to")
        ->check(CLI::Range(1, 65535))
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
