// Medians of small windows by sorting networks.
#pragma once

#include "image/view.h"

namespace lumo {

/// Windows that the networks serve: 2 to this.
constexpr int largestNetworkWindow = 12;

/// Medians of the windows that begin at (x, y), x < width - n, y < height - n; the rest of the
/// target is left alone. Works in place. Throws std::bad_alloc before anything is written.
void medianByNetwork(Source source, Target target, int n);

}  // namespace lumo
