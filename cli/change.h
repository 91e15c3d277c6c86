// What all verbs share that read an image, change it and write it.
#pragma once

#include <functional>
#include <string>

#include "cli/files/image_output.h"

namespace lumo::cli {

struct ChangeOptions {
    std::string input;
    OutputOptions output;
};

/// Declares IN, OUT, --format and --force.
void addChangeOptions(CLI::App& verb, ChangeOptions& options);

/// Applies steps to the image.
using Change = std::function<void(ImageHandle&)>;

/// Reads, changes and writes an image.
Status changeImage(const ChangeOptions& options, const Change& change);

}  // namespace lumo::cli
