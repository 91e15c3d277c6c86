// Sums of neighbourhoods with one fused multiply-add per weight, four rows of sums at a time.
#include "filters/weighted_sums.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "platform/vectors.h"

namespace lumo {
namespace {

constexpr int blockVectors = 3;
constexpr int bandRows = WeightedSums::bandRows;
/// What the vectors of a block cover at the highest level.
constexpr int mostBlockColumns = blockVectors * avx512Bytes / int{sizeof(float)};
// The band's first and last kernel rows meet at this height; lower kernels get rows of zeros below,
// which change no sum: v * 0 adds +0, and no sum is ever -0.
constexpr int leastHeight = bandRows - 1;

/// The sums of a band: bandRows rows of `width` sums from the rows below it.
struct Band {
    const float* const* rows;  ///< the source's, kernelHeight + bandRows - 1 of them
    const float* weights;      ///< column by column
    int kernelWidth, kernelHeight, width;
    float* sums;
    int stride;
};

/// Compilers make one instruction of it where there is one.
template <class Floats, std::size_t... lane>
LUMO_INLINE void addProduct(Floats& sum, const Floats& values, float weight,
                            std::index_sequence<lane...>) {
    sum = Floats{std::fma(values[lane], weight, sum[lane])...};
}

/// Twelve sums in registers.
template <int bytes>
struct Block {
    static constexpr int lanes = bytes / int{sizeof(float)};
    using Floats = Vector<float, bytes>;
    Floats sums[bandRows][blockVectors];
};

/// Adds source row `row` to the sums [from, to) of the band; sum k takes the weight of kernel row
/// row - k. The order of the calls gives each sum its kernel rows from the top down.
template <int from, int to, int bytes>
LUMO_INLINE void addRow(Block<bytes>& block, const float* pixels, const float* weights, int row) {
    constexpr int lanes = Block<bytes>::lanes;
    typename Block<bytes>::Floats values[blockVectors];
#pragma GCC unroll 3
    for (int v = 0; v < blockVectors; ++v) {
        load(values[v], pixels + v * lanes);
        keep(values[v]);
    }
#pragma GCC unroll 4
    for (int k = from; k < to; ++k)
#pragma GCC unroll 3
        for (int v = 0; v < blockVectors; ++v)
            addProduct(block.sums[k][v], values[v], weights[row - k],
                       std::make_index_sequence<std::size_t{lanes}>());
}

template <int bytes>
LUMO_INLINE void sumBandBody(const Band& band) {
    constexpr int lanes = Block<bytes>::lanes;
    const int height = band.kernelHeight;
    for (int x = 0; x < band.width; x += lanes * blockVectors) {
        Block<bytes> block{};
        const float* column = band.weights;
        for (int at = x; at < x + band.kernelWidth; ++at, column += height) {
            const float* const* rows = band.rows;
            addRow<0, 1>(block, rows[0] + at, column, 0);
            addRow<0, 2>(block, rows[1] + at, column, 1);
            addRow<0, 3>(block, rows[2] + at, column, 2);
            for (int r = 3; r < height; ++r) addRow<0, 4>(block, rows[r] + at, column, r);
            addRow<1, 4>(block, rows[height] + at, column, height);
            addRow<2, 4>(block, rows[height + 1] + at, column, height + 1);
            addRow<3, 4>(block, rows[height + 2] + at, column, height + 2);
        }
#pragma GCC unroll 4
        for (int k = 0; k < bandRows; ++k)
#pragma GCC unroll 3
            for (int v = 0; v < blockVectors; ++v)
                store(block.sums[k][v],
                      band.sums + std::ptrdiff_t{k} * band.stride + x + v * lanes);
    }
}
LUMO_LEVELS(void, sumBand, sumBandBody<bytes>, (const Band& band), (band))

/// Asks for the pixels that follow below, `ahead` pixels further, as memory is slow to give them.
LUMO_INLINE void toFloatsBody(const std::uint16_t* from, float* to, int n, std::ptrdiff_t ahead) {
    constexpr int line = 32;
    for (int x = 0; x < n; x += line) __builtin_prefetch(from + x + ahead);
    for (int x = 0; x < n; ++x) to[x] = from[x];
}
LUMO_LEVELS(void, toFloats, toFloatsBody,
            (const std::uint16_t* from, float* to, int n, std::ptrdiff_t ahead),
            (from, to, n, ahead))

std::unique_ptr<float[]> zeros(int rows, int columns) {
    return std::make_unique<float[]>(static_cast<std::size_t>(rows) *
                                     static_cast<std::size_t>(columns));
}

}  // namespace

WeightedSums::WeightedSums(Source source, View<const float> weights, int strip)
    : source_(source),
      kernelWidth_(weights.width),
      kernelHeight_(std::max(weights.height, leastHeight)),
      width_(source.width - weights.width + 1),
      height_(source.height - weights.height + 1),
      strip_(std::min(width_, strip)),
      // A block that begins in the last column reads and writes up to a block beyond it.
      stride_(strip_ + kernelWidth_ + mostBlockColumns),
      ringRows_(kernelHeight_ + bandRows - 1),
      weights_(zeros(kernelHeight_, kernelWidth_)),
      ring_(zeros(ringRows_, stride_)),
      sums_(zeros(bandRows, stride_)),
      rows_(std::make_unique<const float*[]>(static_cast<std::size_t>(ringRows_))) {
    for (int j = 0; j < weights.height; ++j)
        for (int i = 0; i < weights.width; ++i)
            weights_[static_cast<std::size_t>(i) * static_cast<std::size_t>(kernelHeight_) +
                     static_cast<std::size_t>(j)] = weights.row(j)[i];
}

void WeightedSums::convertRows(int x, int end, int columns) {
    for (; converted_ < std::min(end, source_.height); ++converted_)
        toFloats(source_.row(converted_) + x,
                 ring_.get() + std::ptrdiff_t{converted_ % ringRows_} * stride_, columns,
                 std::ptrdiff_t{bandRows} * source_.width);
}

void WeightedSums::sumBandAt(int x, int y, int count) {
    convertRows(x, y + ringRows_, count + kernelWidth_ - 1);
    // Rows below the source are stale or zero: they reach only sums that nobody asks for, or meet
    // the zero weights.
    for (int r = 0; r < ringRows_; ++r)
        rows_[static_cast<std::size_t>(r)] =
            ring_.get() + std::ptrdiff_t{(y + r) % ringRows_} * stride_;
    sumBand(
        {rows_.get(), weights_.get(), kernelWidth_, kernelHeight_, count, sums_.get(), stride_});
}

}  // namespace lumo
