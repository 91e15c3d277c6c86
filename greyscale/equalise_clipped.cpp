// Clipped histogram equalisation. Formulas keep their order of operations: it decides the last bit.
#include "greyscale/equalise_clipped.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

#include "frame/call_frame.h"
#include "image/size_check.h"
#include "platform/cpu_level.h"

namespace lumo {
namespace {

void clampSettings(EqualSettings& settings) {
    settings.strength = std::clamp(settings.strength, 0, 100);
    settings.low = std::clamp(settings.low, 0, lastGreyValue);
    settings.high = std::clamp(settings.high, 0, lastGreyValue);
    settings.fixLow = std::clamp(settings.fixLow, 0, 1);
    settings.fixHigh = std::clamp(settings.fixHigh, 0, 1);
    settings.weight = std::clamp(settings.weight, 0, 100);
    if (settings.low > settings.high)
        settings.low = settings.high = (settings.low + settings.high) / 2;
}

void findRange(const Histogram& histogram, std::uint32_t total, EqualSettings& settings) {
    constexpr int blockWidth = 50;
    constexpr double footRatio = 0.25;
    const auto stopCount = static_cast<std::uint64_t>(total * 0.5);
    const auto markCount = static_cast<std::uint64_t>(total * double{0.01F});
    const auto edge = [&](int direction) {
        return Find_HistoEdge(histogram, direction, blockWidth, footRatio, stopCount, markCount);
    };
    if (settings.fixLow == 0) settings.low = edge(+1);
    if (settings.fixHigh == 0) settings.high = edge(-1);
    if (settings.high < settings.low) std::swap(settings.low, settings.high);
}

LUMO_INLINE void clipRangeBody(std::uint32_t* counts, int first, int end, double clipScale,
                               double part) {
    for (int v = first; v < end; ++v) {
        const double value = std::min<double>(counts[v], clipScale / std::sqrt(v + 1.0));
        counts[v] = static_cast<std::uint32_t>(part * value);
    }
}
LUMO_LEVELS(void, clipRange, clipRangeBody,
            (std::uint32_t * counts, int first, int end, double clipScale, double part),
            (counts, first, end, clipScale, part))

/// Limits each count, the more the brighter its grey value, and damps those outside the range.
void clipCounts(Histogram& histogram, std::uint32_t total, const EqualSettings& settings) {
    const double exponent = (settings.strength - 50.0) * 3.0 / 50.0;
    const double clipScale = std::pow(10.0, exponent) * 0.00111 * total;
    clipRange(histogram.data(), 0, settings.low, clipScale, 0.01);
    clipRange(histogram.data(), settings.low, settings.high, clipScale, 1.0);
    clipRange(histogram.data(), settings.high, int{greyValues}, clipScale, 0.1);
}

/// Weighted sums of cumulative counts and a square-root curve, none of them negative.
LUMO_INLINE void addSquareRootsBody(const std::uint32_t* cumulative, double a, double b,
                                    std::uint16_t* lut) {
    for (int v = 0; v <= lastGreyValue; ++v) {
        const double value = cumulative[v] * a + std::sqrt(static_cast<double>(v)) * b;
        lut[v] = positiveToPixel(value);  // beyond full scale by no more than a rounding
    }
}
LUMO_LEVELS(void, addSquareRoots, addSquareRootsBody,
            (const std::uint32_t* cumulative, double a, double b, std::uint16_t* lut),
            (cumulative, a, b, lut))

/// From cumulative counts.
void fillLut(const Histogram& cumulative, int weight, Lut lut) {
    const double total = std::max(cumulative.back(), 1U);
    if (weight == 0) {
        for (std::size_t v = 0; v < greyValues; ++v)
            lut[v] = toPixel(cumulative[v] * (65535.0 / total));
        return;
    }
    const double w = weight / 100.0;
    const double a = (1.0 - w) * 65535.0 / total, b = w * 65535.0 / std::sqrt(65535.0);
    addSquareRoots(cumulative.data(), a, b, lut.data());
}

}  // namespace

int Find_HistoEdge(const Histogram& histogram, int direction, int width, double ratio,
                   std::uint64_t stopCount, std::uint64_t markCount) {
    const bool upward = direction > 0;
    const int start = upward ? 1 : lastGreyValue;
    const auto inRange = [=](int v) { return upward ? v < int{greyValues} - width : v > width; };
    std::uint64_t running = upward ? histogram[0] : 0, peak = 0;
    int mark = -1, position = start;
    for (; inRange(position); position += direction * width) {
        const int first = upward ? position : position - width + 1;
        const std::uint64_t block = countBetween(histogram, first, first + width - 1);
        running += block;
        if (mark < 0 && running > markCount) mark = position;
        if (running > stopCount) return mark;
        const std::uint64_t average = block / static_cast<std::uint64_t>(width);
        peak = std::max(peak, average);
        if (average < static_cast<std::uint64_t>(static_cast<double>(peak) * ratio)) break;
    }
    return position;
}

void Make_EqualLut3(Histogram& histogram, Lut lut, EqualSettings& settings) {
    clampSettings(settings);
    const std::uint32_t total = std::accumulate(histogram.begin(), histogram.end(), 0U);
    findRange(histogram, total, settings);
    clipCounts(histogram, total, settings);
    std::partial_sum(histogram.begin(), histogram.end(), histogram.begin());
    fillLut(histogram, settings.weight, lut);
}

namespace {

int equaliseClipped(const Image& destination, const Image& source, EqualSettings& settings) {
    return guarded([&] {
        const auto histogram = std::make_unique_for_overwrite<Histogram>();
        const auto lut = std::make_unique_for_overwrite<LutBlock>();
        raiseFailure(Make_Histogram(source, histogram->data()));
        Make_EqualLut3(*histogram, *lut, settings);
        raiseFailure(Apply_Lut(source, destination, lut->data()));
    });
}

}  // namespace
}  // namespace lumo

extern "C" int Equal_Histo3(Image destination, Image source, int32_t strength, int32_t* low,
                            int32_t* high, int32_t fixLow, int32_t fixHigh, int32_t weight) {
    if (lumo::Check_SameSize(destination, source) != LumoOk) return LumoErrorImage;
    if (low == nullptr || high == nullptr) return LumoErrorParameter;
    if (lumo::viewOf(source).count() == 0) return LumoOk;
    lumo::EqualSettings settings{strength, *low, *high, fixLow, fixHigh, weight};
    const int code = lumo::equaliseClipped(destination, source, settings);
    if (code != LumoOk) return code;
    *low = settings.low;
    *high = settings.high;
    return LumoOk;
}
