// The transform buffer: its geometry, filling it with an image and making an image of it again.
// The formulas keep the written order of operations.
#include <fftw3.h>

#include <algorithm>
#include <array>
#include <limits>

#include "image/pixel.h"
#include "scripts/band_filter.h"

namespace lumo {
namespace {

constexpr int binCount = 1000;

/// The filtered image's values that become 0 and 65535.
struct Window {
    float low, high;
};

struct Extent {
    float least = std::numeric_limits<float>::infinity();
    float largest = -std::numeric_limits<float>::infinity();
};

Extent extentOf(const float* buffer, const FftLayout& layout) {
    Extent extent;
    for (int x = 0; x < layout.width; ++x) {
        const float* row = buffer + std::ptrdiff_t{x} * layout.rowStride;
        for (int y = 0; y < layout.height; ++y) {
            extent.least = row[y] < extent.least ? row[y] : extent.least;
            extent.largest = row[y] > extent.largest ? row[y] : extent.largest;
        }
    }
    return extent;
}

using Histogram = std::array<std::uint32_t, binCount>;

Histogram histogramOf(const float* buffer, const FftLayout& layout, Extent extent) {
    Histogram histogram{};
    const auto factor = static_cast<float>(
        binCount / (static_cast<double>(extent.largest) - static_cast<double>(extent.least)));
    for (int x = 0; x < layout.width; ++x) {
        const float* row = buffer + std::ptrdiff_t{x} * layout.rowStride;
        for (int y = 0; y < layout.height; ++y) {
            const float bin = (row[y] - extent.least) * factor;
            if (bin >= 0.0F && bin < static_cast<float>(binCount))
                ++histogram[static_cast<std::size_t>(bin)];
        }
    }
    return histogram;
}

/// Cuts off the darkest and the brightest per cent; a bin stands for its lower edge.
Window windowOf(const Histogram& histogram, Extent extent, std::uint64_t pixels) {
    const std::uint64_t threshold = pixels / 100;
    int low = 0, high = binCount - 1;
    for (std::uint64_t sum = 0; low < binCount; ++low)
        if ((sum += histogram[static_cast<std::size_t>(low)]) > threshold) break;
    for (std::uint64_t sum = 0; high >= 0; --high)
        if ((sum += histogram[static_cast<std::size_t>(high)]) > threshold) break;
    const auto edge = [&](int bin) {
        const float range = extent.largest - extent.least;
        return static_cast<float>(bin) * range / static_cast<float>(binCount) + extent.least;
    };
    return {edge(low), edge(high)};
}

/// Destination pixel (x, y) = (element (x, y) - offset) * factor.
void storeTransposed(Target destination, const float* buffer, const FftLayout& layout,
                     double offset, double factor) {
    for (int y = 0; y < destination.height; ++y)
        for (int x = 0; x < destination.width; ++x)
            destination.row(y)[x] = toPixel(
                (static_cast<double>(buffer[std::ptrdiff_t{x} * layout.rowStride + y]) - offset) *
                factor);
}

}  // namespace

int Next_FftSize(int n) {
    for (;; ++n) {
        int rest = n;
        for (const int prime : {2, 3, 5, 7})
            while (rest % prime == 0) rest /= prime;
        if (rest == 1) return n;
    }
}

FftLayout layoutOf(int width, int height) {
    const int paddedHeight = Next_FftSize(height);
    return {width, height, Next_FftSize(width), paddedHeight, 2 * (paddedHeight / 2 + 1)};
}

void FftRelease::operator()(float* buffer) const noexcept {
    fftwf_free(buffer);
}

FftBuffer Make_FftBuffer(Source source, FftLayout* layout) {
    *layout = layoutOf(source.width, source.height);
    FftBuffer buffer(static_cast<float*>(
        fftwf_malloc(static_cast<std::size_t>(layout->floats()) * sizeof(float))));
    if (buffer == nullptr) return buffer;
    for (int x = 0; x < layout->paddedWidth; ++x) {
        float* row = layout->row(buffer.get(), x);
        const std::uint16_t* column = source.pixels + std::min(x, source.width - 1);
        for (int y = 0; y < layout->paddedHeight; ++y)
            row[y] = column[std::ptrdiff_t{std::min(y, source.height - 1)} * source.width];
    }
    return buffer;
}

void fftw_real2LUMO(Target destination, const float* buffer, const FftLayout& layout, float scale) {
    if (scale != 0.0F) {
        storeTransposed(destination, buffer, layout, 0.0, static_cast<double>(scale));
        return;
    }
    const Extent extent = extentOf(buffer, layout);
    if (!(extent.largest > extent.least)) {
        std::fill_n(destination.pixels, destination.count(), std::uint16_t{0});
        return;
    }
    const Window window =
        windowOf(histogramOf(buffer, layout, extent), extent, destination.count());
    // A window of no width makes a gain of infinity, and of values a step.
    const float gain = 65535.0F / (window.high - window.low);
    storeTransposed(destination, buffer, layout, static_cast<double>(window.low),
                    static_cast<double>(gain));
}

}  // namespace lumo
