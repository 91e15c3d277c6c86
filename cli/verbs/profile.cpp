// The verb `profile`: means of a region's columns or rows, as text or as a chart.
#include <algorithm>
#include <iostream>
#include <memory>

#include "cli/arguments.h"
#include "cli/files/inputs.h"
#include "cli/library.h"
#include "cli/pictures/chart.h"
#include "cli/pictures/chart_options.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct ProfileOptions : ChartOptions {
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

Work setUpProfile(CLI::App& verb) {
    const auto options = std::make_shared<ProfileOptions>();
    addInputOption(verb, options->input);
    verb.add_option("--roi", options->roi, "The region: x1,y1,x2,y2, inclusive")->required();
    verb.add_option("--axis", options->axis, "x: mean of each column, y: mean of each row")
        ->required()
        ->check(CLI::IsMember({"x", "y"}));
    addChartOptions(verb, *options);
    return [options] { return profile(*options); };
}

}  // namespace lumo::cli
