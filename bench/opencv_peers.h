// What OpenCV offers beside our operations, on one thread; no peers where it is not installed.
#pragma once

#include "harness.h"

namespace lumo::bench {

/// Rows and columns of an image that a peer works on, corners in order.
struct Region {
    Image image;
    Roi roi;
};
[[nodiscard]] Region wholeOf(const Image& image);

using Peers = std::vector<Peer>;

/// Extremes, mean and deviation.
[[nodiscard]] Peers cvStatistics(const Region& region, double timesFaster);
[[nodiscard]] Peers cvHistogram(const Region& region, double timesFaster);
/// Means of the columns (dimension 0) or of the rows (1).
[[nodiscard]] Peers cvReduce(const Image& image, int dimension, double timesFaster);
[[nodiscard]] Peers cvInvert(const Image& image, const Image& to, double timesFaster);
[[nodiscard]] Peers cvCopy(const Region& region, double timesFaster);
/// Means of square blocks.
[[nodiscard]] Peers cvResize(const Image& image, int factor, double timesFaster);
/// A histogram equalisation of OpenCV's histogram, a cumulative sum and a plain loop.
[[nodiscard]] Peers cvEqualise(const Image& image, const Image& to, double timesFaster);

/// A PNG file as OpenCV writes it by default.
[[nodiscard]] Peers cvWritePng(const Image& image, const std::string& file, double timesFaster);

}  // namespace lumo::bench
