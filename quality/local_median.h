// Comparing values with the median of a window around them, without finding the median.
#pragma once

#include <cstddef>
#include <vector>

namespace lumo {

/// A raster of values, and square windows of odd side. Near the border a window is moved into the
/// raster, which is at least as large.
class LocalMedian {
public:
    LocalMedian(const std::vector<float>& values, int width, int height, int side);

    /// Calls `mark` with the number of each pixel for which value > factor * median.
    template <class Mark>
    void forEachAbove(double factor, Mark mark) const {
        forEach(factor, true, mark);
    }
    /// The same for value < factor * median.
    template <class Mark>
    void forEachBelow(double factor, Mark mark) const {
        forEach(factor, false, mark);
    }
    /// The median around a pixel.
    [[nodiscard]] double at(std::size_t pixel) const;

private:
    /// Pixels whose windows are looked at together, last ones included.
    struct Block {
        int x1, y1, x2, y2;
    };
    /// The least and the largest value that a median of the block's windows can have.
    struct Bounds {
        float least, most;
    };
    [[nodiscard]] Bounds extremes(const Block& block) const;
    [[nodiscard]] Bounds bounds(const Block& block) const;
    [[nodiscard]] Block windowsOf(const Block& block) const;
    [[nodiscard]] bool isBeyond(int x, int y, double factor, bool above) const;
    [[nodiscard]] bool mayHold(const Block& block, const Bounds& bounds, double factor,
                               bool above) const;
    [[nodiscard]] const float* row(int y) const { return values_ + std::ptrdiff_t{y} * width_; }

    template <class Mark>
    void forEach(double factor, bool above, Mark mark) const {
        for (int y = 0; y < height_; y += blockSide)
            for (int x = 0; x < width_; x += blockSide) {
                const Block block{x, y, lastOf(x, width_), lastOf(y, height_)};
                if (mayHold(block, extremes(block), factor, above))
                    forEachIn(block, bounds(block), factor, above, mark);
            }
    }
    template <class Mark>
    void forEachIn(const Block& block, const Bounds& bounds, double factor, bool above,
                   Mark mark) const {
        for (int y = block.y1; y <= block.y2; ++y)
            for (int x = block.x1; x <= block.x2; ++x) {
                const double value = row(y)[x];
                const bool possible =
                    above ? value > factor * bounds.least : value < factor * bounds.most;
                if (possible && isBeyond(x, y, factor, above))
                    mark(static_cast<std::size_t>(row(y) + x - values_));
            }
    }
    [[nodiscard]] static int lastOf(int first, int size) {
        return first + blockSide < size ? first + blockSide - 1 : size - 1;
    }

    static constexpr int blockSide = 24;
    const float* values_;
    int width_, height_, side_;
};

}  // namespace lumo
