// Eight neighbours are counted from two loads, equal ones at once.
#include "measure/histogram.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <numeric>

#include "frame/call_frame.h"
#include "platform/cpu_level.h"
#include "platform/prefetch.h"

namespace lumo {
namespace {

std::uint64_t fourPixels(const std::uint16_t* pixels) {
    std::uint64_t four = 0;
    std::memcpy(&four, pixels, sizeof four);
    return four;
}

void countFour(std::uint64_t four, std::uint32_t* histogram) {
    ++histogram[four & 65535];
    ++histogram[(four >> 16) & 65535];
    ++histogram[(four >> 32) & 65535];
    ++histogram[four >> 48];
}

/// By two loads: a load of one pixel after another would wait for the stores of the counts before.
/// Equal neighbours are counted at once, as the same count stored and loaded again eight times
/// would take as long as the rest for forty pixels.
LUMO_INLINE void countEight(const std::uint16_t* pixels, std::uint32_t* histogram) {
    const std::uint64_t first = fourPixels(pixels), second = fourPixels(pixels + 4);
    if (first == second && first == std::rotl(first, 16)) {
        histogram[first & 65535] += 8;
        return;
    }
    countFour(first, histogram);
    countFour(second, histogram);
}

/// @param ahead  bytes from each pixel to what is read soon
void countRun(const std::uint16_t* pixels, std::size_t count, std::ptrdiff_t ahead,
              std::uint32_t* histogram) {
    constexpr std::size_t eight = 8, line = 64 / sizeof *pixels;
    std::size_t i = 0;
    for (; i + line <= count; i += line) {
        prefetchAhead(pixels + i, ahead);
        for (std::size_t k = i; k < i + line; k += eight) countEight(pixels + k, histogram);
    }
    for (; i < count; ++i) ++histogram[pixels[i]];
}

std::uint64_t thresholdOf(std::uint64_t count, std::int32_t ppm) {
    const double fraction = std::min(ppm / 1000000.0, 0.4);
    return static_cast<std::uint64_t>(static_cast<double>(count) * fraction);
}

std::optional<int> walk(const Histogram& histogram, std::uint64_t threshold, int from, int end,
                        int step) {
    std::uint64_t sum = 0;
    for (int value = from; value != end; value += step) {
        sum += histogram[static_cast<std::size_t>(value)];
        if (sum > threshold) return value;
    }
    return std::nullopt;
}

std::uint32_t shareInPpm(std::uint64_t part, std::uint64_t count) {
    return static_cast<std::uint32_t>(part * 1000000 / count);
}

}  // namespace

void countGreyValues(const Runs& runs, std::uint32_t* histogram) {
    std::fill_n(histogram, greyValues, 0U);
    // Where a region ends in each row the processor's own prefetcher goes astray.
    const std::size_t ahead = runs.rows > 1 ? runs.stride * sizeof *runs.first : 2048;
    for (std::size_t y = 0; y < runs.rows; ++y)
        countRun(runs.row(y), runs.length, static_cast<std::ptrdiff_t>(ahead), histogram);
}

std::optional<int> limitFromBelow(const Histogram& histogram, std::uint64_t count,
                                  std::int32_t ppm) {
    return walk(histogram, thresholdOf(count, ppm), 1, lastGreyValue, 1);
}

std::optional<int> limitFromAbove(const Histogram& histogram, std::uint64_t count,
                                  std::int32_t ppm) {
    return walk(histogram, thresholdOf(count, ppm), lastGreyValue - 1, 0, -1);
}

std::uint64_t countBetween(const Histogram& histogram, int first, int last) {
    if (first > last) return 0;
    return std::accumulate(histogram.begin() + first, histogram.begin() + last + 1,
                           std::uint64_t{0});
}

}  // namespace lumo

extern "C" {

int Make_Histogram(Image image, uint32_t* histogram) {
    lumo::Runs runs{};
    const int code = lumo::pixelRuns(image, runs);
    if (code != LumoOk) return code;
    if (histogram == nullptr) return LumoErrorParameter;
    lumo::countGreyValues(runs, histogram);
    return LumoOk;
}

int Make_HistogramRoi(Image image, Roi region, uint32_t* histogram) {
    lumo::Runs runs{};
    const int code = lumo::regionRuns(image, region, runs);
    if (code != LumoOk) return code;
    if (histogram == nullptr) return LumoErrorParameter;
    lumo::countGreyValues(runs, histogram);
    return LumoOk;
}

int Get_HistoValue(Image image, uint16_t lowValue, uint16_t highValue, uint32_t* lowPpm,
                   uint32_t* highPpm) {
    const bool placed = lowPpm != nullptr && highPpm != nullptr;
    if (placed) *lowPpm = *highPpm = 0;
    lumo::Runs runs{};
    const int code = lumo::pixelRuns(image, runs);
    if (code != LumoOk) return code;
    if (!placed) return LumoErrorParameter;
    return lumo::guarded([&] {
        const auto histogram = std::make_unique_for_overwrite<lumo::Histogram>();
        lumo::countGreyValues(runs, histogram->data());
        // Grey values 0 and 65535 are counted on neither side.
        const int last = std::min<int>(lowValue, lumo::lastGreyValue - 1);
        const int first = std::max<int>(highValue, 1);
        const std::uint64_t count = runs.count();
        *lowPpm = lumo::shareInPpm(lumo::countBetween(*histogram, 1, last), count);
        *highPpm =
            lumo::shareInPpm(lumo::countBetween(*histogram, first, lumo::lastGreyValue - 1), count);
    });
}

}  // extern "C"
