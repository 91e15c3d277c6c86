// Convolution of a whole raster, row by row, border included.
#pragma once

#include "filters/weighted_sums.h"
#include "image/view.h"
#include "lumo_legacy.h"

namespace lumo {

/// The 16-bit pixels of sums: clamped, truncated, 0 for NaN. The place `next` pixels further is
/// written soon.
void storeSums(const float* sums, std::uint16_t* to, int n, std::ptrdiff_t next);
/// The sums as they are.
void storeSums(const float* sums, float* to, int n, std::ptrdiff_t next);

/// @return 0; -2 kernel without weights
[[nodiscard]] inline int checkKernel(FImage kernel) {
    const bool usable = kernel.data != nullptr && kernel.width > 0 && kernel.height > 0;
    return usable ? LumoOk : LumoErrorParameter;
}

/// Fills the target with the sums where the kernel lies inside the raster and with the source's
/// values elsewhere, everywhere if it does not fit; its weights are then not read. Calls
/// done(y, from, to) for pieces of rows when they are complete, once for every pixel, in any order.
/// Throws std::bad_alloc before anything is written.
template <class Pixel, class Done>
void convolve(Source source, View<Pixel> target, View<const float> kernel, Done&& done) {
    const auto copy = [&](int y, int from, int to) {
        for (int x = from; x < to; ++x) target.row(y)[x] = source.row(y)[x];
        done(y, from, to);
    };
    const auto copyRows = [&](int from, int to) {
        for (int y = from; y < to; ++y) copy(y, 0, source.width);
    };
    if (kernel.width > source.width || kernel.height > source.height)
        return copyRows(0, source.height);

    const Reach x(kernel.width), y(kernel.height);
    WeightedSums sums(source, kernel);
    const std::ptrdiff_t nextBand = std::ptrdiff_t{WeightedSums::bandRows} * target.width;
    sums.forEachPiece([&](int left, int top, const float* values, int count) {
        left += x.before;
        top += y.before;
        storeSums(values, target.row(top) + left, count, nextBand);
        done(top, left, left + count);
    });
    copyRows(0, y.before);
    for (int row = y.before; row < source.height - y.after; ++row) {
        copy(row, 0, x.before);
        copy(row, source.width - x.after, source.width);
    }
    copyRows(source.height - y.after, source.height);
}

}  // namespace lumo
