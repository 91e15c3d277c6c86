// The parts of the phantom, in thousandths of the image's shorter side: x to the right, y down, the
// origin in the middle.
#pragma once

#include <array>

namespace lumo::cli {

struct Point {
    double x, y;
};

/// A rod with rounded ends whose radius goes from `radius0` to `radius1` and is smaller by the part
/// `waist` half way.
struct Rod {
    Point from, to;
    double radius0, radius1, waist;
};

inline constexpr std::array bones = {
    // fingers: metacarpal, proximal, middle and distal phalanx
    Rod{{-64, 205}, {-101, 22}, 17, 18, .42},
    Rod{{-107, -4}, {-131, -128}, 16, 13, .35},
    Rod{{-135, -149}, {-149, -226}, 13, 11, .32},
    Rod{{-152, -244}, {-159, -288}, 10, 7, .3},
    Rod{{-19, 198}, {-21, 4}, 17, 18, .42},
    Rod{{-22, -23}, {-23, -162}, 16, 13, .35},
    Rod{{-23, -184}, {-24, -273}, 13, 11, .32},
    Rod{{-24, -292}, {-24, -342}, 10, 7, .3},
    Rod{{23, 203}, {54, 25}, 15, 17, .42},
    Rod{{60, 0}, {85, -127}, 15, 12, .35},
    Rod{{89, -148}, {105, -233}, 12, 10, .32},
    Rod{{109, -251}, {118, -298}, 9, 7, .3},
    Rod{{61, 212}, {120, 60}, 14, 16, .4},
    Rod{{129, 37}, {166, -57}, 13, 11, .35},
    Rod{{174, -77}, {194, -129}, 11, 9, .32},
    Rod{{200, -146}, {214, -184}, 8, 6, .3},
    // thumb
    Rod{{-98, 226}, {-178, 122}, 19, 19, .38},
    Rod{{-194, 100}, {-241, 20}, 16, 13, .32},
    Rod{{-253, 1}, {-280, -52}, 13, 8, .3},
    // wrist
    Rod{{-82, 284}, {-62, 297}, 27, 23, 0},
    Rod{{-18, 304}, {-12, 297}, 28, 27, 0},
    Rod{{29, 297}, {37, 285}, 23, 21, 0},
    Rod{{44, 272}, {45, 278}, 12, 12, 0},
    Rod{{-86, 242}, {-80, 252}, 22, 20, 0},
    Rod{{-52, 238}, {-48, 250}, 18, 16, 0},
    Rod{{-14, 228}, {-14, 262}, 22, 20, .1},
    Rod{{26, 236}, {34, 254}, 24, 20, 0},
    // forearm
    Rod{{-48, 346}, {-42, 640}, 46, 28, .3},
    Rod{{50, 350}, {42, 640}, 24, 22, .15},
};

inline constexpr std::array softTissue = {
    Rod{{-96, 60}, {-160, -292}, 37, 22, 0}, Rod{{-20, 40}, {-24, -344}, 38, 22, 0},
    Rod{{50, 60}, {119, -302}, 37, 21, 0},   Rod{{108, 100}, {215, -188}, 34, 18, 0},
    Rod{{-92, 232}, {-283, -58}, 46, 24, 0}, Rod{{-50, 300}, {-84, 40}, 56, 56, 0},
    Rod{{-10, 300}, {-20, 30}, 66, 54, 0},   Rod{{22, 300}, {45, 50}, 62, 54, 0},
    Rod{{34, 310}, {98, 95}, 62, 48, 0},     Rod{{-4, 320}, {-6, 420}, 96, 92, 0},
    Rod{{-6, 420}, {-2, 720}, 92, 125, 0},   Rod{{-90, 220}, {-120, 110}, 52, 36, 0},
    Rod{{14, 10}, {22, 40}, 34, 40, 0},
};

/// The letter R of lead.
inline constexpr std::array marker = {
    Rod{{352, -366}, {352, -300}, 5, 5, 0}, Rod{{352, -364}, {378, -364}, 5, 5, 0},
    Rod{{378, -364}, {386, -349}, 5, 5, 0}, Rod{{386, -349}, {378, -334}, 5, 5, 0},
    Rod{{378, -334}, {352, -334}, 5, 5, 0}, Rod{{366, -334}, {388, -300}, 5, 5, 0},
};

struct Box {
    double left, top, right, bottom;
};

inline constexpr Box wedge = {-428, -330, -352, 270};
inline constexpr int wedgeSteps = 10;

inline constexpr Box mesh = {190, 230, 400, 400};
inline constexpr double meshPeriod = 15, wireRadius = 3;

}  // namespace lumo::cli
