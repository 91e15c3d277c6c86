// Look-up tables over all grey values: building them from a window and a curve, applying them.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "image/pixel.h"
#include "lumo_legacy.h"

namespace lumo {

using Lut = std::span<std::uint16_t, greyValues>;
using LutBlock = std::array<std::uint16_t, greyValues>;

/// Builds the table of a curve over the window lo..hi; `mode` as Make_LutAbs16() takes it.
void Make_Lut(Lut lut, int mode, int lo, int hi);

/// Inverts, then mirrors a table as the mode's flags say.
void Apply_LutFlags(Lut lut, int mode);

/// @return 0; 1 unless both images have the same size and a raster (nothing is written then)
[[nodiscard]] int Apply_Lut(const Image& source, const Image& destination,
                            const std::uint16_t* lut);

}  // namespace lumo
