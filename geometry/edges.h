// The edges of the exposed area, seen from the four sides.
#pragma once

#include <cstdint>
#include <vector>

#include "image/view.h"

namespace lumo {

/// Per column (top, bottom) or row (left, right) the outermost exposed pixel. A line without any
/// has the last row in `top`, the width in `left` and 0 in the others.
struct EdgeProfiles {
    std::vector<std::uint16_t> top, bottom, left, right;
};

[[nodiscard]] EdgeProfiles findEdges(Source image);

}  // namespace lumo
