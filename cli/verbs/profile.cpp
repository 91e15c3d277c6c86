// The verb `profile`: means of a region's columns or rows, as text or as a chart.
#include <memory>

#include "cli/curves.h"
#include "cli/library.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct ProfileOptions : CurveOptions {
    std::string axis;
};

Status profile(const ProfileOptions& options) {
    const bool alongX = options.axis == "x";
    Chart chart{.title = alongX ? "Profile: means of the columns" : "Profile: means of the rows",
                .subtitle = {},
                .xName = alongX ? "column (pixels)" : "row (pixels)",
                .yName = "mean grey value",
                .curves = {}};
    return runCurves(
        options, {options.axis.c_str(), "mean", false, true}, std::move(chart),
        [&](const lmImage& image, const Roi& roi, const std::string& file) {
            std::vector<std::uint16_t> means(65536);
            check((alongX ? Make_XScan : Make_YScan)(rasterOf(image), roi, means.data()), file);
            Curve curve;
            const std::int64_t first = alongX ? roi.x1 : roi.y1;
            curve.end = (alongX ? roi.x2 : roi.y2) + 1;
            for (std::int64_t at = first; at < curve.end; ++at) {
                curve.abscissae.push_back(at);
                curve.values.push_back(means[static_cast<std::size_t>(at - first)]);
            }
            return curve;
        });
}

}  // namespace

Work setUpProfile(CLI::App& verb) {
    const auto options = std::make_shared<ProfileOptions>();
    addCurveOptions(verb, *options);
    verb.add_option("--axis", options->axis, "x: mean of each column, y: mean of each row")
        ->required()
        ->check(CLI::IsMember({"x", "y"}));
    return [options] { return profile(*options); };
}

}  // namespace lumo::cli
