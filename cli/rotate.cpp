// The verbs `rotate`, `mirror` and `shear`: images turned by quarters, by any angle, or straight.
#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>

#include "cli/command.h"
#include "cli/image_output.h"
#include "cli/turned_image.h"

namespace lumo::cli {

Work setUpRotate(CLI::App&), setUpMirror(CLI::App&), setUpShear(CLI::App&);

namespace {

struct Options {
    std::string input;
    OutputOptions output;
    int quarter = 0;
    std::optional<double> angle;
    bool straighten = false, horizontal = false, vertical = false;
};

std::shared_ptr<Options> commonOptions(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    verb.add_option("IN", options->input, "Image file to read")->required();
    addOutputOptions(verb, options->output);
    return options;
}

std::string degreesText(double angle) {
    char text[32];
    std::snprintf(text, sizeof text, "%.3f", angle + 0.0);  // no "-0"
    return text;
}

using Turn = int (*)(Image, Image*, double);

void turn(ImageHandle& image, Turn operation, const char* name, double angle,
          const std::string& file) {
    requireSquarePixels(*image, file);
    Image turned{};
    check(operation({image->width, image->height, image->data}, &turned, angle), file);
    replaceRaster(image, turned, file);
    const std::string step = std::string(name) + "(angle=" + degreesText(angle) + ")";
    check(LumoAddPerformedStep(image.get(), step.c_str()), file);
}

double estimatedAngle(const lmImage& image) {
    const double angle = CalculateRotationAngle({image.width, image.height, image.data});
    std::cout << "turned by " << degreesText(angle) << " degrees\n";
    return angle;
}

Status rotate(const Options& options) {
    if ((options.quarter != 0) + options.angle.has_value() + options.straighten != 1)
        throw usageError("lumo rotate: give one of --quarter, --angle and --straighten");
    ImageOutput output(options.output);
    ImageHandle image = readImage(options.input);
    if (options.quarter != 0)
        check(LumoRotateImage(image.get(), options.quarter), options.input);
    else
        turn(image, RotationNewImage, "RotationNewImage",
             options.straighten ? estimatedAngle(*image) : *options.angle, options.input);
    output.save(image.get());
    return done;
}

Status mirror(const Options& options) {
    if (!options.horizontal && !options.vertical)
        throw usageError("lumo mirror: give --horizontal, --vertical or both");
    ImageOutput output(options.output);
    const ImageHandle image = readImage(options.input);
    check(LumoMirrorImage(image.get(), options.horizontal, options.vertical), options.input);
    output.save(image.get());
    return done;
}

Status shear(const Options& options) {
    ImageOutput output(options.output);
    ImageHandle image = readImage(options.input);
    turn(image, Shear, "Shear", *options.angle, options.input);
    output.save(image.get());
    return done;
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
