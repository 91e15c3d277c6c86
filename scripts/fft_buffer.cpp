// The transform buffer: its geometry, filling it with an image and making an image of it again.
// The formulas keep the written order of operations.
#include <fftw3.h>

#include <algorithm>
#include <array>
#include <limits>

#include "image/pixel.h"
#include "image/transpose.h"
#include "platform/huge_pages.h"
#include "platform/prefetch.h"
#include "platform/vectors.h"
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

template <int bytes>
LUMO_INLINE void widenExtentBody(const float* values, int count, Extent& extent) {
    constexpr int lanes = bytes / int{sizeof(float)};
    using Floats = Vector<float, bytes>;
    Floats least = extent.least - Floats{}, largest = extent.largest - Floats{};
    int i = 0;
    for (; i + lanes <= count; i += lanes) {
        prefetchAhead(values + i);
        Floats some;
        load(some, values + i);
        lower(least, some);
        raise(largest, some);
    }
    const auto take = [&](float low, float high) {
        extent.least = low < extent.least ? low : extent.least;
        extent.largest = high > extent.largest ? high : extent.largest;
    };
    for (int lane = 0; lane < lanes; ++lane) take(least[lane], largest[lane]);
    for (; i < count; ++i) take(values[i], values[i]);
}
LUMO_LEVELS(void, widenExtent, widenExtentBody<bytes>,
            (const float* values, int count, Extent& extent), (values, count, extent))

Extent extentOf(const float* buffer, const FftLayout& layout) {
    Extent extent;
    for (int x = 0; x < layout.width; ++x)
        widenExtent(buffer + std::ptrdiff_t{x} * layout.rowStride, layout.height, extent);
    return extent;
}

using Histogram = std::array<std::uint32_t, binCount>;

LUMO_INLINE void findBinsBody(const float* values, int count, float least, float factor,
                              std::int32_t* bins) {
    for (int i = 0; i < count; ++i) {
        const float bin = (values[i] - least) * factor;
        // False for NaN; the bin past the last counts what is not counted.
        bins[i] = static_cast<std::int32_t>(
            bin < static_cast<float>(binCount) ? bin : static_cast<float>(binCount));
    }
}
LUMO_LEVELS(void, findBins, findBinsBody,
            (const float* values, int count, float least, float factor, std::int32_t* bins),
            (values, count, least, factor, bins))

Histogram histogramOf(const float* buffer, const FftLayout& layout, Extent extent) {
    constexpr int blockLength = 512;
    std::int32_t bins[blockLength];
    // Two, as neighbours often fall into one bin.
    std::array<std::array<std::uint32_t, binCount + 1>, 2> counts{};
    const auto factor = static_cast<float>(
        binCount / (static_cast<double>(extent.largest) - static_cast<double>(extent.least)));
    for (int x = 0; x < layout.width; ++x)
        for (int y = 0; y < layout.height; y += blockLength) {
            const int count = std::min(blockLength, layout.height - y);
            findBins(buffer + std::ptrdiff_t{x} * layout.rowStride + y, count, extent.least, factor,
                     bins);
            for (int i = 0; i < count; ++i)
                ++counts[static_cast<std::size_t>(i & 1)][static_cast<std::size_t>(bins[i])];
        }
    Histogram histogram;
    for (std::size_t bin = 0; bin < histogram.size(); ++bin)
        histogram[bin] = counts[0][bin] + counts[1][bin];
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

/// Side of the squares that are turned over at once: their rows stay in the cache.
constexpr int block = 32;

/// Element (i, j) of `to` = element (j, i) of a block with `columns` elements in each of its
/// `rows`.
void transpose(const std::uint16_t* from, std::ptrdiff_t fromStride, int columns, int rows,
               std::uint16_t* to, std::ptrdiff_t toStride) {
    for (int y = 0; y < rows; y += squareSide)
        for (int x = 0; x < columns; x += squareSide) {
            const std::uint16_t* corner = from + y * fromStride + x;
            std::uint16_t* target = to + x * toStride + y;
            if (x + squareSide <= columns && y + squareSide <= rows) {
                transposeSquare(corner, fromStride, target, toStride);
                continue;
            }
            for (int j = 0; j < std::min(squareSide, rows - y); ++j)
                for (int i = 0; i < std::min(squareSide, columns - x); ++i)
                    target[i * toStride + j] = corner[j * fromStride + i];
        }
}

LUMO_INLINE void toPixelsBody(const float* values, int count, double offset, double factor,
                              std::uint16_t* to) {
    for (int i = 0; i < count; ++i)
        to[i] = toPixel((static_cast<double>(values[i]) - offset) * factor);
}
LUMO_LEVELS(void, toPixels, toPixelsBody,
            (const float* values, int count, double offset, double factor, std::uint16_t* to),
            (values, count, offset, factor, to))

/// Destination pixel (x, y) = (element (x, y) - offset) * factor.
void storeTransposed(Target destination, const float* buffer, const FftLayout& layout,
                     double offset, double factor) {
    std::uint16_t pixels[block][block];
    for (int y = 0; y < destination.height; y += block)
        for (int x = 0; x < destination.width; x += block) {
            const int columns = std::min(block, destination.width - x);
            const int rows = std::min(block, destination.height - y);
            for (int i = 0; i < columns; ++i)
                toPixels(buffer + std::ptrdiff_t{x + i} * layout.rowStride + y, rows, offset,
                         factor, pixels[i]);
            transpose(pixels[0], block, rows, columns, destination.row(y) + x, destination.width);
        }
}

/// Elements (x, y) = pixels (x, y) of the image.
void fillTransposed(Source source, float* buffer, const FftLayout& layout) {
    std::uint16_t pixels[block][block];
    for (int y = 0; y < source.height; y += block)
        for (int x = 0; x < source.width; x += block) {
            const int columns = std::min(block, source.width - x);
            const int rows = std::min(block, source.height - y);
            transpose(source.row(y) + x, source.width, columns, rows, pixels[0], block);
            for (int i = 0; i < columns; ++i)
                std::copy_n(pixels[i], rows, layout.row(buffer, x + i) + y);
        }
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
    const std::size_t bytes = static_cast<std::size_t>(layout->floats()) * sizeof(float);
    FftBuffer buffer(static_cast<float*>(fftwf_malloc(bytes)));
    if (buffer == nullptr) return buffer;
    preferHugePages(buffer.get(), bytes);
    fillTransposed(source, buffer.get(), *layout);
    for (int x = 0; x < source.width; ++x) {
        float* row = layout->row(buffer.get(), x);
        std::fill(row + source.height, row + layout->paddedHeight, row[source.height - 1]);
    }
    const float* last = layout->row(buffer.get(), source.width - 1);
    for (int x = source.width; x < layout->paddedWidth; ++x)
        std::copy_n(last, layout->paddedHeight, layout->row(buffer.get(), x));
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
