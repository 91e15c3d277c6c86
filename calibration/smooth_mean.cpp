// Box means in place. The sums of the window's rows are kept per column and moved on by one row in
// and one row out; a row's window sums come from them one by one, or for wider windows by doubling:
// sums of 2, 4, ... neighbours. A smoothed row waits in a ring of half a window's rows until no
// later window needs the old values.
#include "calibration/smooth_mean.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "image/view.h"
#include "platform/cpu_level.h"
#include "platform/prefetch.h"

namespace lumo {
namespace {

/// Half the window's sides, without the middle.
struct Window {
    int halfX, halfY;
    [[nodiscard]] int width() const { return 2 * halfX + 1; }
    [[nodiscard]] int height() const { return 2 * halfY + 1; }
    [[nodiscard]] std::int64_t count() const { return std::int64_t{width()} * height(); }
};

template <class Sum>
LUMO_INLINE void addRow(Sum* __restrict sums, const std::uint16_t* __restrict in, int count) {
    for (int x = 0; x < count; ++x) sums[x] += static_cast<Sum>(in[x]);
}

/// The rows that come in are fetched ahead, as each is read here for the first time.
template <class Sum>
LUMO_INLINE void exchangeRow(Sum* __restrict sums, const std::uint16_t* __restrict in,
                             const std::uint16_t* __restrict out, int count) {
    forEachPixel(in, count, [=](int x) { sums[x] += static_cast<Sum>(in[x] - out[x]); });
}

template <class Sum>
LUMO_INLINE void addPairs(const Sum* from, int ahead, Sum* __restrict to, int count) {
    for (int x = 0; x < count; ++x) to[x] = from[x] + from[x + ahead];
}

template <class Sum>
LUMO_INLINE void addTo(Sum* __restrict to, const Sum* __restrict from, int count) {
    for (int x = 0; x < count; ++x) to[x] += from[x];
}

/// Sums of `length` neighbours, beginning at each of 0 to count - 1: `sums` or one of the work
/// rows.
/// @param sums  count + length - 1 values
template <class Sum>
LUMO_INLINE const Sum* windowSums(const Sum* sums, int length, int count, Sum* work, Sum* spare) {
    const Sum* reached = sums;
    int bit = 1, covered = 1;
    while (2 * bit <= length) bit *= 2;
    // The length's binary digits from the second on: double, and add one more for a 1.
    for (bit /= 2; bit > 0; bit /= 2) {
        const bool oneMore = (length & bit) != 0;
        const int next = 2 * covered + (oneMore ? 1 : 0);
        const int needed = count + length - next;
        addPairs(reached, covered, work, needed);
        if (oneMore) addTo(work, sums + 2 * covered, needed);
        reached = work;
        std::swap(work, spare);
        covered = next;
    }
    return reached;
}

/// A sum divided by the window's count, cut. Half a unit more keeps the product with the reciprocal
/// further from a whole number than its rounding can reach: single precision is enough for counts
/// below 64, double for all.
template <class Real, class Sum>
LUMO_INLINE std::uint16_t quotient(Sum sum, Real reciprocal) {
    return static_cast<std::uint16_t>(
        static_cast<int>((static_cast<Real>(sum) + Real{0.5}) * reciprocal));
}

/// Means of windows of `width` columns, straight from the sums of columns.
template <int width, class Real, class Sum>
LUMO_INLINE void narrowMeans(const Sum* __restrict sums, Real reciprocal,
                             std::uint16_t* __restrict means, int count) {
    for (int x = 0; x < count; ++x) {
        Sum sum = sums[x];
        for (int i = 1; i < width; ++i) sum += sums[x + i];
        means[x] = quotient(sum, reciprocal);
    }
}

template <class Real, class Sum>
LUMO_INLINE void rowMeans(const Sum* sums, Window window, Sum* work, Sum* spare,
                          std::uint16_t* means, int count) {
    const Real reciprocal = Real{1} / static_cast<Real>(window.count());
    if (window.width() == 3) return narrowMeans<3>(sums, reciprocal, means, count);
    if (window.width() == 5) return narrowMeans<5>(sums, reciprocal, means, count);
    if (window.width() == 7) return narrowMeans<7>(sums, reciprocal, means, count);
    const Sum* windows = windowSums(sums, window.width(), count, work, spare);
    narrowMeans<1>(windows, reciprocal, means, count);
}

template <class Sum, class Real>
LUMO_INLINE void smooth(Target raster, Window window, Sum* sums, std::uint16_t* ring) {
    const int width = raster.width, height = raster.height;
    const int count = width - 2 * window.halfX, slots = window.halfY + 1;
    Sum *work = sums + width, *spare = work + width;
    const auto slotOf = [=](int y) { return ring + std::ptrdiff_t{y % slots} * count; };
    const auto writeBack = [=](int y) {
        std::copy_n(slotOf(y), count, raster.row(y) + window.halfX);
    };
    const int first = window.halfY, last = height - 1 - window.halfY;
    for (int y = 0; y < window.height(); ++y) addRow(sums, raster.row(y), width);
    for (int y = first; y <= last; ++y) {
        rowMeans<Real>(sums, window, work, spare, slotOf(y), count);
        if (y == last) break;
        const int leaving = y - window.halfY;
        exchangeRow(sums, raster.row(y + window.halfY + 1), raster.row(leaving), width);
        if (leaving >= first) writeBack(leaving);
    }
    for (int y = std::max(first, last - window.halfY); y <= last; ++y) writeBack(y);
}

#define SMOOTH_PARAMETERS(Sum) (Target raster, Window window, Sum * sums, std::uint16_t * ring)
#define SMOOTH_ARGUMENTS (raster, window, sums, ring)
LUMO_LEVELS(void, smoothSmall, (smooth<std::int32_t, float>), SMOOTH_PARAMETERS(std::int32_t),
            SMOOTH_ARGUMENTS)
LUMO_LEVELS(void, smoothMiddle, (smooth<std::int32_t, double>), SMOOTH_PARAMETERS(std::int32_t),
            SMOOTH_ARGUMENTS)
LUMO_LEVELS(void, smoothLarge, (smooth<std::int64_t, double>), SMOOTH_PARAMETERS(std::int64_t),
            SMOOTH_ARGUMENTS)

template <class Sum>
void smoothBy(void (*kernel)(Target, Window, Sum*, std::uint16_t*), Target raster, Window window) {
    const auto width = static_cast<std::size_t>(raster.width);
    std::vector<Sum> sums(3 * width);  // per column, and two work rows
    std::vector<std::uint16_t> ring(width * static_cast<std::size_t>(window.halfY + 1));
    kernel(raster, window, sums.data(), ring.data());
}

}  // namespace

void Smooth_Mean(Image image, std::uint16_t kernelWidth, std::uint16_t kernelHeight) {
    constexpr int singlePrecision = 63;  // pixels of a window, see quotient()
    constexpr int sums32 = 32768;        // of 65535 each stay below 2^31
    const Window window{kernelWidth / 2, kernelHeight / 2};
    if (window.count() == 1 || window.width() > image.width || window.height() > image.height)
        return;
    const Target raster = viewOf(image);
    if (window.count() <= singlePrecision)
        smoothBy<std::int32_t>(smoothSmall, raster, window);
    else if (window.count() <= sums32)
        smoothBy<std::int32_t>(smoothMiddle, raster, window);
    else
        smoothBy<std::int64_t>(smoothLarge, raster, window);
}

}  // namespace lumo
