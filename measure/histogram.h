// Histograms over all grey values, and the walks along them.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "image/pixel.h"
#include "measure/region.h"

namespace lumo {

using Histogram = std::array<std::uint32_t, greyValues>;

/// Counts the pixels of each grey value.
void countGreyValues(const Runs& runs, std::uint32_t* histogram);

/**
 * Condenses grey values lo..hi to `bins` sums, the highest of which becomes `height` unless that is
 * 0.
 * @return 0; -2 if bins is 0 or hi < lo, with nothing written
 */
[[nodiscard]] int Rescale_Histogram(const Histogram& histogram, std::uint32_t* condensed, int bins,
                                    int height, int lo, int hi);

/**
 * Percentile walks: the first grey value, seen from one end, up to which more pixels than a share
 * of all lie. Grey values 0 and 65535 are left out on both sides.
 * @param count  pixels of the image or region
 * @param ppm    the share in parts per million, 0 or more; at most 40 % is used
 * @return nothing if the walk reaches the other end
 */
[[nodiscard]] std::optional<int> limitFromBelow(const Histogram& histogram, std::uint64_t count,
                                                std::int32_t ppm);
[[nodiscard]] std::optional<int> limitFromAbove(const Histogram& histogram, std::uint64_t count,
                                                std::int32_t ppm);

/// Pixels of grey values first..last, which lie in 0..65535; 0 for an empty range.
[[nodiscard]] std::uint64_t countBetween(const Histogram& histogram, int first, int last);

}  // namespace lumo
