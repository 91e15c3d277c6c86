// The smooth trend of a region: a polynomial of second order in two dimensions.
#pragma once

#include <array>
#include <vector>

#include "quality/signal.h"

namespace lumo {

class Trend {
public:
    /// Fits the polynomial to a region with ordered corners inside the image, or the mean alone.
    /// Looks at the extremes of the region's rows on the way.
    Trend(const Signal& signal, const Roi& region, bool meanAlone, Extremes& extremes);

    /// Signal less trend along a row of the region, in single precision.
    void subtract(int row, float* to);
    /// Sum of the region's signal.
    [[nodiscard]] double sum() const { return sum_; }

private:
    [[nodiscard]] Run runOf(int row) const;
    void fit(const std::array<double, 6>& moments);
    /// The factors of 1, x and x^2 along a row.
    [[nodiscard]] std::array<double, 3> along(int row) const;

    const Signal& signal_;
    Roi region_;
    int width_, height_;
    std::vector<double> columns_;      ///< scaled to -1..1
    std::vector<double> values_;       ///< of a row, unless the signal is a shift of grey values
    std::array<double, 6> factors_{};  ///< of 1, x, y, x^2, x y, y^2
    double sum_ = 0;
};

}  // namespace lumo
