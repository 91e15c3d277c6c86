// Background, pairs and depths of a duplex wire gauge's profile. Extremes are taken from parabolas
// through many samples: single samples would carry the noise into the dip.
#include "quality/wire_pairs.h"

#include <algorithm>
#include <cmath>

#include "quality/least_squares.h"
#include "quality/median.h"
#include "quality/record.h"

namespace lumo {
namespace {

/// The larger distance from the median tells whether wires are dark.
bool wiresAreDark(const std::vector<double>& values) {
    std::vector<double> sorted = values;
    const double median = medianOf(sorted);
    const auto [least, most] = std::ranges::minmax(values);
    return median - least > most - median;
}

/// What is left of a profile above a quadratic background that is fitted to what is not deep. It
/// begins with what lies near the median: wires may cover so much of the line that a fit to all of
/// it would run between them and the background, and leave out neither.
Depths withoutBackground(const Profile& profile) {
    constexpr int fits = 9;
    constexpr double limit = 3 * 1.4826;  // deviations of normal noise, by the median deviation
    const std::size_t count = profile.values.size();
    const auto scaled = [=](std::size_t i) {
        return (2.0 * static_cast<double>(i) + 1) / static_cast<double>(count) - 1;
    };
    std::vector<double> off = profile.values, kept = off;
    const double median = medianOf(kept);
    for (double& value : off) value -= median;
    kept = off;
    for (double& value : kept) value = std::abs(value);
    double most = limit * medianOf(kept), squares = 0, used = 0;
    for (int fit = 0; fit < fits; ++fit) {
        LeastSquares<3> squaresFit;
        for (std::size_t i = 0; i < count; ++i) {
            const double x = scaled(i);
            if (std::abs(off[i]) <= most) squaresFit.add({1, x, x * x}, profile.values[i]);
        }
        const Parabola background = squaresFit.solve();
        kept.clear();
        for (std::size_t i = 0; i < count; ++i) {
            const double rest = profile.values[i] - valueAt(background, scaled(i));
            if (std::abs(off[i]) <= most) kept.push_back(std::abs(rest));
            off[i] = rest;
        }
        most = limit * medianOf(kept);
    }
    for (const double rest : off)
        if (std::abs(rest) <= most) squares += rest * rest, used += 1;
    return {{profile.bin, std::move(off)}, used > 0 ? std::sqrt(squares / used) : 0};
}

/// The extreme of the parabola through the samples within `half` of a place, if it lies there, else
/// its value at the place.
struct Extreme {
    double place, value;
    std::size_t samples;
};

Extreme extremeNear(const Profile& depths, std::size_t at, double half, bool highest) {
    const double place = depths.placeOf(at);
    const auto reach = static_cast<std::size_t>(half / depths.bin);
    const std::size_t first = at > reach ? at - reach : 0;
    const std::size_t last = std::min(at + reach, depths.values.size() - 1);
    const std::size_t samples = last - first + 1;
    if (samples < 4) return {place, depths.values[at], 1};
    LeastSquares<3> fit;
    for (std::size_t i = first; i <= last; ++i) {
        const double x = (depths.placeOf(i) - place) / half;
        fit.add({1, x, x * x}, depths.values[i]);
    }
    const Parabola parabola = fit.solve();
    const double turn = parabola[2] != 0 ? -parabola[1] / (2 * parabola[2]) : 2;
    const bool inside = std::abs(turn) <= 1 && (parabola[2] < 0) == highest;
    return {inside ? place + turn * half : place, valueAt(parabola, inside ? turn : 0), samples};
}

/// Means over a window, to find places only.
std::vector<double> smoothed(const Profile& profile, double window) {
    const auto reach = static_cast<std::ptrdiff_t>(window / 2 / profile.bin);
    const std::ptrdiff_t count = std::ssize(profile.values);
    std::vector<double> means(profile.values.size());
    for (std::ptrdiff_t i = 0; i < count; ++i) {
        const std::ptrdiff_t first = std::max<std::ptrdiff_t>(i - reach, 0);
        const std::ptrdiff_t last = std::min(i + reach, count - 1);
        double sum = 0;
        for (std::ptrdiff_t k = first; k <= last; ++k)
            sum += profile.values[static_cast<std::size_t>(k)];
        means[static_cast<std::size_t>(i)] = sum / static_cast<double>(last - first + 1);
    }
    return means;
}

}  // namespace

Depths depthsOf(const Profile& profile) {
    const double sign = wiresAreDark(profile.values) ? -1 : 1;
    Profile above = profile;
    for (double& value : above.values) value *= sign;
    return withoutBackground(above);
}

std::vector<Group> groupsOf(const Depths& depths, double join, double pitch) {
    const std::vector<double>& values = depths.profile.values;
    const double least = std::max(5 * depths.noise, 0.02 * std::ranges::max(values));
    const double bin = depths.profile.bin;
    std::vector<Group> groups;
    for (std::size_t i = 0; i < values.size(); ++i) {
        if (!(values[i] > least)) continue;
        if (!groups.empty() && static_cast<double>(i - groups.back().last) * bin < join)
            groups.back().last = i;
        else
            groups.push_back({i, i});
    }
    // What is narrower than a pixel can show is a stray sample.
    std::erase_if(groups, [=](const Group& group) {
        return static_cast<double>(group.last - group.first + 1) * bin < pitch / 2;
    });
    return groups;
}

PairDepths pairDepths(const Depths& depths, const Group& group, double diameter, double pitch) {
    const Profile& profile = depths.profile;
    const double half = std::max(diameter / 4, pitch / 2);
    const Profile smooth{profile.bin, smoothed(profile, half)};
    const std::size_t middle = (group.first + group.last) / 2;
    const auto reach = static_cast<std::size_t>((1.6 * diameter + half) / profile.bin) + 1;
    const auto begin = smooth.values.begin(), m = begin + static_cast<std::ptrdiff_t>(middle);
    const auto left = begin + static_cast<std::ptrdiff_t>(middle > reach ? middle - reach : 0);
    const auto right =
        begin + static_cast<std::ptrdiff_t>(std::min(middle + reach + 1, smooth.values.size()));
    const auto first = std::max_element(left, m + 1);
    const auto second = std::max_element(std::min(m + 1, right - 1), right);
    const auto gap = std::min_element(first, second + 1);
    const auto near = [&](auto at, bool highest) {
        return extremeNear(profile, static_cast<std::size_t>(at - begin), half, highest);
    };
    const Extreme a = near(first, true), b = near(second, true), c = near(gap, false);

    PairDepths pair{a.value, b.value, c.value, 0, missing, b.place - a.place, 0};
    pair.middle = (a.place + b.place) / 2;
    const double sum = pair.a + pair.b;
    if (!(sum > 0)) return pair;
    pair.dip = std::clamp(100 * (sum - 2 * pair.c) / sum, 0.0, 100.0);
    // At its extreme a parabola's value has 9 / 4 of the variance of its samples' mean.
    const double noise = depths.noise * 1.5 / std::sqrt(static_cast<double>(a.samples));
    const double variance = noise * noise;
    pair.dipError = 100 * std::sqrt(4 * variance / (sum * sum) +
                                    8 * pair.c * pair.c * variance / (sum * sum * sum * sum));
    return pair;
}

}  // namespace lumo
