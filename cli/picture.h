// 8-bit greyscale pictures for people: coding and PNG file.
#pragma once

#include <string>

#include "lumo_legacy.h"

namespace lumo::cli {

/// Codes the raster by square root, its largest value below 65535 becoming white, and writes a PNG
/// picture. `shownAs` is the file's name in errors.
void writePicture(const Image& raster, const std::string& file, const std::string& shownAs);

}  // namespace lumo::cli
