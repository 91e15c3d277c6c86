// Grey values as signal: dark frame, offset, response table; clipped pixels.
#include "quality/signal.h"

#include <algorithm>
#include <cmath>

#include "image/pixel.h"
#include "measure/region.h"
#include "platform/cpu_level.h"
#include "quality/record.h"

namespace lumo {
namespace {

LUMO_INLINE void widenBody(const std::uint16_t* pixels, int count, std::uint16_t& low,
                           std::uint16_t& high) {
    std::uint16_t least = low, most = high;
    for (int i = 0; i < count; ++i) {
        least = std::min(least, pixels[i]);
        most = std::max(most, pixels[i]);
    }
    low = least;
    high = most;
}
LUMO_LEVELS(void, widenExtremes, widenBody,
            (const std::uint16_t* pixels, int count, std::uint16_t& low, std::uint16_t& high),
            (pixels, count, low, high))

LUMO_INLINE void shiftBody(const std::uint16_t* pixels, int count, double offset, double* to) {
    for (int i = 0; i < count; ++i) to[i] = pixels[i] - offset;
}
LUMO_LEVELS(void, shiftSignal, shiftBody,
            (const std::uint16_t* pixels, int count, double offset, double* to),
            (pixels, count, offset, to))

/// Pixels at the next grey value that occurs, in steps from one end; 0 if there is none.
std::uint64_t neighbourCount(const std::vector<std::uint64_t>& histogram, int value, int step) {
    for (value += step; value >= 0 && value <= lastGreyValue; value += step)
        if (histogram[static_cast<std::size_t>(value)] > 0)
            return histogram[static_cast<std::size_t>(value)];
    return 0;
}

/// Strictly rising or falling throughout, and finite.
bool isMonotone(const double* values, std::int32_t count) {
    const bool rising = values[1] > values[0];
    for (std::int32_t i = 0; i < count; ++i) {
        if (!std::isfinite(values[i])) return false;
        if (i > 0 && (rising ? values[i] <= values[i - 1] : values[i] >= values[i - 1]))
            return false;
    }
    return true;
}

}  // namespace

std::vector<Run> runsIn(const Image& image, Roi& region) {
    if (image.data == nullptr || image.width == 0 || image.height == 0) raise(LumoErrorImage);
    Normalize_Roi(region);
    if (Check_Roi(image, region) != LumoOk) refuse(LumoReasonRegionOutside);
    std::vector<Run> runs;
    for (int y = region.y1; y <= region.y2; ++y)
        runs.push_back({region.x1, y, region.x2 - region.x1 + 1});
    return runs;
}

void Extremes::look(int row) {
    Ends ends{65535, 0};
    widenExtremes(image_.row(row), image_.width, ends.low, ends.high);
    rows_.push_back(ends);
    all_ = {std::min(all_.low, ends.low), std::max(all_.high, ends.high)};
}

void Extremes::lookAtAll() {
    for (int row = static_cast<int>(rows_.size()); row < image_.height; ++row) look(row);
}

void Extremes::refuseClipped(const std::vector<Run>& runs) const {
    // In the smallest regions two pixels of a noise may happen to be equal: those are not many.
    constexpr std::uint64_t least = 5;
    std::uint64_t pixels = 0, lows = 0, highs = 0;
    for (const Run& run : runs) {
        pixels += static_cast<std::uint64_t>(run.count);
        const Ends& ends = rows_[static_cast<std::size_t>(run.y)];
        if (ends.low != all_.low && ends.high != all_.high) continue;
        const std::uint16_t* first = image_.row(run.y) + run.x;
        lows += static_cast<std::uint64_t>(std::count(first, first + run.count, all_.low));
        highs += static_cast<std::uint64_t>(std::count(first, first + run.count, all_.high));
    }
    const auto many = [=](std::uint64_t count) { return count >= least && count * 1000 > pixels; };
    if (!many(lows) && !many(highs)) return;
    std::vector<std::uint64_t> histogram(greyValues);
    for (const Run& run : runs)
        std::for_each_n(image_.row(run.y) + run.x, run.count,
                        [&](std::uint16_t pixel) { ++histogram[pixel]; });
    if ((many(lows) && lows > neighbourCount(histogram, all_.low, 1)) ||
        (many(highs) && highs > neighbourCount(histogram, all_.high, -1)))
        refuse(LumoReasonClipped);
}

void refuseClipped(const Image& image, const std::vector<Run>& runs) {
    Extremes extremes(image);
    extremes.lookAtAll();
    extremes.refuseClipped(runs);
}

Signal::Signal(const Image& image, const LumoSignal* given) : image_(asSource(viewOf(image))) {
    if (given == nullptr) return;
    requireRecord(given);
    if (!std::isfinite(given->offset)) raise(LumoErrorParameter);
    offset_ = given->offset;
    if (given->dark != nullptr) {
        const Image& dark = *given->dark;
        if (dark.data == nullptr) raise(LumoErrorImage);
        if (dark.width != image.width || dark.height != image.height) refuse(LumoReasonSizes);
        dark_ = dark.data;
    }
    if (given->responseCount != 0) readResponse(*given);
}

void Signal::readResponse(const LumoSignal& given) {
    const std::int32_t count = given.responseCount;
    if (given.responseGrey == nullptr || given.responseSignal == nullptr) raise(LumoErrorParameter);
    if (count < 2 || !isMonotone(given.responseGrey, count) ||
        !isMonotone(given.responseSignal, count))
        refuse(LumoReasonResponseTable);
    grey_.assign(given.responseGrey, given.responseGrey + count);
    signal_.assign(given.responseSignal, given.responseSignal + count);
    if (grey_.front() > grey_.back()) {
        std::ranges::reverse(grey_);
        std::ranges::reverse(signal_);
    }
    if (dark_ != nullptr) return;
    table_.resize(greyValues);
    for (std::size_t v = 0; v < greyValues; ++v)
        table_[v] = respond(static_cast<double>(v) - offset_);
}

/// NaN outside the table.
double Signal::respond(double grey) const {
    if (grey_.empty()) return grey;
    if (!(grey >= grey_.front() && grey <= grey_.back())) return missing;
    const auto above = std::ranges::upper_bound(grey_, grey);
    const auto i = static_cast<std::size_t>(
        std::clamp<std::ptrdiff_t>(above - grey_.begin(), 1, std::ssize(grey_) - 1));
    const double part = (grey - grey_[i - 1]) / (grey_[i] - grey_[i - 1]);
    return signal_[i - 1] + part * (signal_[i] - signal_[i - 1]);
}

void Signal::read(const Run& run, double* to) const {
    const std::uint16_t* pixels = image_.row(run.y) + run.x;
    if (isShift()) {
        shiftSignal(pixels, run.count, offset_, to);
        return;
    }
    if (dark_ != nullptr) {
        const std::uint16_t* dark = dark_ + (pixels - image_.pixels);
        for (int i = 0; i < run.count; ++i) to[i] = respond(pixels[i] - dark[i] - offset_);
    } else {
        for (int i = 0; i < run.count; ++i) to[i] = table_[pixels[i]];
    }
    if (std::any_of(to, to + run.count, [](double value) { return std::isnan(value); }))
        refuse(LumoReasonResponseRange);
}

}  // namespace lumo
