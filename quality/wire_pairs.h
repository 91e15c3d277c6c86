// Pairs of wires on a profile: finding them, how deep wires and gap are.
#pragma once

#include <vector>

#include "lumo_quality.h"
#include "quality/strip.h"

namespace lumo {

/// Depths below the background, and their noise on it.
struct Depths {
    Profile profile;
    double noise;
};

/// Subtracts the background; wires are deep whether they are dark or bright.
[[nodiscard]] Depths depthsOf(const Profile& profile);

/// A stretch of samples, the last one included.
struct Group {
    std::size_t first, last;
};

/// The pairs' stretches, the samples of each within `join` millimetres of the next.
[[nodiscard]] std::vector<Group> groupsOf(const Depths& depths, double join, double pitch);

/// What a pair shows.
struct PairDepths {
    double a, b, c, dip, dipError;
    double distance;  ///< of the wires
    double middle;    ///< place
};

/// Depths of a pair of wires of this diameter on the detector.
[[nodiscard]] PairDepths pairDepths(const Depths& depths, const Group& group, double diameter,
                                    double pitch);

}  // namespace lumo
