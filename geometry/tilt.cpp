// How far the exposed area is tilted, from straight lines through its four edges.
#include "geometry/tilt.h"

#include <algorithm>
#include <cmath>
#include <span>

#include "frame/call_frame.h"
#include "geometry/angle.h"
#include "geometry/edges.h"
#include "lumo_legacy.h"

namespace lumo {
namespace {

/// The slope of the least-squares line through a profile's middle half; 0 for less than two
/// entries.
double slopeOf(std::span<const std::uint16_t> profile) {
    const auto n = static_cast<std::int64_t>(profile.size());
    const std::int64_t first = n / 4, count = n - 2 * first;
    if (count < 2) return 0;
    std::int64_t sumI = 0, sumP = 0, sumII = 0, sumPI = 0;
    for (std::int64_t i = first; i < first + count; ++i) {
        const std::int64_t p = profile[static_cast<std::size_t>(i)];
        sumI += i;
        sumP += p;
        sumII += i * i;
        sumPI += p * i;
    }
    const auto number = [](std::int64_t sum) { return static_cast<double>(sum); };
    return (number(count) * number(sumPI) - number(sumI) * number(sumP)) /
           (number(count) * number(sumII) - number(sumI) * number(sumI));
}

}  // namespace

Tilt tiltOf(Source image) {
    const EdgeProfiles edges = findEdges(image);
    // The sides measure x against y, so their slopes count the other way round.
    double angles[] = {std::atan(slopeOf(edges.top)), std::atan(slopeOf(edges.bottom)),
                       std::atan(-slopeOf(edges.left)), std::atan(-slopeOf(edges.right))};
    std::ranges::stable_sort(angles);
    // The outer two are dropped: one edge that goes astray does not count.
    return {degrees((angles[1] + angles[2]) * 0.5), degrees(angles[2] - angles[1])};
}

}  // namespace lumo

extern "C" double CalculateRotationAngle(Image image) {
    if (image.data == nullptr || image.width == 0 || image.height == 0) return 0;
    double angle = 0;
    const int code =
        lumo::guarded([&] { angle = lumo::tiltOf(lumo::asSource(lumo::viewOf(image))).degrees; });
    return code == LumoOk ? angle : 0;
}
