// The readers and writers of the formats. Each catches and logs its own failures under its name and
// returns the code.
#pragma once

#include "lumo.h"

namespace lumo {

/// Reads an XYZ image. The record that it creates in the place stays there after a later failure.
/// @param eightBit  1 if the pixel file is known to hold 8-bit codes
/// @return 0, -1, -8, -50, -10004, -10006 or a code of LumoCreateImage()
[[nodiscard]] int LumoReadImageXYZ(lmImage** place, const char* fileName, int eightBit) noexcept;

/// Writes an XYZ image; a name that ends in "txt" writes the information file alone.
/// @return 0, -8, -16, -50, or in the 8-bit form a code of WriteImage8Rot()
[[nodiscard]] int LumoWriteImageXYZ(lmImage* image, const char* fileName, int eightBit) noexcept;

/// Reads a PNG file; after a failure the place is null, or untouched if no record was created.
/// @return 0, -1, -8, -11, -50 or a code of LumoCreateImage()
[[nodiscard]] int LumoReadImagePNG(lmImage** place, const char* fileName) noexcept;

}  // namespace lumo
