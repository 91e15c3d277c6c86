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
    bool json = false;
};

/// Means of columns or rows, and the place of the first.
struct Profile {
    std::int32_t first;
    std::vector<std::uint16_t> means;
};

Profile measure(const lmImage& image, const Roi& roi, bool alongX, const std::string& file) {
    requireInside(image, roi, file);
    const auto [first, last] =
        alongX ? std::minmax({roi.x1, roi.x2}) : std::minmax({roi.y1, roi.y2});
    Profile profile{first, std::vector<std::uint16_t>(65536)};
    check((alongX ? Make_XScan : Make_YScan)(rasterOf(image), roi, profile.means.data()), file);
    profile.means.resize(static_cast<std::size_t>(last - first + 1));
    return profile;
}

void print(const Profile& profile, const std::string& axis) {
    std::cout << axis << ",mean\n";
    std::int64_t place = profile.first;
    for (const std::uint16_t mean : profile.means) std::cout << place++ << ',' << mean << '\n';
}

void writeJson(JsonWriter& json, const Profile& profile, const ProfileOptions& options) {
    json.entry("region", options.roi);
    json.entry("axis", options.axis);
    json.entry("first", profile.first);
    json.key("means");
    json.beginArray();
    for (const std::uint16_t mean : profile.means) json.number(std::int64_t{mean});
    json.end();
}

Status profile(const ProfileOptions& options) {
    const Roi roi = parseRoi(options.roi);
    Records records(options.json);
    return forEachFile({options.input}, records, [&](const std::string& file) {
        const Profile measured = measure(*readImage(file), roi, options.axis == "x", file);
        if (!options.picture.empty())
            writeChart({{measured.means.begin(), measured.means.end()}, measured.first, false},
                       options.picture, options.force);
        if (options.json)
            records.add(file, [&](JsonWriter& json) { writeJson(json, measured, options); });
        else if (options.picture.empty())
            print(measured, options.axis);
    });
}

}  // namespace

Work setUpProfile(CLI::App& verb) {
    const auto options = std::make_shared<ProfileOptions>();
    addInputOption(verb, options->input);
    verb.add_option("--roi", options->roi, "The region: x1,y1,x2,y2, inclusive")->required();
    verb.add_option("--axis", options->axis, "x: mean of each column, y: mean of each row")
        ->required()
        ->check(CLI::IsMember({"x", "y"}));
    addJsonOption(verb, options->json);
    addChartOptions(verb, *options);
    return [options] { return profile(*options); };
}

}  // namespace lumo::cli
