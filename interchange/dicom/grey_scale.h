// What a file says of the meaning of its grey values: never applied, but reported, and turned with
// them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "interchange/dicom/pixel_words.h"
#include "interchange/picture.h"

namespace lumo::interchange::dicom {

/// The file's first window in the raster's grey values, for the program's command `window`; none if
/// it gives no window, or one that is not linear.
struct Window {
    std::uint16_t low, high;
};
[[nodiscard]] std::optional<Window> windowOf(const std::vector<Entry>& technical,
                                             const WordLayout& layout);

/// A line for each mapping that the file would like to have applied.
[[nodiscard]] std::vector<std::string> mappingNotes(const std::vector<Entry>& technical);

/// Changes the entries to what they are for values turned from MONOCHROME1 into MONOCHROME2.
void turnEntries(std::vector<Entry>& technical, const WordLayout& layout);

}  // namespace lumo::interchange::dicom
