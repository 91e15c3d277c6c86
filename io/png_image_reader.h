// The image data of a PNG file, and the texts behind it, on the fast path: taken only where all is
// perfectly sound and plain. Anything else is left to libpng, which stays the judge of what is
// wrong with a file.
#pragma once

#include <png.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "image/view.h"
#include "platform/file.h"

namespace lumo {

/// Text chunks, and what they refer to.
struct PngTexts {
    std::vector<std::unique_ptr<char[]>> blocks;
    std::vector<png_text> entries;
    std::size_t size = 0;  ///< bytes of all blocks
};

/// Decodes rows of 8 or 16-bit grey samples without interlacing.
/// @param firstChunk  its place in the file
/// @param texts     [out] those behind the image data
/// @param mostText  bytes that the texts may take
/// @return false if libpng has to do it; the raster then holds anything. Memory may be lacking:
/// std::bad_alloc
[[nodiscard]] bool readImageFast(std::FILE* file, std::uint64_t firstChunk, int depth,
                                 Target raster, std::size_t mostText, PngTexts& texts);

}  // namespace lumo
