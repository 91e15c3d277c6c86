// The verb `dose`: the dose indicator of images.
#include <iostream>
#include <memory>
#include <vector>

#include "cli/files/inputs.h"
#include "cli/library.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

Work setUpDose(CLI::App& verb) {
    const auto files = std::make_shared<std::vector<std::string>>();
    addInputOption(verb, *files);
    return [files] {
        return forEach(*files, [](const std::string& file) {
            const ImageHandle image = readImage(file);
            const Image raster = rasterOf(*image);
            std::int32_t indicator = 0;
            check(GetOrvelDoseIndicator(&raster, &indicator), file);
            std::cout << indicator << "  " << printable(file) << '\n';
        });
    };
}

}  // namespace lumo::cli
