// What a file format does not hold of an image, reported as notes about the file.
#pragma once

#include <string>

#include "lumo.h"

namespace lumo::cli {

/// @param staged  the pixel file that was written, with its information file beside it
void reportXyzLosses(lmImage* image, const std::string& staged, const std::string& file);
void reportPngLosses(lmImage* image, const std::string& file);

}  // namespace lumo::cli
