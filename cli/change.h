// What all verbs share that read an image, change its pixels and write it.
#pragma once

#include <functional>
#include <string>

#include "cli/image_output.h"

namespace lumo::cli {

struct ChangeOptions {
    std::string input;
    OutputOptions output;
};

/// Declares IN, OUT, --format and --force.
void addChangeOptions(CLI::App& verb, ChangeOptions& options);

/// Reads, changes and writes an image. The step, with which the change could be made again, is
/// added to its history, and recorded pixel statistics are renewed.
Status changeImage(const ChangeOptions& options, const std::string& step,
                   const std::function<void(ImageHandle&)>& change);

/// Gives the image another raster, which is freed here. A pixel of it covers factorX x factorY of
/// the old ones; recorded size and pitch follow.
void replaceRaster(ImageHandle& image, Image raster, int factorX, int factorY,
                   const std::string& file);

}  // namespace lumo::cli
