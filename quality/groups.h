// Signal and noise of a uniform region, by groups of 20 neighbours.
#pragma once

#include <cstdint>

#include "quality/signal.h"

namespace lumo {

constexpr int groupSize = 20;

struct Uniform {
    std::uint32_t groups = 0;
    double mean = 0, sigma = 0;            ///< medians over the groups
    double plainMean = 0, plainSigma = 0;  ///< of all pixels
};

/// Refuses a region that is too small, clipped, or without signal or noise.
/// @param along  0: groups lie along rows, 1: along columns
[[nodiscard]] Uniform measureUniform(const Image& image, Roi region, std::uint32_t along,
                                     const LumoSignal* signal);

/// Sums over a row of groups, exact.
struct RowTotals {
    double sum = 0, squares = 0;
};

/// The sum of each group of a row's pixels, and 20 times the sum of their squares less the square
/// of the sum. All are whole numbers.
/// @return sums over all groups
RowTotals groupSums(const std::uint16_t* pixels, int groups, double* sums, double* spreads);

}  // namespace lumo
