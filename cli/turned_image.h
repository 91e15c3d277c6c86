// Image records whose raster is replaced, with the metadata that depends on its size.
#pragma once

#include "cli/library.h"

namespace lumo::cli {

/// Gives the image this raster, which is released, and sets its size where the metadata tells it.
void replaceRaster(ImageHandle& image, Image& raster, const std::string& file);

/// Throws an error unless pixels are as wide as high: a turn by any angle would distort the
/// picture.
void requireSquarePixels(const lmImage& image, const std::string& file);

}  // namespace lumo::cli
