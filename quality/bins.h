// Bins of one width along a line, and the values in their middles.
#pragma once

#include <cstddef>
#include <vector>

namespace lumo {

/// Sums over the pixels of each bin: of their values and of their places, which count from the
/// begin of the first bin.
struct Bins {
    explicit Bins(std::size_t size) : sums(size), places(size), counts(size) {}

    std::vector<double> sums, places, counts;

    void add(std::size_t bin, double place, double value) {
        sums[bin] += value;
        places[bin] += place;
        counts[bin] += 1;
    }
    Bins& operator+=(const Bins& other);
    /// The means, brought from the pixels' mean places to the middles of bins of this width by
    /// straight lines. The image is not interpolated, which would blur it.
    [[nodiscard]] std::vector<double> atMiddles(double width) const;
};

}  // namespace lumo
