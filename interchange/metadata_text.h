// An image's metadata as the one text in which it travels inside files of other formats: sections,
// and lines of key=value. The library's own settings store reads the same form.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "interchange/picture.h"

namespace lumo::interchange {

/// Entries of one section have to follow each other for a text without repetitions.
[[nodiscard]] std::string metadataText(const std::vector<Entry>& entries);

/// The entries of a text from anywhere, in their order; lines that are none are passed over.
[[nodiscard]] std::vector<Entry> parseMetadata(std::string_view text);

}  // namespace lumo::interchange
