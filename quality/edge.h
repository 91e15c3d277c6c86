// A slanted edge: where it runs, and how the signal rises across it. Lengths are millimetres.
#pragma once

#include <vector>

#include "quality/bins.h"
#include "quality/signal.h"
#include "quality/strip.h"

namespace lumo {

/// A region's signal, turned over if need be so that its edge runs nearer to the columns and rises
/// to the right.
struct EdgeImage {
    int columns, rows;
    Pitch pitch;
    bool turnedOver;
    std::vector<double> values;

    [[nodiscard]] const double* row(int y) const {
        return values.data() + std::ptrdiff_t{y} * columns;
    }
};
[[nodiscard]] EdgeImage readEdge(const Image& image, Roi region, const LumoSignal* signal,
                                 Pitch pitch);

/// The edge as a straight line x = begin + slope * y; pixel (0, 0) has its centre at (0, 0).
struct EdgeLine {
    double begin = 0, slope = 0;
    double box = 0;          ///< half the width along x that holds the edge
    double scatter = 0;      ///< root mean square of the rows' edge places about the line
    double noiseFactor = 0;  ///< scatter that a pixel noise of the contrast would explain

    [[nodiscard]] double at(double y) const { return begin + slope * y; }
    /// From distances along x to those along the normal.
    [[nodiscard]] double cosine() const;
};
/// Refuses an image without contrast.
[[nodiscard]] EdgeLine findLine(const EdgeImage& image);

/// Sums over bins of distance from the line along the normal, from -span to span.
struct EdgeBins : Bins {
    explicit EdgeBins(std::size_t size) : Bins(size), squares(size) {}
    std::vector<double> squares;
};

/// The edge spread function, one value in the middle of each bin.
struct EdgeSpread {
    double bin;          ///< width
    std::size_t half;    ///< bins on either side
    EdgeBins even, odd;  ///< of even and odd rows
    double origin;       ///< subtracted from signals, so that squares keep their digits
};

/// Bins of a tenth of a pixel, on either side as many as fit a span and every row has pixels for,
/// in fives.
[[nodiscard]] EdgeSpread spreadOf(const EdgeImage& image, const EdgeLine& line, double span);

/// Means at the bins' middles, the tails beyond the box calmed.
[[nodiscard]] std::vector<double> curveOf(const EdgeSpread& spread, const Bins& bins, double box);

}  // namespace lumo
