// Medians of large windows by histograms.
#pragma once

#include "image/view.h"

namespace lumo {

/// Medians of the windows that begin at (x, y), x < width - n, y < height - n, 2 <= n <= 256; the
/// rest of the target is left alone. Works in place. Throws std::bad_alloc before anything is
/// written.
void medianByHistogram(Source source, Target target, int n);

}  // namespace lumo
