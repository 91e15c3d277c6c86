// What has happened to a picture since it was read.
#pragma once

#include <string>
#include <vector>

#include "interchange/picture.h"

namespace lumo::interchange::dicom {

struct Changes {
    std::vector<std::string> steps;  ///< all, those before it was read included
    bool sinceImport = false;        ///< steps since then: its grey values may be others
    bool moved = false;              ///< turned, mirrored, sheared, cropped or binned
    bool sidesExplained = false;     ///< by a step, if the sides are others
};

[[nodiscard]] Changes changesOf(const Description& picture);

/// The value of an entry; empty without one.
[[nodiscard]] std::string entryOf(const Description& picture, std::string_view section,
                                  std::string_view key);

}  // namespace lumo::interchange::dicom
