// The verb `preview`: an 8-bit picture of an image, scaled down on request.
#include <memory>

#include "cli/arguments.h"
#include "cli/files/image_output.h"
#include "cli/files/inputs.h"
#include "cli/pictures/picture.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

constexpr int mostPixels = 65535;  // a side

struct Options {
    std::string input, output;
    int width = mostPixels;
    WindowOptions window;
    bool force = false;
};

Status run(const Options& options) {
    requirePictureName(options.output);
    options.window.check();
    const ImageHandle image = readImage(options.input);
    const Window window = options.window.of(rasterOf(*image), options.input);
    const ScaledDown scaled(rasterOf(*image), options.width);
    writePicture(pictureOf(scaled.image(), window, options.window.squareRoot), scaled.image().width,
                 scaled.image().height, options.output, options.force);
    return done;
}

}  // namespace

Work setUpPreview(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addInputOption(verb, options->input);
    verb.add_option("OUT", options->output, "PNG picture to write")->required();
    verb.add_option("--width", options->width, "Scale down to this many pixels a row by averaging")
        ->check(CLI::Range(1, mostPixels));
    addWindowOptions(verb, options->window);
    addForceOption(verb, options->force);
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
