// What PNG reading and writing share.
#pragma once

#include <png.h>

#include <cstdint>

namespace lumo {

/// Logs libpng's message at level 3 and jumps to the recovery point; never returns to libpng.
[[noreturn]] void onPngError(png_structp png, png_const_charp message);

/// Logs libpng's message at level 4; the operation goes on.
void onPngWarning(png_structp png, png_const_charp message);

/// pHYs counts pixels per metre, images have a pitch in nanometres: each is this by the other.
constexpr std::uint32_t nanometresPerMetre = 1000000000;

/// Entries of section "Image" that have text chunks of their own, in the order of the file.
constexpr const char* imageKeywords[] = {"Creation Time", "Source", "Software", "Author"};

/// Bytes of a text in such a chunk, its terminating zero counted: a longer one is cut there.
constexpr std::size_t imageTextSize = 1024;

}  // namespace lumo
