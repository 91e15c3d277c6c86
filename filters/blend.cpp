// Blending and stretching of float and 16-bit rasters: the steps of the unsharp masks.
// The formulas keep the written order of operations.
#include "filters/blend.h"

#include <algorithm>
#include <limits>

#include "filters/filters.h"
#include "filters/widths.h"
#include "image/size_check.h"
#include "image/view.h"

namespace lumo {
namespace {

LUMO_INLINE std::uint16_t clampToPixel(double value) {
    // The first comparison is false for NaN, which gives 0.
    const double positive = value > 0.0 ? value : 0.0;
    return static_cast<std::uint16_t>(
        static_cast<std::int32_t>(positive < 65535.0 ? positive : 65535.0));
}

LUMO_INLINE float blend(double first, double second, double a, double b) {
    return static_cast<float>(a * first + b * second);
}

LUMO_INLINE void widen(Range& range, float low, float high) {
    if (low < range.low) range.low = low;
    if (high > range.high) range.high = high;
}

template <int bytes>
LUMO_INLINE void blendFloatsBody(const float* first, const std::uint16_t* second, float a, float b,
                                 float* to, int n, Range* range) {
    constexpr int lanes = bytes / int{sizeof(double)};
    using Doubles = Vector<double, bytes>;
    using Floats = Vector<float, bytes / 2>;
    Floats low = range->low - Floats{}, high = range->high - Floats{};
    int x = 0;
    for (; x + lanes <= n; x += lanes) {
        Floats value;
        Vector<std::uint16_t, bytes / 4> pixels;
        load(value, first + x);
        load(pixels, second + x);
        Vector<std::int32_t, bytes / 2> numbers;  // doubles are made of these at once
        convert(numbers, pixels);
        Doubles u, v;
        convert(u, value);
        convert(v, numbers);
        convert(value, static_cast<double>(a) * u + static_cast<double>(b) * v);
        lower(low, value);
        raise(high, value);
        store(value, to + x);
    }
    for (int lane = 0; lane < lanes; ++lane) widen(*range, low[lane], high[lane]);
    for (; x < n; ++x) {
        to[x] = blend(first[x], second[x], a, b);
        widen(*range, to[x], to[x]);
    }
}
LUMO_WIDTHS(void, blendFloats, blendFloatsBody,
            (const float* first, const std::uint16_t* second, float a, float b, float* to, int n,
             Range* range),
            (first, second, a, b, to, n, range))

LUMO_INLINE void blendPixelsBody(const std::uint16_t* first, const std::uint16_t* second, float a,
                                 float b, std::uint16_t* to, int n) {
    for (int x = 0; x < n; ++x)
        to[x] = clampToPixel(static_cast<double>(blend(first[x], second[x], a, b)));
}
LUMO_LEVELS(void, blendPixels, blendPixelsBody,
            (const std::uint16_t* first, const std::uint16_t* second, float a, float b,
             std::uint16_t* to, int n),
            (first, second, a, b, to, n))

LUMO_INLINE void stretchBody(const float* values, float low, float gain, std::uint16_t* to, int n) {
    for (int x = 0; x < n; ++x)
        to[x] = clampToPixel((static_cast<double>(values[x]) - static_cast<double>(low)) *
                             static_cast<double>(gain));
}
LUMO_LEVELS(void, stretch, stretchBody,
            (const float* values, float low, float gain, std::uint16_t* to, int n),
            (values, low, gain, to, n))

}  // namespace

void blendRow(const float* first, const std::uint16_t* second, float a, float b, float* to, int n,
              Range* range) {
    blendFloats(first, second, a, b, to, n, range);
}

void blendRow(const std::uint16_t* first, const std::uint16_t* second, float a, float b,
              std::uint16_t* to, int n) {
    blendPixels(first, second, a, b, to, n);
}

Stretch::Stretch(Range range)
    : low_(range.low),
      gain_(range.high > range.low ? static_cast<float>(65535.0 / (static_cast<double>(range.high) -
                                                                   static_cast<double>(range.low)))
                                   : 0.0F) {}  // which gives 0 for every value

void Stretch::row(const float* values, std::uint16_t* to, int n) const {
    stretch(values, low_, gain_, to, n);
}

int Blend_FImage(FImage destination, FImage first, Image second, float a, float b) {
    if (Check_SameSize(destination, first) != LumoOk || Check_SameSize(first, second) != LumoOk)
        return LumoErrorImage;
    Range ignored = emptyRange;
    for (int y = 0; y < destination.height; ++y)
        blendRow(viewOf(first).row(y), viewOf(second).row(y), a, b, viewOf(destination).row(y),
                 destination.width, &ignored);
    return LumoOk;
}

int Blend_Image(Image destination, Image first, Image second, float a, float b) {
    if (Check_SameSize(destination, first) != LumoOk || Check_SameSize(first, second) != LumoOk)
        return LumoErrorImage;
    for (int y = 0; y < destination.height; ++y)
        blendPixels(viewOf(first).row(y), viewOf(second).row(y), a, b, viewOf(destination).row(y),
                    destination.width);
    return LumoOk;
}

int Stretch_FImage(Image destination, FImage source) {
    if (Check_SameSize(destination, source) != LumoOk) return LumoErrorImage;
    const View<const float> from = {source.data, source.width, source.height};
    Range range = emptyRange;
    for (const float* value = from.pixels; value != from.pixels + from.count(); ++value)
        widen(range, *value, *value);
    const Stretch stretched(range);
    for (int y = 0; y < from.height; ++y)
        stretched.row(from.row(y), viewOf(destination).row(y), from.width);
    return LumoOk;
}

}  // namespace lumo
