// Medians of small windows by sorting networks.
#pragma once

#include "image/view.h"

namespace lumo {

/// The largest window that is faster by networks than by histograms, at the level in force.
[[nodiscard]] int largestNetworkWindow();

/// Medians of the windows that begin at (x, y), x < width - n, y < height - n, where n is from 2 to
/// largestNetworkWindow(); the rest of the target is left alone. Works in place. Throws
/// std::bad_alloc before anything is written.
void medianByNetwork(Source source, Target target, int n);

}  // namespace lumo
