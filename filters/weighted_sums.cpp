// Sums of neighbourhoods with one fused multiply-add per weight, four rows of sums at a time.
#include "filters/weighted_sums.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>
#include <cmath>

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

/// The sums of a band: bandRows rows of `width` sums from the rows below it.
struct Band {
    const float* const* rows;  ///< the source's, kernelHeight + bandRows - 1 of them
    const float* weights;      ///< column by column
    int kernelWidth, kernelHeight, width;
    float* sums;
    int stride;
};

void sumBandPlainly(const Band& band) {
    for (int k = 0; k < bandRows; ++k)
        for (int x = 0; x < band.width; ++x) {
            float sum = 0.0F;
            const float* weight = band.weights;
            for (int i = 0; i < band.kernelWidth; ++i)
                for (int j = 0; j < band.kernelHeight; ++j)
                    sum = std::fma(band.rows[k + j][x + i], *weight++, sum);
            band.sums[std::ptrdiff_t{k} * band.stride + x] = sum;
        }
}

#if defined(__x86_64__)
// Twelve sums in registers; compilers do not keep them there unless the instructions are named.
#define LUMO_INLINE_AVX2 [[gnu::always_inline, gnu::target("avx2,fma,bmi,bmi2")]] static inline

/// Adds source row `row` to the sums [from, to) of the band; sum k takes the weight of kernel row
/// row - k. The order of the calls gives each sum its kernel rows from the top down.
template <int from, int to>
LUMO_INLINE_AVX2 void addRow(__m256 (&sums)[bandRows][blockVectors], const float* pixels,
                             const float* weights, int row) {
    const __m256 first = _mm256_loadu_ps(pixels), second = _mm256_loadu_ps(pixels + lanes),
                 third = _mm256_loadu_ps(pixels + 2 * lanes);
#pragma GCC unroll 4
    for (int k = from; k < to; ++k) {
        const __m256 weight = _mm256_broadcast_ss(weights + (row - k));
        sums[k][0] = _mm256_fmadd_ps(first, weight, sums[k][0]);
        sums[k][1] = _mm256_fmadd_ps(second, weight, sums[k][1]);
        sums[k][2] = _mm256_fmadd_ps(third, weight, sums[k][2]);
    }
}

LUMO_TARGET_AVX2 void sumBandAvx2(const Band& band) {
    const int height = band.kernelHeight;
    for (int x = 0; x < band.width; x += blockColumns) {
        __m256 sums[bandRows][blockVectors];
        for (auto& row : sums)
            for (__m256& sum : row) sum = _mm256_setzero_ps();
        const float* column = band.weights;
        for (int at = x; at < x + band.kernelWidth; ++at, column += height) {
            const float* const* rows = band.rows;
            addRow<0, 1>(sums, rows[0] + at, column, 0);
            addRow<0, 2>(sums, rows[1] + at, column, 1);
            addRow<0, 3>(sums, rows[2] + at, column, 2);
            for (int r = 3; r < height; ++r) addRow<0, 4>(sums, rows[r] + at, column, r);
            addRow<1, 4>(sums, rows[height] + at, column, height);
            addRow<2, 4>(sums, rows[height + 1] + at, column, height + 1);
            addRow<3, 4>(sums, rows[height + 2] + at, column, height + 2);
        }
        for (int k = 0; k < bandRows; ++k)
            for (int v = 0; v < blockVectors; ++v)
                _mm256_storeu_ps(band.sums + std::ptrdiff_t{k} * band.stride + x + v * lanes,
                                 sums[k][v]);
    }
}
#endif

void sumBand(const Band& band) {
#if defined(__x86_64__)
    if (cpuLevel() >= CpuLevel::Avx2) return sumBandAvx2(band);
#endif
    sumBandPlainly(band);
}

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
    sumBand(
        {rows_.get(), weights_.get(), kernelWidth_, kernelHeight_, width_, sums_.get(), stride_});
}

}  // namespace lumo
