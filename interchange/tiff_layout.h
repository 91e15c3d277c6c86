// What a page of a TIFF file says of its pixels, checked before any of them is touched.
#pragma once

#include <cstdint>

#include "interchange/tiff_file.h"

namespace lumo::interchange {

struct TiffLayout {
    std::uint32_t width = 0, height = 0;
    std::uint16_t bits = 0;  ///< of a pixel, 8 to 16
    bool isSigned = false;
    bool minIsWhite = false;
    bool compressed = false, tiled = false;
    std::uint32_t blockWidth = 0, blockHeight = 0;  ///< of a tile or strip
    std::uint64_t blockBytes = 0;                   ///< of a whole one, unpacked
    std::uint64_t rowBytes = 0;                     ///< of a row within it

    [[nodiscard]] std::uint64_t rasterBytes() const { return std::uint64_t{width} * height * 2; }
    [[nodiscard]] std::uint32_t rowsIn(std::uint32_t strip) const;
};

/// Throws Refusal with the reason if the present page is not a grey picture of 8 to 16 bits in one
/// of the taken encodings, or if its numbers cannot be true of a file of this size.
[[nodiscard]] TiffLayout checkedLayout(const TiffFile& file);

}  // namespace lumo::interchange
