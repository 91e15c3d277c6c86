// Convolution of a whole raster, piece by piece, border included.
#pragma once

#include "filters/weighted_sums.h"
#include "image/view.h"
#include "lumo_legacy.h"

namespace lumo {

/// @return 0; -2 kernel without weights
[[nodiscard]] inline int checkKernel(FImage kernel) {
    const bool usable = kernel.data != nullptr && kernel.width > 0 && kernel.height > 0;
    return usable ? LumoOk : LumoErrorParameter;
}

/// Calls useSums(x, y, sums, count) for pieces of rows that begin at (x, y) and whose pixels the
/// kernel can be laid on, and keepSource(x, y, count) for those of the border, which are all if it
/// does not fit; its weights are then not read. Every pixel once, in any order; the sums may be
/// changed. Throws std::bad_alloc before the first call.
///
/// With strips as wide as the source the calls may overwrite their pixels in the source.
template <class UseSums, class KeepSource>
void convolve(Source source, View<const float> kernel, int strip, UseSums&& useSums,
              KeepSource&& keepSource) {
    const auto keepRows = [&](int from, int to) {
        for (int y = from; y < to; ++y) keepSource(0, y, source.width);
    };
    if (kernel.width > source.width || kernel.height > source.height)
        return keepRows(0, source.height);

    const Reach x(kernel.width), y(kernel.height);
    WeightedSums sums(source, kernel, strip);
    sums.forEachPiece([&](int left, int top, float* values, int count) {
        useSums(left + x.before, top + y.before, values, count);
    });
    keepRows(0, y.before);
    for (int row = y.before; row < source.height - y.after; ++row) {
        keepSource(0, row, x.before);
        keepSource(source.width - x.after, row, x.after);
    }
    keepRows(source.height - y.after, source.height);
}

}  // namespace lumo
