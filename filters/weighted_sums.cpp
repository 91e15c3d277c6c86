// Sums of neighbourhoods with one fused multiply-add per weight, four rows of sums at a time.
#include "filters/weighted_sums.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "platform/cpu_level.h"

namespace lumo {
namespace {

constexpr int lanes = 8;
constexpr int blockVectors = 3;
constexpr int blockColumns = lanes * blockVectors;
constexpr int bandRows = WeightedSums::bandRows;
// The band's first and last kernel rows meet at this height; lower kernels get rows of zeros below,
// which change no sum: v * 0 adds +0, and no sum is ever -0.
constexpr int leastHeight = bandRows - 1;

using Vector [[gnu::vector_size(lanes * sizeof(float))]] = float;
using Block = Vector[bandRows][blockVectors];

/// Adds source row `row` to the sums [from, to) of the band; sum k takes the weight of kernel row
/// row - k. The order of the calls gives each sum its kernel rows from the top down.
template <int from, int to>
LUMO_INLINE void addRow(Block& sums, const float* pixels, const float* weights, int row) {
    Vector values[blockVectors];
    std::memcpy(values, pixels, sizeof values);
#pragma GCC unroll 4
    for (int k = from; k < to; ++k) {
        const float weight = weights[row - k];
#pragma GCC unroll 3
        for (int v = 0; v < blockVectors; ++v)
#pragma GCC unroll 8
            for (int lane = 0; lane < lanes; ++lane)
                sums[k][v][lane] = std::fma(values[v][lane], weight, sums[k][v][lane]);
    }
}

LUMO_INLINE void sumBandBody(const float* const* rows, const float* weights, int kernelWidth,
                             int kernelHeight, int width, float* sums, int stride) {
    for (int x = 0; x < width; x += blockColumns) {
        Block block = {};
        const float* column = weights;
        for (int i = 0; i < kernelWidth; ++i, column += kernelHeight) {
            const int at = x + i;
            addRow<0, 1>(block, rows[0] + at, column, 0);
            addRow<0, 2>(block, rows[1] + at, column, 1);
            addRow<0, 3>(block, rows[2] + at, column, 2);
            for (int r = 3; r < kernelHeight; ++r) addRow<0, 4>(block, rows[r] + at, column, r);
            addRow<1, 4>(block, rows[kernelHeight] + at, column, kernelHeight);
            addRow<2, 4>(block, rows[kernelHeight + 1] + at, column, kernelHeight + 1);
            addRow<3, 4>(block, rows[kernelHeight + 2] + at, column, kernelHeight + 2);
        }
        for (int k = 0; k < bandRows; ++k)
            std::memcpy(sums + std::ptrdiff_t{k} * stride + x, block[k], sizeof block[k]);
    }
}
LUMO_LEVELS(void, sumBand, sumBandBody,
            (const float* const* rows, const float* weights, int kernelWidth, int kernelHeight,
             int width, float* sums, int stride),
            (rows, weights, kernelWidth, kernelHeight, width, sums, stride))

LUMO_INLINE void toFloatsBody(const std::uint16_t* from, float* to, int n) {
    for (int x = 0; x < n; ++x) to[x] = from[x];
}
LUMO_LEVELS(void, toFloats, toFloatsBody, (const std::uint16_t* from, float* to, int n),
            (from, to, n))

std::unique_ptr<float[]> zeros(std::size_t count) {
    return std::make_unique<float[]>(count);
}

}  // namespace

WeightedSums::WeightedSums(Source source, View<const float> weights)
    : source_(source),
      kernelWidth_(weights.width),
      kernelHeight_(std::max(weights.height, leastHeight)),
      width_(source.width - weights.width + 1),
      height_(source.height - weights.height + 1),
      // A block that begins in the last column may read and write a block beyond it.
      stride_(source.width + blockColumns),
      ringRows_(kernelHeight_ + bandRows - 1),
      weights_(
          zeros(static_cast<std::size_t>(kernelWidth_) * static_cast<std::size_t>(kernelHeight_))),
      ring_(zeros(static_cast<std::size_t>(ringRows_) * static_cast<std::size_t>(stride_))),
      sums_(zeros(static_cast<std::size_t>(bandRows) * static_cast<std::size_t>(stride_))),
      rows_(std::make_unique<const float*[]>(static_cast<std::size_t>(ringRows_))) {
    for (int j = 0; j < weights.height; ++j)
        for (int i = 0; i < weights.width; ++i)
            weights_[static_cast<std::size_t>(i) * static_cast<std::size_t>(kernelHeight_) +
                     static_cast<std::size_t>(j)] = weights.row(j)[i];
}

void WeightedSums::convertRows(int end) {
    for (; converted_ < std::min(end, source_.height); ++converted_)
        toFloats(source_.row(converted_),
                 ring_.get() + std::ptrdiff_t{converted_ % ringRows_} * stride_, source_.width);
}

void WeightedSums::sumRows(int first) {
    convertRows(first + ringRows_);
    // Rows below the source are stale or zero: they reach only sums that nobody asks for, or meet
    // the zero weights.
    for (int r = 0; r < ringRows_; ++r)
        rows_[static_cast<std::size_t>(r)] =
            ring_.get() + std::ptrdiff_t{(first + r) % ringRows_} * stride_;
    sumBand(rows_.get(), weights_.get(), kernelWidth_, kernelHeight_, width_, sums_.get(), stride_);
}

}  // namespace lumo
