// The edge spread function: pixels by their distance from the line, the noise of its tails calmed.
#include <algorithm>
#include <cmath>

#include "quality/edge.h"
#include "quality/record.h"

namespace lumo {
namespace {

constexpr double binsPerPixel = 10;

/// The distance along the normal for which every row has pixels on both sides.
double reachOf(const EdgeImage& image, const EdgeLine& line) {
    const double last = (image.rows - 1) * image.pitch.y;
    const double right = (image.columns - 1) * image.pitch.x;
    const auto [low, high] = std::minmax({line.at(0), line.at(last)});
    return std::min(low, right - high) * line.cosine();
}

/// Beyond `box` bins from the middle each value becomes the mean over a window half as wide as its
/// distance from there, less at the ends.
std::vector<double> calmed(const std::vector<double>& values, double box) {
    const auto size = static_cast<std::ptrdiff_t>(values.size());
    std::vector<double> sums(values.size() + 1), calm = values;
    for (std::size_t i = 0; i < values.size(); ++i) sums[i + 1] = sums[i] + values[i];
    for (std::ptrdiff_t i = 0; i < size; ++i) {
        const double beyond =
            std::abs(static_cast<double>(i) + 0.5 - static_cast<double>(size) / 2) - box;
        if (beyond <= 0) continue;
        const std::ptrdiff_t reach =
            std::min({static_cast<std::ptrdiff_t>(beyond / 4), i, size - 1 - i});
        calm[static_cast<std::size_t>(i)] = (sums[static_cast<std::size_t>(i + reach + 1)] -
                                             sums[static_cast<std::size_t>(i - reach)]) /
                                            static_cast<double>(2 * reach + 1);
    }
    return calm;
}

}  // namespace

EdgeSpread spreadOf(const EdgeImage& image, const EdgeLine& line, double span) {
    constexpr double leastPixels = 16;
    const double reach = reachOf(image, line);
    if (!(reach >= leastPixels * image.pitch.x)) refuse(LumoReasonEdgeNearBorder);
    if (span > 0 && span < leastPixels * image.pitch.x) raise(LumoErrorParameter);
    const double bin = image.pitch.x / binsPerPixel;
    const double wanted = span > 0 ? std::min(span, reach) : reach;
    // In fives, so that the Nyquist frequency is one of the curve's.
    const std::size_t half = static_cast<std::size_t>(wanted / bin * (1 + 1e-12)) / 5 * 5;
    EdgeSpread spread{bin, half, EdgeBins(2 * half), EdgeBins(2 * half), image.values.front()};
    const double cosine = line.cosine(), step = image.pitch.x * cosine;
    const double middle = static_cast<double>(half) * bin, end = 2 * middle;
    for (int y = 0; y < image.rows; ++y) {
        EdgeBins& bins = y % 2 == 0 ? spread.even : spread.odd;
        const double begin = middle - line.at(y * image.pitch.y) * cosine;
        const double* row = image.row(y);
        for (int x = 0; x < image.columns; ++x) {
            const double place = begin + x * step;
            if (!(place >= 0 && place < end)) continue;
            const auto at = std::min(static_cast<std::size_t>(place / bin), 2 * half - 1);
            const double value = row[x] - spread.origin;
            bins.add(at, place, value);
            bins.squares[at] += value * value;
        }
    }
    return spread;
}

std::vector<double> curveOf(const EdgeSpread& spread, const Bins& bins, double box) {
    return calmed(bins.atMiddles(spread.bin), box / spread.bin);
}

}  // namespace lumo
