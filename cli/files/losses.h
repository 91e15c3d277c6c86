// What a file format does not hold of an image, told on standard error as notes about the file.
#pragma once

#include <string>

#include "lumo.h"

namespace lumo::cli {

/// @param staged  the pixel file that was written, with its information file beside it
void tellXyzLosses(lmImage* image, const std::string& staged, const std::string& file);
void tellPngLosses(const lmImage& image, const std::string& file);

}  // namespace lumo::cli
