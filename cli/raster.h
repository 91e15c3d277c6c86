// What can be said of a raster at one glance.
#pragma once

#include <cstdint>

#include "lumo.h"

namespace lumo::cli {

struct RasterSummary {
    std::uint16_t minimum, maximum;
    double mean;
    std::uint32_t crc32;  ///< of the pixels as little-endian bytes, row by row from the top
};

[[nodiscard]] RasterSummary summarize(const lmImage& image);

}  // namespace lumo::cli
