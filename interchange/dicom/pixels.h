// One frame of a data set as grey values.
#pragma once

#include <cstdint>

#include "interchange/dicom/pixel_description.h"

namespace lumo::interchange::dicom {

/// Throws Refusal if the pixels are not all there; before room is made for them.
void requireWhole(DatasetFile& file, PixelDescription& pixels);

/// Fills the raster, width x height values, right-aligned and without a sign. Throws Refusal if the
/// pixels cannot be decoded. A JPEG 2000 stream may have another number of
/// bits than the data set says: the layout's then becomes the stream's. Appends notes to the
/// description.
void readFrame(DatasetFile& file, PixelDescription& pixels, std::uint16_t* raster);

}  // namespace lumo::interchange::dicom
