// Pairs of rasters that an operation reads and writes pixel by pixel.
#pragma once

#include "lumo_legacy.h"

namespace lumo {

/// Works on any mix of Image and FImage.
/// @return 0; -50 unless both have the same size and a raster
template <class First, class Second>
[[nodiscard]] int Check_SameSize(const First& first, const Second& second) {
    const bool same = first.width == second.width && first.height == second.height &&
                      first.data != nullptr && second.data != nullptr;
    return same ? LumoOk : LumoErrorImage;
}

}  // namespace lumo
