// Pieces of the image record's life cycle that other folders use.
#pragma once

#include "frame/ini2.h"
#include "lumo.h"

namespace lumo {

/// Replaces the metadata by the store's text. Raises -8 with the old text kept.
void replaceMetaData(lmImage& image, ini2& store);

/// Releases the cache of row addresses.
void releaseRowPointers(lmImage& image) noexcept;

/// Points the cache of row addresses at the raster's rows. Raises -8.
void buildRowPointers(lmImage& image);

}  // namespace lumo
