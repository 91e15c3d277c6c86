// Blending and stretching of float and 16-bit rasters: the steps of the unsharp masks.
// The formulas keep the written order of operations.
#include "filters/blend.h"

#include <algorithm>
#include <bit>

#include "filters/filters.h"
#include "image/pixel.h"
#include "image/size_check.h"
#include "image/view.h"
#include "platform/vectors.h"

namespace lumo {
namespace {

LUMO_INLINE float blend(double first, double second, double a, double b) {
    return static_cast<float>(a * first + b * second);
}

LUMO_INLINE std::uint16_t stretch(float value, float low, float gain) {
    return toPixel((static_cast<double>(value) - static_cast<double>(low)) *
                   static_cast<double>(gain));
}

LUMO_INLINE void widen(Range& range, float low, float high) {
    if (low < range.low) range.low = low;
    if (high > range.high) range.high = high;
}

LUMO_INLINE void split(float value, Halves to, int x) {
    const auto bits = std::bit_cast<std::uint32_t>(value);
    to.upper[x] = static_cast<std::uint16_t>(bits >> 16);
    to.lower[x] = static_cast<std::uint16_t>(bits);
}

template <int bytes>
LUMO_INLINE void blendHalvesBody(const float* first, const std::uint16_t* second, float a, float b,
                                 Halves to, int n, Range* range) {
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
        const auto bits = reinterpret_cast<Vector<std::uint32_t, bytes / 2>>(value);
        convert(pixels, bits >> 16);
        store(pixels, to.upper + x);
        convert(pixels, bits);
        store(pixels, to.lower + x);
    }
    for (int lane = 0; lane < lanes; ++lane) widen(*range, low[lane], high[lane]);
    for (; x < n; ++x) {
        const float value = blend(first[x], second[x], a, b);
        widen(*range, value, value);
        split(value, to, x);
    }
}
LUMO_LEVELS(void, blendHalves, blendHalvesBody<bytes>,
            (const float* first, const std::uint16_t* second, float a, float b, Halves to, int n,
             Range* range),
            (first, second, a, b, to, n, range))

LUMO_INLINE void blendPixelsBody(const std::uint16_t* first, const std::uint16_t* second, float a,
                                 float b, std::uint16_t* to, int n) {
    for (int x = 0; x < n; ++x)
        to[x] = toPixel(static_cast<double>(blend(first[x], second[x], a, b)));
}
LUMO_LEVELS(void, blendPixels, blendPixelsBody,
            (const std::uint16_t* first, const std::uint16_t* second, float a, float b,
             std::uint16_t* to, int n),
            (first, second, a, b, to, n))

LUMO_INLINE void stretchHalvesBody(Halves values, float low, float gain, std::uint16_t* to, int n) {
    for (int x = 0; x < n; ++x)
        to[x] =
            stretch(std::bit_cast<float>(std::uint32_t{values.upper[x]} << 16 | values.lower[x]),
                    low, gain);
}
LUMO_LEVELS(void, stretchHalves, stretchHalvesBody,
            (Halves values, float low, float gain, std::uint16_t* to, int n),
            (values, low, gain, to, n))

}  // namespace

void blendRow(const float* first, const std::uint16_t* second, float a, float b, Halves to, int n,
              Range* range) {
    blendHalves(first, second, a, b, to, n, range);
}

Stretch::Stretch(Range range)
    : low_(range.low),
      gain_(range.high > range.low ? static_cast<float>(65535.0 / (static_cast<double>(range.high) -
                                                                   static_cast<double>(range.low)))
                                   : 0.0F) {}  // which gives 0 for every value

std::uint16_t Stretch::operator()(float value) const {
    return stretch(value, low_, gain_);
}

void Stretch::row(Halves values, std::uint16_t* to, int n) const {
    stretchHalves(values, low_, gain_, to, n);
}

int Blend_FImage(FImage destination, FImage first, Image second, float a, float b) {
    if (Check_SameSize(destination, first) != LumoOk || Check_SameSize(first, second) != LumoOk)
        return LumoErrorImage;
    for (std::size_t i = 0; i < viewOf(destination).count(); ++i)
        destination.data[i] = blend(first.data[i], second.data[i], a, b);
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
    const std::size_t count = viewOf(destination).count();
    Range range = emptyRange;
    for (std::size_t i = 0; i < count; ++i) widen(range, source.data[i], source.data[i]);
    std::transform(source.data, source.data + count, destination.data, Stretch(range));
    return LumoOk;
}

}  // namespace lumo
