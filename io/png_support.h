// What PNG reading and writing share: the handlers given to libpng.
#pragma once

#include <png.h>

namespace lumo {

/// Logs libpng's message at level 3 and jumps to the recovery point; never returns to libpng.
[[noreturn]] void onPngError(png_structp png, png_const_charp message);

/// Logs libpng's message at level 4; the operation goes on.
void onPngWarning(png_structp png, png_const_charp message);

/// Keyword of the text chunk that holds the whole metadata.
constexpr char metaDataKeyword[] = "Image_X";

/// Entries of section "Image" that have text chunks of their own, in the order of the file.
constexpr const char* imageKeywords[] = {"Creation Time", "Source", "Software", "Author"};

}  // namespace lumo
