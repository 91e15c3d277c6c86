// The verbs `invert`, `crop`, `bin` and `deflash`.
#include <memory>

#include "cli/arguments.h"
#include "cli/change.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

Work setUpInvert(CLI::App& verb) {
    const auto options = std::make_shared<ChangeOptions>();
    addChangeOptions(verb, *options);
    return [options] {
        return changeImage(*options, "invert", [&](ImageHandle& image) {
            const Image raster = rasterOf(*image);
            check(Invert_Image(raster, raster), options->input);
        });
    };
}

Work setUpCrop(CLI::App& verb) {
    struct Options : ChangeOptions {
        std::string roi;
    };
    const auto options = std::make_shared<Options>();
    addChangeOptions(verb, *options);
    verb.add_option("--roi", options->roi, "What to keep: x1,y1,x2,y2, inclusive")->required();
    return [options] {
        const Roi roi = parseRoi(options->roi);
        return changeImage(*options, "crop --roi " + options->roi,
                           [&](ImageHandle& image) { cropTo(image, roi, options->input); });
    };
}

Work setUpBin(CLI::App& verb) {
    struct Options : ChangeOptions {
        int x = 2, y = 2;
    };
    const auto options = std::make_shared<Options>();
    addChangeOptions(verb, *options);
    verb.add_option("--x", options->x, "Columns taken together")
        ->check(CLI::Range(1, 255))
        ->capture_default_str();
    verb.add_option("--y", options->y, "Rows taken together")
        ->check(CLI::Range(1, 255))
        ->capture_default_str();
    return [options] {
        const std::string step =
            "bin --x " + std::to_string(options->x) + " --y " + std::to_string(options->y);
        return changeImage(*options, step, [&](ImageHandle& image) {
            if (options->x > image->width || options->y > image->height)
                throw CommandError(options->input + ": smaller than one block");
            Image binned{};
            check(Bin_Image(rasterOf(*image), &binned, static_cast<std::uint8_t>(options->x),
                            static_cast<std::uint8_t>(options->y)),
                  options->input);
            replaceRaster(image, binned, options->x, options->y, options->input);
        });
    };
}

Work setUpDeflash(CLI::App& verb) {
    struct Options : ChangeOptions {
        int threshold = 1000;
    };
    const auto options = std::make_shared<Options>();
    addChangeOptions(verb, *options);
    verb.add_option("--threshold", options->threshold, "Rise over the pixel above that is a flash")
        ->check(CLI::Range(0, 65535))
        ->capture_default_str();
    return [options] {
        const std::string step = "deflash --threshold " + std::to_string(options->threshold);
        return changeImage(*options, step, [&](ImageHandle& image) {
            check(DeFlash(rasterOf(*image), static_cast<std::uint16_t>(options->threshold)),
                  options->input);
        });
    };
}

}  // namespace lumo::cli
