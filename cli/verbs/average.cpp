// The verb `average`: the mean of frames.
#include <cmath>
#include <memory>

#include "cli/arguments.h"
#include "cli/change.h"
#include "cli/frame_stack.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct Options {
    std::vector<std::string> files;
    OutputOptions output;
};

/// The first frame's metadata, the mean of all pixels.
Status run(Options options) {
    options.output.file = options.files.back();
    options.files.pop_back();
    // Checks the place before the work begins.
    const ImageOutput place(options.output);
    FrameStack stack;
    for (const std::string& file : options.files) stack.add(file, false);
    const std::string& first = options.files.front();
    const std::string step = "average of " + std::to_string(options.files.size());
    return changeImage({first, options.output}, [&](ImageHandle& image) {
        check(LumoStackMean(stack.get(), rasterOf(*image)), first);
        check(LumoAddPerformedStep(image.get(), step.c_str()), first);
    });
}

}  // namespace

Work setUpAverage(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    verb.add_option("FILES", options->files, "Frames of one size, and last the image to write")
        ->required()
        ->expected(2, -1);
    addForceOption(verb, options->output.force);
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
