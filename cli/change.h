// What all verbs share that read an image, change its pixels and write it.
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

/// Changes the pixels and adds what it did to the history, or replaces the raster.
using Change = std::function<void(ImageHandle&)>;

/// Reads, changes and writes an image. What its metadata records of pixels, size and pitch is
/// renewed.
Status changeImage(const ChangeOptions& options, const Change& change);

/// The same for one change of one step, which is added to the history here.
Status changeImage(const ChangeOptions& options, const std::string& step, const Change& change);

/// A step must suffice to make the change again.
void addStep(lmImage* image, const std::string& step, const std::string& file);

/// Cuts a region out; throws a CommandError if it leaves the image.
void cropTo(ImageHandle& image, const Roi& region, const std::string& file);

/// Gives the image another raster, which is freed here. A pixel of it covers factorX x factorY of
/// the old ones.
void replaceRaster(ImageHandle& image, Image raster, int factorX, int factorY,
                   const std::string& file);

}  // namespace lumo::cli
