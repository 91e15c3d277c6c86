// The plane of noise powers of regions of 256 x 256 pixels, summed over any number of them.
#pragma once

#include <fftw3.h>

#include <memory>
#include <type_traits>
#include <vector>

#include "lumo_quality.h"
#include "platform/fork.h"
#include "quality/strip.h"
#include "quality/trend.h"
#include "scripts/band_filter.h"

namespace lumo {

constexpr int regionSide = 256, regionStep = regionSide / 2;

/// Squared moduli by frequency indices u and v, those of v and -v added: 0..128 each.
class PowerPlane {
public:
    static constexpr int columns = regionSide / 2 + 1;

    PowerPlane();
    /// Adds a region of two halves, whose rows lie `stride` apart.
    void add(const float* upper, const float* lower, std::size_t stride);
    /// The mean of the sums at (u, v) and (u, -v).
    [[nodiscard]] double at(int u, int v) const {
        const double sum =
            sums_[static_cast<std::size_t>(v) * columns + static_cast<std::size_t>(u)];
        return v > 0 && v < regionSide / 2 ? sum / 2 : sum;
    }
    /// Over the whole plane, u and v of either sign.
    [[nodiscard]] double total() const;

private:
    struct PlanRelease {
        void operator()(fftwf_plan plan) const noexcept {
            const std::lock_guard planning(forkSafeLock());
            fftwf_destroy_plan(plan);
        }
    };
    FftBuffer buffer_;
    std::unique_ptr<std::remove_pointer_t<fftwf_plan>, PlanRelease> plan_;
    std::vector<double> sums_;
};

/// What the cuts of a plane are made from.
struct Spectrum {
    const PowerPlane& plane;
    double scale;  ///< from sums to noise power
    Pitch pitch;
};

/// Means along both axes by distance from the origin, over seven lines on either side but not the
/// axes themselves, on which offsets of whole rows and columns lie.
[[nodiscard]] std::vector<LumoNpsPoint> cutsOf(const Spectrum& spectrum, double mean);

/// Deviation of what whole rows (columns) share.
[[nodiscard]] double rowDeviation(const Spectrum& spectrum);
[[nodiscard]] double columnDeviation(const Spectrum& spectrum);

}  // namespace lumo
