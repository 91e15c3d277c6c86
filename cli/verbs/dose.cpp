// The verb `dose`: the dose indicator of images.
#include <iostream>
#include <memory>
#include <vector>

#include "cli/files/inputs.h"
#include "cli/library.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

struct Options {
    std::vector<std::string> files;
    bool asJson = false;
};

Status run(const Options& options) {
    Records records(options.asJson);
    return forEachFile(options.files, records, [&](const std::string& file) {
        const ImageHandle image = readImage(file);
        const Image raster = rasterOf(*image);
        std::int32_t indicator = 0;
        check(GetOrvelDoseIndicator(&raster, &indicator), file);
        if (options.asJson)
            records.add(file, [&](JsonWriter& json) { json.entry("dose", indicator); });
        else
            std::cout << indicator << "  " << printable(file) << '\n';
    });
}

}  // namespace

Work setUpDose(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    addInputOption(verb, options->files);
    addJsonOption(verb, options->asJson);
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
