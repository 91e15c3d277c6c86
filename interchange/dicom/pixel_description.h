// What a data set says of its pixels, checked before any of them is touched.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "interchange/dicom/dataset_file.h"
#include "interchange/dicom/element_text.h"
#include "interchange/dicom/pixel_words.h"

namespace lumo::interchange::dicom {

struct PixelDescription {
    std::uint32_t width = 0, height = 0;
    std::uint32_t frames = 1, frame = 1;  ///< the chosen one, from 1
    int allocated = 16;                   ///< bits, 8 or 16
    WordLayout layout;
    bool smallIsBright = false;  ///< MONOCHROME1
    std::vector<std::string> notes;

    [[nodiscard]] std::uint64_t count() const { return std::uint64_t{width} * height; }
    [[nodiscard]] std::uint64_t frameBytes() const { return count() * (allocated == 8 ? 1 : 2); }
};

/// Frame 0: the only one there is; of several the caller has to choose. Throws Refusal for what is
/// no grey picture of at most 16 bits, or contradicts itself.
[[nodiscard]] PixelDescription describePixels(DatasetFile& file, ElementText& text,
                                              std::uint32_t frame);

}  // namespace lumo::interchange::dicom
