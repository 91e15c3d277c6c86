// Histograms condensed for display: fewer (or more) bins than grey values, a chosen height.
// Formulas keep their order of operations: it decides the last bit.
#include <algorithm>
#include <memory>

#include "frame/call_frame.h"
#include "measure/histogram.h"

namespace lumo {
namespace {

/// Grey value at a place counted in (parts of) grey values from `lo`.
int greyValueAt(int lo, double place) {
    return lo + static_cast<int>(place);
}

std::uint32_t binAt(const Histogram& histogram, int bin, double step, int lo, int hi) {
    if (step >= 1.0) {
        const int first = greyValueAt(lo, bin * step), next = greyValueAt(lo, (bin + 1) * step);
        return static_cast<std::uint32_t>(countBetween(histogram, first, next - 1));
    }
    return histogram[static_cast<std::size_t>(std::min(greyValueAt(lo, bin * step + 0.5), hi))];
}

void scaleTo(int height, std::int32_t largest, std::uint32_t* bins, int count) {
    if (largest == 0) {
        std::fill_n(bins, count, 0U);
        return;
    }
    const double factor = height / static_cast<double>(largest);
    std::transform(bins, bins + count, bins, [&](std::uint32_t bin) {
        // The product may fall just short of the height.
        if (bin == static_cast<std::uint32_t>(largest)) return static_cast<std::uint32_t>(height);
        return static_cast<std::uint32_t>(std::min(bin * factor, 4294967295.0));
    });
}

template <class MakeHistogram>
int makeScaled(MakeHistogram make, std::uint32_t* condensed, int bins, int height, int lo, int hi) {
    return guarded([&] {
        const auto histogram = std::make_unique_for_overwrite<Histogram>();
        raiseFailure(make(*histogram));
        raiseFailure(Rescale_Histogram(*histogram, condensed, bins, height, lo, hi));
    });
}

}  // namespace

int Rescale_Histogram(const Histogram& histogram, std::uint32_t* condensed, int bins, int height,
                      int lo, int hi) {
    if (condensed == nullptr || bins == 0 || hi < lo) return LumoErrorParameter;
    const double step = (hi - lo + 1) / static_cast<double>(bins);
    // Signed: a bin of 2^31 pixels and more never counts as the largest.
    std::int32_t largest = 0;
    for (int bin = 0; bin < bins; ++bin) {
        condensed[bin] = binAt(histogram, bin, step, lo, hi);
        largest = std::max(largest, static_cast<std::int32_t>(condensed[bin]));
    }
    if (height != 0) scaleTo(height, largest, condensed, bins);
    return LumoOk;
}

}  // namespace lumo

extern "C" {

int Make_HistogramScaled(Image image, uint32_t* condensed, uint16_t bins, uint16_t height,
                         uint16_t lo, uint16_t hi) {
    return lumo::makeScaled(
        [&](lumo::Histogram& histogram) { return Make_Histogram(image, histogram.data()); },
        condensed, bins, height, lo, hi);
}

int Make_HistogramScaledRoi(Image image, Roi region, uint32_t* condensed, uint16_t bins,
                            uint16_t height, uint16_t lo, uint16_t hi) {
    if (region.x1 > region.x2 || region.y1 > region.y2) return LumoErrorImage;
    return lumo::makeScaled(
        [&](lumo::Histogram& histogram) {
            return Make_HistogramRoi(image, region, histogram.data());
        },
        condensed, bins, height, lo, hi);
}

}  // extern "C"
