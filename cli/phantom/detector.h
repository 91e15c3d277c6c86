// The phantom's detector: the gain of each pixel.
#pragma once

#include "cli/phantom/noise.h"

namespace lumo::cli {

// Deviations of the gain, and columns that share an amplifier.
inline constexpr double amplifierDeviation = 0.012, columnDeviation = 0.006, pixelDeviation = 0.018;
inline constexpr int amplifierColumns = 128;
// One pixel in so many does not answer, answers weakly, too strongly.
inline constexpr std::uint64_t deadOneIn = 60000, weakOneIn = 30000, strongOneIn = 60000;
inline constexpr double weakGain = 0.3, strongGain = 2.5;

/// A detector whose gain differs from pixel to pixel; the seed is its serial number.
class Detector {
public:
    explicit Detector(std::uint64_t seed)
        : amplifiers_(mixed(seed ^ 0xA0)),
          columns_(mixed(seed ^ 0xC0)),
          pixels_(mixed(seed ^ 0xD0)) {}

    /// @param index  of the pixel in the raster
    [[nodiscard]] double gain(int x, std::int64_t index) const {
        const std::uint64_t fate = mixed(pixels_ - 1 - static_cast<std::uint64_t>(index));
        if (fate % deadOneIn == 0) return 0;
        if (fate % weakOneIn == 1) return weakGain;
        if (fate % strongOneIn == 2) return strongGain;
        const auto at = [](std::uint64_t stream, std::int64_t place) {
            return deviate(mixed(stream + static_cast<std::uint64_t>(place)));
        };
        return 1 + amplifierDeviation * at(amplifiers_, x / amplifierColumns) +
               columnDeviation * at(columns_, x) + pixelDeviation * at(pixels_, index);
    }

private:
    std::uint64_t amplifiers_, columns_, pixels_;  // where their counters begin
};

}  // namespace lumo::cli
