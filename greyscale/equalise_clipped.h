// The table of the clipped histogram equalisation.
#pragma once

#include "greyscale/lut.h"
#include "measure/histogram.h"

namespace lumo {

/**
 * The foot of the first peak of the histogram, seen from one end.
 * @param direction  +1 upward, -1 downward
 * @param width      grey values taken together
 * @param ratio      part of the highest block below which a block ends the search
 * @param stopCount  pixels after which the search gives up and answers the mark
 * @param markCount  pixels after which the mark is set
 */
[[nodiscard]] int Find_HistoEdge(const Histogram& histogram, int direction, int width, double ratio,
                                 std::uint64_t stopCount, std::uint64_t markCount);

/// What Equal_Histo3() is given, and what it used.
struct EqualSettings {
    std::int32_t strength, low, high, fixLow, fixHigh, weight;
};

/// Builds the table and consumes the histogram; leaves the settings as they were used.
void Make_EqualLut3(Histogram& histogram, Lut lut, EqualSettings& settings);

}  // namespace lumo
