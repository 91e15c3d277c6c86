// Sums of a raster's neighbourhoods, weighted by a kernel: the arithmetic of the convolutions.
#pragma once

#include <memory>

#include "frame/file.h"
#include "image/view.h"

namespace lumo {

/// How far a kernel of `size` columns (rows) reaches from the pixel it is laid on.
struct Reach {
    int before, after;
    explicit Reach(int size) : before(size - 1 - size / 2), after(size / 2) {}
};

/// Computes the sums row by row, a band of rows at a time.
///
/// Each sum begins at 0 and takes one fused multiply-add in single precision per weight, columns
/// outer, rows inner: the same bits on every machine. Throws std::bad_alloc from the constructor
/// alone.
class WeightedSums {
public:
    static constexpr int bandRows = 4;

    /// @param weights  columns x rows weights, row by row; both sizes at least 1 and at most the
    ///                 source's
    WeightedSums(Source source, View<const float> weights);

    [[nodiscard]] int width() const { return width_; }  ///< sums per row

    /// Calls use(row, sums) for every row of sums, from the top; once.
    template <class Use>
    void forEachRow(Use&& use) {
        for (int first = 0; first < height_; first += bandRows) {
            sumRows(first);
            for (int k = 0; k < bandRows && first + k < height_; ++k)
                use(first + k, sums_.get() + std::ptrdiff_t{k} * stride_);
        }
    }

private:
    void sumRows(int first);
    void convertRows(int end);

    Source source_;
    int kernelWidth_, kernelHeight_, width_, height_, stride_;
    int ringRows_, converted_ = 0;
    std::unique_ptr<float[]> weights_;  // column by column
    std::unique_ptr<float[]> ring_;     // source rows as floats, row y at y % ringRows_
    std::unique_ptr<float[]> sums_;
    std::unique_ptr<const float*[]> rows_;  // the ring's rows that the band reads, from the top
};

}  // namespace lumo
