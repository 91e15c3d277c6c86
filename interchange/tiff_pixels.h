// The pixels of a TIFF page as a raster of 16-bit values.
#pragma once

#include <cstddef>
#include <cstdint>

#include "interchange/tiff_layout.h"

namespace lumo::interchange {

/// Fills a raster of width x height values, right-aligned, signed ones not yet shifted; throws
/// Refusal if the data is damaged.
void readTiffPixels(const TiffFile& file, const TiffLayout& layout, std::uint16_t* raster);

/// Values of `bits` bits, as a page holds them in a row, to the machine's own 16. Those of 16 bits
/// are in the machine's order already; those of 9 to 15 follow each other, highest bit first.
void unpackRow(const std::uint8_t* from, std::uint16_t bits, std::size_t count, std::uint16_t* to);

}  // namespace lumo::interchange
