// The verbs `rotate`, `mirror` and `shear`: images turned by quarters, by any angle, or straight.
#include <charconv>
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>

#include "cli/arguments.h"
#include "cli/change.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct Options : ChangeOptions {
    int quarter = 0;
    std::optional<double> angle;
    bool straighten = false, horizontal = false, vertical = false;
};

std::shared_ptr<Options> commonOptions(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addChangeOptions(verb, *options);
    return options;
}

/// As few digits as give the same number back, so that the turn can be made again.
std::string exactText(double angle) {
    char text[32];
    const auto end = std::to_chars(text, text + sizeof text, angle + 0.0).ptr;  // no "-0"
    return {text, end};
}

using Turn = int (*)(Image, Image*, double);

void requireSquarePixels(const lmImage& image, const std::string& file) {
    if (image.pixelsizeX == image.pixelsizeY) return;
    throw CommandError(
        file + ": its pixels are not as wide as high (" + std::to_string(image.pixelsizeX) +
        " and " + std::to_string(image.pixelsizeY) + " nm), so only quarter turns keep it true");
}

void turn(ImageHandle& image, Turn operation, const char* name, double angle,
          const std::string& file) {
    requireSquarePixels(*image, file);
    Image turned{};
    check(operation(rasterOf(*image), &turned, angle), file);
    replaceRaster(image, turned, 1, 1, file);
    addStep(image.get(), std::string(name) + "(angle=" + exactText(angle) + ")", file);
}

double estimatedAngle(const lmImage& image, const std::string& file) {
    requireSquarePixels(image, file);
    constexpr int exposed =
        8000;  // grey values above belong to the area whose edges are looked for
    ImageValue value{};
    check(Get_ImageValue(rasterOf(image), &value), file);
    if (value.max <= exposed)
        throw CommandError(file + ": no grey value above 8000, so no exposed area to set straight");
    const double angle = CalculateRotationAngle(rasterOf(image));
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", angle + 0.0);
    std::cout << "turned by " << text << " degrees\n";
    return angle;
}

Status rotate(const Options& options) {
    if ((options.quarter != 0) + options.angle.has_value() + options.straighten != 1)
        throw usageError("lumo rotate: give one of --quarter, --angle and --straighten");
    return changeImage(options, [&](ImageHandle& image) {
        if (options.quarter != 0)
            check(LumoRotateImage(image.get(), options.quarter), options.input);
        else
            turn(image, RotationNewImage, "RotationNewImage",
                 options.straighten ? estimatedAngle(*image, options.input) : *options.angle,
                 options.input);
    });
}

Status mirror(const Options& options) {
    if (!options.horizontal && !options.vertical)
        throw usageError("lumo mirror: give --horizontal, --vertical or both");
    return changeImage(options, [&](ImageHandle& image) {
        check(LumoMirrorImage(image.get(), options.horizontal, options.vertical), options.input);
    });
}

Status shear(const Options& options) {
    return changeImage(options, [&](ImageHandle& image) {
        turn(image, Shear, "Shear", *options.angle, options.input);
    });
}

}  // namespace

Work setUpRotate(CLI::App& verb) {
    const auto options = commonOptions(verb);
    verb.add_option("--quarter", options->quarter, "Degrees against the clock")
        ->check(CLI::IsMember({90, 180, 270}));
    verb.add_option("--angle", options->angle, "Degrees against the clock, with interpolation");
    verb.add_flag("--straighten", options->straighten,
                  "Turn by the tilt of the exposed area, and print the angle");
    return [options] { return rotate(*options); };
}

Work setUpMirror(CLI::App& verb) {
    const auto options = commonOptions(verb);
    verb.add_flag("--horizontal", options->horizontal, "Exchange left and right");
    verb.add_flag("--vertical", options->vertical, "Exchange top and bottom");
    return [options] { return mirror(*options); };
}

Work setUpShear(CLI::App& verb) {
    const auto options = commonOptions(verb);
    verb.add_option("--angle", options->angle, "Degrees against the clock, in whole-pixel shears")
        ->check(CLI::Range(-89.0, 89.0))
        ->required();
    return [options] { return shear(*options); };
}

}  // namespace lumo::cli
