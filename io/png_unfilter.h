// PNG's row filters undone: rows of bytes from a decompressed image become rows of grey pixels.
#pragma once

#include <cstdint>

#include "image/view.h"

namespace lumo {

/// Turns filtered rows, each behind its filter's number, into the raster's rows from `first` on.
/// The rows above have been turned before.
/// @param depth  8 or 16 bits a sample; 8-bit ones become 256 times their value
/// @return false if a filter's number is none, or `count` rows leave the raster
[[nodiscard]] bool unfilterRows(const std::uint8_t* filtered, int depth, Target raster, int first,
                                int count);

/// Bytes of a filtered row, its filter's number counted.
[[nodiscard]] constexpr std::size_t filteredRowSize(int width, int depth) {
    return 1 + static_cast<std::size_t>(width) * static_cast<std::size_t>(depth / 8);
}

}  // namespace lumo
