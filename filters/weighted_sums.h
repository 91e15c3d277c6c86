// Sums of a raster's neighbourhoods, weighted by a kernel: the arithmetic of the convolutions.
#pragma once

#include <algorithm>
#include <memory>

#include "image/view.h"

namespace lumo {

/// How far a kernel of `size` columns (rows) reaches from the pixel it is laid on.
struct Reach {
    int before, after;
    explicit Reach(int size) : before(size - 1 - size / 2), after(size / 2) {}
};

/// Computes the sums in strips of columns, strip by strip from the left, and in a strip band by
/// band of rows from the top.
///
/// Each sum begins at 0 and takes one fused multiply-add in single precision per weight, columns
/// outer, rows inner: the same bits on every machine. Throws std::bad_alloc from the constructor
/// alone.
class WeightedSums {
public:
    static constexpr int bandRows = 4;
    /// A strip whose rows stay in the nearest cache.
    static constexpr int fastestStrip = 768;

    /// @param weights  columns x rows weights, row by row; both sizes at least 1 and at most the
    ///                 source's
    /// @param strip    sums per row of a strip, at least 1
    WeightedSums(Source source, View<const float> weights, int strip);

    /// Calls use(x, y, sums, count) for pieces of the rows of sums that begin at (x, y) of the
    /// source, which together are all the sums; once. It may change the sums, and in a strip as
    /// wide as the source the row of the source below the middle of their kernels.
    template <class Use>
    void forEachPiece(Use&& use) {
        for (int x = 0; x < width_; x += strip_) {
            const int count = std::min(strip_, width_ - x);
            converted_ = 0;
            for (int y = 0; y < height_; y += bandRows) {
                sumBandAt(x, y, count);
                for (int k = 0; k < bandRows && y + k < height_; ++k)
                    use(x, y + k, sums_.get() + std::ptrdiff_t{k} * stride_, count);
            }
        }
    }

private:
    void sumBandAt(int x, int y, int count);
    void convertRows(int x, int end, int columns);

    Source source_;
    int kernelWidth_, kernelHeight_, width_, height_, strip_, stride_;
    int ringRows_, converted_ = 0;
    std::unique_ptr<float[]> weights_;  // column by column
    std::unique_ptr<float[]> ring_;     // the strip's rows as floats, row y at y % ringRows_
    std::unique_ptr<float[]> sums_;
    std::unique_ptr<const float*[]> rows_;  // the ring's rows that the band reads, from the top
};

}  // namespace lumo
