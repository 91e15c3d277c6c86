// Smallest, largest and mean grey value and their spread, over an image or a region, and the same
// between percentile limits. All sums are exact integers.
#include <algorithm>
#include <cmath>
#include <memory>

#include "frame/call_frame.h"
#include "measure/histogram.h"
#include "measure/sums.h"

namespace {

using lumo::Histogram;
using lumo::Runs;

__extension__ using Wide = unsigned __int128;

lumo::Sums sumsOf(const Runs& runs) {
    lumo::Sums sums;
    for (std::size_t y = 0; y < runs.rows; ++y) lumo::addPixels(runs.row(y), runs.length, sums);
    return sums;
}

ImageValue measure(const Runs& runs) {
    const lumo::Sums sums = sumsOf(runs);
    ImageValue value{sizeof(ImageValue), sums.smallest, sums.largest, 0.0, 0.0};
    const std::uint64_t count = runs.count();
    if (count == 0) return value;
    value.mean = static_cast<double>(sums.sum) / static_cast<double>(count);
    // N^2 times the variance, exactly.
    const Wide spread = Wide{count} * sums.squares - Wide{sums.sum} * sums.sum;
    value.sigma = std::sqrt(static_cast<double>(spread)) / static_cast<double>(count);
    return value;
}

/// Moves limits that lie too close together apart, each as far as its end of the range allows.
void keepSpread(int& low, int& high) {
    constexpr int leastSpread = 16;
    if (high - low >= leastSpread) return;
    if (high < lumo::lastGreyValue - leastSpread) high += leastSpread;
    if (low > leastSpread) low -= leastSpread;
}

double meanBetween(const Histogram& histogram, int low, int high) {
    std::uint64_t count = 0, sum = 0;
    for (int value = low; value <= high; ++value) {
        const std::uint64_t pixels = histogram[static_cast<std::size_t>(value)];
        count += pixels;
        sum += pixels * static_cast<std::uint64_t>(value);
    }
    return count == 0 ? 0.0 : static_cast<double>(sum) / static_cast<double>(count);
}

ImageValue measureLimited(const Histogram& histogram, std::uint64_t count, std::int32_t lowPpm,
                          std::int32_t highPpm) {
    int low = lowPpm < 0 ? 0 : lumo::limitFromBelow(histogram, count, lowPpm).value_or(0);
    int high = highPpm < 0
                   ? lumo::lastGreyValue
                   : lumo::limitFromAbove(histogram, count, highPpm).value_or(lumo::lastGreyValue);
    keepSpread(low, high);
    return {sizeof(ImageValue), static_cast<std::uint16_t>(low), static_cast<std::uint16_t>(high),
            meanBetween(histogram, low, high), 0.0};
}

/// `runsOfCaller` checks the caller's image (and region) and gives its pixels.
template <class RunsOfCaller>
int valueLimited(RunsOfCaller runsOfCaller, ImageValue* value, std::int32_t lowPpm,
                 std::int32_t highPpm) {
    return lumo::guarded([&] {
        Runs runs{};
        lumo::raiseFailure(runsOfCaller(runs));
        if (value == nullptr) lumo::raise(LumoErrorParameter);
        const auto histogram = std::make_unique_for_overwrite<Histogram>();
        lumo::countGreyValues(runs, histogram->data());
        *value = measureLimited(*histogram, runs.count(), lowPpm, highPpm);
    });
}

}  // namespace

extern "C" {

uint16_t Get_Pixel(Image image, uint16_t x, uint16_t y) {
    if (image.data == nullptr || x >= image.width || y >= image.height) return 0;
    return lumo::viewOf(image).row(y)[x];
}

int Get_ImageValue(Image image, ImageValue* value) {
    if (image.data == nullptr) return LumoErrorImage;
    if (value == nullptr) return LumoErrorParameter;
    *value = measure(lumo::runsOf(image));
    return LumoOk;
}

int Get_ImageValueRoi(Image image, Roi region, ImageValue* value) {
    Runs runs{};
    const int code = lumo::regionRuns(image, region, runs);
    if (code != LumoOk) return code;
    if (value == nullptr) return LumoErrorParameter;
    *value = measure(runs);
    return LumoOk;
}

int Get_ImageValueLim(Image image, ImageValue* value, int32_t lowPpm, int32_t highPpm) {
    return valueLimited([&](Runs& runs) { return lumo::pixelRuns(image, runs); }, value, lowPpm,
                        highPpm);
}

int Get_ImageValueLimRoi(Image image, Roi region, ImageValue* value, int32_t lowPpm,
                         int32_t highPpm) {
    return valueLimited([&](Runs& runs) { return lumo::regionRuns(image, region, runs); }, value,
                        lowPpm, highPpm);
}

}  // extern "C"
