// Histogram equalisation between percentile limits. Formulas keep their order of operations: it
// decides the last bit.
#include <algorithm>
#include <memory>

#include "frame/call_frame.h"
#include "greyscale/lut.h"
#include "image/size_check.h"
#include "image/view.h"
#include "measure/histogram.h"

namespace lumo {
namespace {

/// Entries low..high - 1 share the range by the pixels up to each; below them 0, from high on
/// 65535. low reaches 65536 and high -1 when a walk found nothing.
void makeEqualLut(const Histogram& histogram, int low, int high, Lut lut) {
    const std::uint64_t sum = countBetween(histogram, low, high - 1);
    const double scale = sum > 0 ? 65535.0 / static_cast<double>(sum) : 0.0;
    std::fill_n(lut.begin(), low, std::uint16_t{0});
    double running = 0.0;
    for (int v = low; v < high; ++v) {
        running += histogram[static_cast<std::size_t>(v)] * scale;
        lut[static_cast<std::size_t>(v)] = toPixel(running);
    }
    std::fill(lut.begin() + std::max(high, 0), lut.end(), std::uint16_t{65535});
}

int equalise(const Image& destination, const Image& source, std::int32_t lowPpm,
             std::int32_t highPpm) {
    if (Check_SameSize(destination, source) != LumoOk) return LumoErrorImage;
    const std::uint64_t count = viewOf(source).count();
    if (count == 0) return LumoOk;
    return guarded([&] {
        const auto histogram = std::make_unique_for_overwrite<Histogram>();
        const auto lut = std::make_unique_for_overwrite<LutBlock>();
        raiseFailure(Make_Histogram(source, histogram->data()));
        const int low =
            lowPpm < 0 ? 0 : limitFromBelow(*histogram, count, lowPpm).value_or(int{greyValues});
        const int high =
            highPpm < 0 ? lastGreyValue : limitFromAbove(*histogram, count, highPpm).value_or(-1);
        makeEqualLut(*histogram, low, high, *lut);
        raiseFailure(Apply_Lut(source, destination, lut->data()));
    });
}

}  // namespace
}  // namespace lumo

extern "C" int Equal_Histo(Image destination, Image source, int32_t lowPpm, int32_t highPpm) {
    return lumo::equalise(destination, source, lowPpm, highPpm);
}
