// The smooth trend of a region: a polynomial of second order in two dimensions.
#pragma once

#include <array>
#include <vector>

#include "quality/signal.h"

namespace lumo {

class Trend {
public:
    /// Fits the polynomial to a region with ordered corners inside the image, or the mean alone.
    Trend(const Signal& signal, const Roi& region, bool meanAlone);

    /// Signal less trend along a row of the region, in single precision.
    void subtract(const double* signal, int row, float* to) const;
    /// Sum of the region's signal.
    [[nodiscard]] double sum() const { return sum_; }

private:
    void fit(const std::array<double, 6>& moments);
    /// The factors of 1, x and x^2 along a row.
    [[nodiscard]] std::array<double, 3> along(int row) const;

    int width_, height_;
    std::vector<double> columns_;      ///< scaled to -1..1
    std::array<double, 6> factors_{};  ///< of 1, x, y, x^2, x y, y^2
    double sum_ = 0;
};

}  // namespace lumo
