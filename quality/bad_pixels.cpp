// Finding bad pixels in stacks of dark, bright and corrected frames.
#include <algorithm>
#include <cmath>

#include "measure/region.h"
#include "quality/bad_map.h"
#include "quality/local_median.h"
#include "quality/median.h"
#include "quality/record.h"
#include "quality/stack.h"

namespace lumo {
namespace {

constexpr int wideWindow = 21, narrowWindow = 9;

constexpr LumoBadPixelLimits defaultLimits{sizeof(LumoBadPixelLimits), 30, 0.05, 1.3, 0.6, 6, 1, 2};

struct Frames {
    const LumoStack& dark;
    const LumoStack *bright, *corrected;
    const Image* after;
};

class Finder {
public:
    Finder(const Frames& frames, const LumoBadPixelLimits& limits, const Image& map)
        : frames_(frames), limits_(limits), map_(map), count_(frames.dark.count()) {}

    /// @return notes
    std::uint32_t find() {
        std::fill_n(map_.data, count_, std::uint16_t{0});
        const std::uint32_t notes = findNoisy();
        if (frames_.bright != nullptr) findByResponse();
        if (frames_.corrected != nullptr) findNonUniform();
        if (frames_.after != nullptr) findLag();
        findNeighbourhoods();
        return notes;
    }

private:
    [[nodiscard]] LocalMedian around(const std::vector<float>& values, int side) const {
        return {values, map_.width, map_.height, side};
    }
    [[nodiscard]] auto marking(LumoBadPixelKind kind) const {
        return [this, kind](std::size_t i) {
            map_.data[i] = static_cast<std::uint16_t>(map_.data[i] | kind);
        };
    }

    std::uint32_t findNoisy() {
        const LumoStack& dark = frames_.dark;
        if (dark.squares.empty() || dark.frames < 2) return LumoNoteNoisyLeftOut;
        std::vector<float> deviations(count_);
        for (std::size_t i = 0; i < count_; ++i)
            deviations[i] = static_cast<float>(std::sqrt(dark.variance(i)));
        std::vector<float> sorted = deviations;
        medianDeviation_ = medianOf(sorted);
        if (dark.frames < limits_.leastDarkFrames || medianDeviation_ <= 0)
            return LumoNoteNoisyLeftOut;
        const auto mark = marking(LumoBadNoisy);
        for (std::size_t i = 0; i < count_; ++i)
            if (deviations[i] > limits_.noisy * medianDeviation_) mark(i);
        return 0;
    }

    void findByResponse() const {
        std::vector<float> response(count_);
        for (std::size_t i = 0; i < count_; ++i)
            response[i] = static_cast<float>(frames_.bright->mean(i) - frames_.dark.mean(i));
        std::vector<float> sorted = response;
        if (!(medianOf(sorted) > 0)) refuse(LumoReasonNoSignal);
        const LocalMedian local = around(response, wideWindow);
        local.forEachBelow(limits_.dead, marking(LumoBadDead));
        local.forEachAbove(limits_.over, marking(LumoBadOver));
        // What is dead is not under-responding besides.
        local.forEachBelow(limits_.under, [&](std::size_t i) {
            if ((map_.data[i] & LumoBadDead) == 0) marking(LumoBadUnder)(i);
        });
    }

    void findNonUniform() const {
        std::vector<float> means(count_);
        for (std::size_t i = 0; i < count_; ++i)
            means[i] = static_cast<float>(frames_.corrected->mean(i));
        const LocalMedian local = around(means, narrowWindow);
        const double part = limits_.nonUniformPercent / 100;
        local.forEachAbove(1 + part, marking(LumoBadNonUniform));
        local.forEachBelow(1 - part, marking(LumoBadNonUniform));
    }

    /// Without any lag to speak of, half of the noise is above twice its median: what counts has to
    /// exceed the noise as well.
    void findLag() const {
        std::vector<float> rest(count_);
        for (std::size_t i = 0; i < count_; ++i)
            rest[i] = static_cast<float>(frames_.after->data[i] - frames_.dark.mean(i));
        const LocalMedian local = around(rest, narrowWindow);
        const double least = limits_.noisy * medianDeviation_;
        const auto mark = marking(LumoBadLag);
        local.forEachAbove(limits_.lag, [&](std::size_t i) {
            if (rest[i] - local.at(i) > least) mark(i);
        });
    }

    void findNeighbourhoods() const {
        const BadMap map{asSource(viewOf(map_))};
        std::vector<std::size_t> found;
        for (int y = 0; y < map.height; ++y) {
            const auto take = [&](int x) {
                if (!map.isBad(x, y) && map.goodNeighbours(x, y) == 0)
                    found.push_back(static_cast<std::size_t>(map.row(y) + x - map.pixels));
            };
            // Such a pixel has a bad one on its left, but for the first of a row.
            take(0);
            forEachBad(map.row(y), map.width - 1, [&](int x) { take(x + 1); });
        }
        std::ranges::for_each(found, marking(LumoBadNeighbourhood));
    }

    const Frames& frames_;
    const LumoBadPixelLimits& limits_;
    const Image& map_;
    std::size_t count_;
    double medianDeviation_ = 0;  ///< of the dark frames, if known
};

void requireFrames(const LumoStack* stack, const Image& map) {
    if (stack == nullptr) return;
    if (stack->width != map.width || stack->height != map.height) refuse(LumoReasonSizes);
    if (stack->frames == 0) refuse(LumoReasonFewFrames);
}

void requireLimits(const LumoBadPixelLimits& limits) {
    constexpr double most = 1e9;
    requireBetween(limits.dead, 0, 1);
    requireBetween(limits.over, 1, most);
    requireBetween(limits.under, 0, 1);
    requireBetween(limits.noisy, 0, most);
    requireBetween(limits.nonUniformPercent, 0, 100);
    requireBetween(limits.lag, 0, most);
}

void findBadPixels(const Frames& frames, const LumoBadPixelLimits& limits, const Image& map,
                   LumoBadPixels& to) {
    if (map.data == nullptr) raise(LumoErrorImage);
    requireLimits(limits);
    for (const LumoStack* stack : {&frames.dark, frames.bright, frames.corrected})
        requireFrames(stack, map);
    if (frames.after != nullptr) {
        if (frames.after->data == nullptr) raise(LumoErrorImage);
        if (frames.after->width != map.width || frames.after->height != map.height)
            refuse(LumoReasonSizes);
    }
    if (map.width < wideWindow || map.height < wideWindow) refuse(LumoReasonRegionSmall);
    const std::uint32_t notes = Finder(frames, limits, map).find();
    raiseFailure(LumoListBadPixels(map, &to, nullptr, nullptr));
    to.notes = notes;
}

}  // namespace
}  // namespace lumo

extern "C" int LumoFindBadPixels(const LumoStack* dark, const LumoStack* bright,
                                 const LumoStack* corrected, const Image* after,
                                 const LumoBadPixelLimits* limits, Image map,
                                 LumoBadPixels* result) {
    using namespace lumo;
    constexpr LumoBadPixels sized{sizeof(LumoBadPixels), 0, 0, 0, {}, 0, 0, 0, 0, 0};
    return measured("LumoFindBadPixels", result, sized, [&](LumoBadPixels& figures) {
        if (dark == nullptr) raise(LumoErrorParameter);
        findBadPixels({*dark, bright, corrected, after}, optionsOf(limits, defaultLimits), map,
                      figures);
    });
}
