// An image's metadata as sections and entries, got through the library's own accessors.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "lumo.h"

namespace lumo::cli {

struct MetaEntry {
    std::string section, key, value;
};

/// The entries in their order, those of a section together, each key once. The extended header is
/// left out: its section need not hold entries at all.
[[nodiscard]] std::vector<MetaEntry> readMetadata(lmImage* image);

/// One entry's value; empty if it is missing.
[[nodiscard]] std::string metaValue(lmImage* image, const std::string& section,
                                    const std::string& key);

/// The extended header block of an XYZ image; empty without one.
[[nodiscard]] std::string extendedHeader(lmImage* image);

}  // namespace lumo::cli
