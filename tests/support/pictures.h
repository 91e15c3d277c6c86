// Pictures whose quality figures are known in closed form.
#pragma once

#include <cmath>
#include <functional>
#include <numbers>

#include "lumo_quality.h"
#include "support/support.h"

namespace lumo::test {

/// A normally distributed number.
inline double normal(Random& random) {
    const auto uniform = [&] { return (static_cast<double>(random.next() >> 11) + 0.5) * 0x1p-53; };
    const double radius = std::sqrt(-2 * std::log(uniform()));
    return radius * std::cos(2 * std::numbers::pi * uniform());
}

/// The function of column and row with normal noise, rounded.
inline Raster picture(int width, int height, const std::function<double(int, int)>& signal,
                      double noise, std::uint64_t seed = 1) {
    Random random(seed);
    Raster raster(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x) {
            const double value = signal(x, y) + (noise > 0 ? noise * normal(random) : 0);
            raster.at(x, y) = static_cast<std::uint16_t>(std::clamp(value + 0.5, 0.0, 65535.0));
        }
    return raster;
}

inline Roi wholeOf(const Raster& raster) {
    return {0, 0, raster.width - 1, raster.height - 1};
}

/// A record that says its size.
template <class Record>
Record sized() {
    Record record{};
    record.size = sizeof record;
    return record;
}

/// The points that a function hands out; none after a failure.
template <class Point>
std::vector<Point> curveOf(const std::function<int(Point*, std::int32_t*)>& call) {
    std::vector<Point> points(20000);
    auto count = static_cast<std::int32_t>(points.size());
    points.resize(call(points.data(), &count) == 0 ? static_cast<std::size_t>(count) : 0);
    return points;
}

}  // namespace lumo::test
