// What all verbs share that read an image, change it and write it.
#include "cli/change.h"

#include "cli/files/inputs.h"

namespace lumo::cli {

void addChangeOptions(CLI::App& verb, ChangeOptions& options) {
    addInputOption(verb, options.input);
    addOutputOptions(verb, options.output);
}

Status changeImage(const ChangeOptions& options, const Change& change) {
    ImageOutput output(options.output);
    ImageHandle image = readImage(options.input);
    change(image);
    output.save(image.get());
    return done;
}

}  // namespace lumo::cli
