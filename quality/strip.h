// A strip of an image along a line, and the profile along it. Lengths are millimetres.
#pragma once

#include <vector>

#include "quality/signal.h"

namespace lumo {

/// Pitches along rows and columns.
struct Pitch {
    double x, y;
};

/// A strip about its middle; the angle is that of the line, downwards from the rows, in radians.
struct Strip {
    double x, y, length, width, angle;
    Pitch pitch;

    [[nodiscard]] Strip turnedTo(double newAngle) const;
    /// Whether all its pixels lie in an image.
    [[nodiscard]] bool isInside(const Image& image) const;
    /// The pixel centres in it, cut to an image.
    [[nodiscard]] std::vector<Run> runs(const Image& image) const;
    /// Place along the line of pixel (0, y), and how it grows from column to column.
    [[nodiscard]] double placeOfRow(int row) const;
    [[nodiscard]] double placePerColumn() const;
    /// How far the line leaves the nearest axis of the pixel grid, downwards.
    [[nodiscard]] double offGrid() const;
    /// The pitch of that axis, and that of the other one.
    [[nodiscard]] double pitchAlong() const;
    [[nodiscard]] double pitchAcross() const;
};

/// Values in the middles of bins of one width, the first of which begins at 0.
struct Profile {
    double bin;
    std::vector<double> values;

    [[nodiscard]] double placeOf(std::size_t i) const {
        return (static_cast<double>(i) + 0.5) * bin;
    }
};

/// The mean of the pixels of each bin.
[[nodiscard]] Profile profileOf(const Image& image, const Signal& signal, const Strip& strip,
                                double bin);

/// Turns the strip about its middle until its profile varies most: square to the wires.
[[nodiscard]] Strip straightened(const Image& image, const Signal& signal, const Strip& strip);

constexpr double degree = 0.017453292519943295;
/// Lines nearer to the pixel grid than this put all pixels of a row at a few places.
constexpr double leastTilt = 0.5 * degree;

}  // namespace lumo
