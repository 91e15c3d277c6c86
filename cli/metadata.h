// An image's metadata as sections and entries, got through the library's own accessors. Failures
// become errors that name the file.
#pragma once

#include <string>
#include <vector>

#include "lumo.h"

namespace lumo::cli {

struct MetaEntry {
    std::string section, key, value;
};

/// The entries in their order, those of a section together, each key once. The extended header is
/// left out: its section need not hold entries at all.
[[nodiscard]] std::vector<MetaEntry> readMetadata(lmImage* image, const std::string& file);

/// One entry's value, at most 1023 characters; empty if it is missing.
[[nodiscard]] std::string metaValue(lmImage* image, const std::string& section,
                                    const std::string& key, const std::string& file);

/// The extended header block of an XYZ image; empty without one.
[[nodiscard]] std::string extendedHeader(lmImage* image, const std::string& file);

}  // namespace lumo::cli
