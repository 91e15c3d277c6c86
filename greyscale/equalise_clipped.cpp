// Clipped histogram equalisation. Formulas keep their order of operations: it decides the last bit.
#include "greyscale/equalise_clipped.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

#include "frame/call_frame.h"
#include "image/size_check.h"

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

/// Limits each count, the more the brighter its grey value, and damps those outside the range.
void clipCounts(Histogram& histogram, std::uint32_t total, const EqualSettings& settings) {
    const double exponent = (settings.strength - 50.0) * 3.0 / 50.0;
    const double clipScale = std::pow(10.0, exponent) * 0.00111 * total;
    const auto clipRange = [&](int first, int end, double part) {
        for (int v = first; v < end; ++v) {
            std::uint32_t& count = histogram[static_cast<std::size_t>(v)];
            const double value = std::min<double>(count, clipScale / std::sqrt(v + 1.0));
            count = static_cast<std::uint32_t>(part * value);
        }
    };
    clipRange(0, settings.low, 0.01);
    clipRange(settings.low, settings.high, 1.0);
    clipRange(settings.high, int{greyValues}, 0.1);
}

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
    for (std::size_t v = 0; v < greyValues; ++v)
        lut[v] = toPixel(cumulative[v] * a + std::sqrt(static_cast<double>(v)) * b);
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
