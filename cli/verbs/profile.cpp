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

void writeJson(JsonWriter& json, const Curve& means, const std::string& axis) {
    json.entry("axis", axis);
    json.entry("first", means.abscissae.front());
    json.key("means");
    json.beginArray();
    for (const std::int64_t mean : means.values) json.number(mean);
    json.end();
}

Status profile(const ProfileOptions& options) {
    const bool alongX = options.axis == "x";
    Chart chart;
    chart.title = alongX ? "Profile: means of the columns" : "Profile: means of the rows";
    chart.xName = alongX ? "column (pixels)" : "row (pixels)";
    chart.yName = "mean grey value";
    return runCurves(
        options,
        {options.axis.c_str(), "mean", false, true,
         [&](JsonWriter& json, const Curve& curve) { writeJson(json, curve, options.axis); }},
        std::move(chart), [&](const lmImage& image, const Roi& roi, const std::string& file) {
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
