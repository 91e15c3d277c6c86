// Grey values as a signal that is proportional to dose, and the check for clipped pixels.
#pragma once

#include <cstdint>
#include <vector>

#include "image/view.h"
#include "lumo_quality.h"

namespace lumo {

/// A stretch of one row.
struct Run {
    int x, y, count;
};

/// The rows of a region. Its corners are put in order; raises -50 without raster, and with a reason
/// for a region outside the image.
[[nodiscard]] std::vector<Run> runsIn(const Image& image, Roi& region);

/// Smallest and largest grey values of an image's rows and of the whole.
class Extremes {
public:
    /// Looks at the rows one after another; afterwards all are known.
    explicit Extremes(const Image& image) : image_(asSource(viewOf(image))) {}
    void look(int row);
    void lookAtAll();

    /// Refuses runs of which more than 0.1 %, and five pixels or more, are at the image's smallest
    /// (or largest) grey value, and more than at the next one that occurs in them.
    void refuseClipped(const std::vector<Run>& runs) const;

private:
    struct Ends {
        std::uint16_t low, high;
    };
    Source image_;
    std::vector<Ends> rows_;
    Ends all_ = {65535, 0};
};

/// The same for an image that is not looked at otherwise.
void refuseClipped(const Image& image, const std::vector<Run>& runs);

class Signal {
public:
    /// Checks the caller's record; null leaves grey values as they are.
    Signal(const Image& image, const LumoSignal* given);

    /// Whether the signal is the grey value minus offset().
    [[nodiscard]] bool isShift() const { return dark_ == nullptr && grey_.empty(); }
    [[nodiscard]] double offset() const { return offset_; }

    /// The grey values of a run, to be used where the signal is but a shift of them.
    [[nodiscard]] const std::uint16_t* pixels(const Run& run) const {
        return image_.row(run.y) + run.x;
    }
    /// The signal along a run.
    void read(const Run& run, double* to) const;

private:
    void readResponse(const LumoSignal& given);
    [[nodiscard]] double respond(double grey) const;

    Source image_;
    const std::uint16_t* dark_ = nullptr;
    double offset_ = 0;
    std::vector<double> grey_, signal_;  ///< the response, grey values ascending
    std::vector<double> table_;          ///< the signal of every grey value, without a dark frame
};

}  // namespace lumo
