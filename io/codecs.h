// The readers and writers of the formats. Each catches and logs its own failures under its name and
// returns the code. Readers take the open file over, positioned behind the bytes that told its
// format.
#pragma once

#include "lumo.h"
#include "platform/file.h"

namespace lumo {

/// Bytes at the start of a file that tell its format.
constexpr std::size_t longestSignature = 8;

/// Reads an XYZ image. The record that it creates in the place stays there after a later failure.
/// @param fileName  names the information file
/// @param eightBit  1 if the pixel file is known to hold 8-bit codes
/// @return 0, -8, -11 for a file that cannot be positioned, -50, -10004, -10006 or a code of
/// LumoCreateImage()
[[nodiscard]] int LumoReadImageXYZ(lmImage** place, FilePtr file, const char* fileName,
                                   int eightBit) noexcept;

/// Writes an XYZ image; a name that ends in "txt" writes the information file alone.
/// @return 0, -8, -16, -50, or in the 8-bit form a code of WriteImage8Rot()
[[nodiscard]] int LumoWriteImageXYZ(lmImage* image, const char* fileName, int eightBit) noexcept;

/// Reads a PNG file; after a failure the place is null, or untouched if no record was created.
/// @return 0, -8, -11, -50 or a code of LumoCreateImage()
[[nodiscard]] int LumoReadImagePNG(lmImage** place, FilePtr file) noexcept;

}  // namespace lumo
