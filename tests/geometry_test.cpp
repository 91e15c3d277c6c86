// Turning, mirroring, rotating, shearing, estimating angles: against slow twins at every level.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "geometry/edges.h"
#include "image/lm_image.h"
#include "image/quarter_turn_copy.h"
#include "platform/cpu_level.h"
#include "support/support.h"

namespace lumo::test {
namespace {

/// Runs a check at every level on noise of each width from 1 to 70, and on a few larger sizes whose
/// rows are whole cache lines or longer than a strip.
template <class Check>
void forEachRaster(Check check) {
    struct Size {
        int width, height;
    };
    std::vector<Size> sizes = {{64, 64}, {96, 64}, {70, 96}, {64, 33}, {1100, 37}, {37, 1100}};
    for (int width = 1; width <= 70; ++width) sizes.push_back({width, 1 + width * 7 % 13 * 2});
    for (const CpuLevel level : supportedLevels()) {
        const ForcedLevel forced(level);
        for (const Size& size : sizes) {
            SCOPED_TRACE(testing::Message() << size.width << " x " << size.height << " at level "
                                            << static_cast<int>(level));
            ASSERT_NO_FATAL_FAILURE(check(noise(size.width, size.height)));
        }
    }
}

void fill(ImageOwner& owner, const Raster& raster) {
    ASSERT_EQ(LumoCreateImage(&owner.image, static_cast<std::uint16_t>(raster.width),
                              static_cast<std::uint16_t>(raster.height)),
              0);
    std::ranges::copy(raster.pixels, owner->data);
}

Raster rasterOf(const lmImage& image) {
    Raster raster(image.width, image.height);
    std::copy_n(image.data, raster.pixels.size(), raster.pixels.begin());
    return raster;
}

/// Takes over what an operation allocated.
Raster taken(Image& image) {
    Raster raster(image.width, image.height);
    std::copy_n(image.data, raster.pixels.size(), raster.pixels.begin());
    Destroy_Image(&image);
    return raster;
}

Raster rasterFrom(int width, int height, const std::vector<std::uint16_t>& pixels) {
    Raster raster(width, height);
    raster.pixels = pixels;
    return raster;
}

Raster turnedSlowly(const Raster& in, int angle) {
    Raster out(angle == 180 ? in.width : in.height, angle == 180 ? in.height : in.width);
    for (int y = 0; y < in.height; ++y)
        for (int x = 0; x < in.width; ++x) {
            const int w = in.width, h = in.height;
            if (angle == 90) out.at(y, w - 1 - x) = in.at(x, y);
            if (angle == 180) out.at(w - 1 - x, h - 1 - y) = in.at(x, y);
            if (angle == 270) out.at(h - 1 - y, x) = in.at(x, y);
        }
    return out;
}

TEST(RotateImage, MovesEveryPixelAndKeepsTheBuffer) {
    forEachRaster([](const Raster& in) {
        for (const int angle : {90, 180, 270}) {
            ImageOwner owner;
            fill(owner, in);
            const std::uint16_t* address = owner->data;
            ASSERT_EQ(LumoRotateImage(owner.image, angle), 0);
            ASSERT_EQ(rasterOf(*owner.image), turnedSlowly(in, angle)) << angle;
            EXPECT_EQ(owner->data, address);
        }
    });
}

/// Targets at any address, whole lines or not.
TEST(QuarterTurnCopy, StaysInsideTargetsAtAnyAddress) {
    for (int offset = 0; offset < 40; offset += 3) {
        const Raster in = noise(67, 64);
        for (const auto turn : {QuarterTurn::CounterClockwise, QuarterTurn::Clockwise}) {
            std::vector<std::uint16_t> room(in.pixels.size() + 80, 4711);
            quarterTurnCopy(in.source(), turn, room.data() + offset);
            const Raster expected = turnedSlowly(in, turn == QuarterTurn::Clockwise ? 270 : 90);
            const auto first = room.begin() + offset;
            EXPECT_TRUE(std::equal(expected.pixels.begin(), expected.pixels.end(), first));
            EXPECT_EQ(std::count(room.begin(), room.end(), 4711),
                      80 + std::ranges::count(in.pixels, 4711));
        }
    }
}

TEST(QuarterTurnCopy, StreamsLargeTargetsAtAnyAddress) {
    const Raster in = noise(2051, 2080);
    for (const int offset : {0, 8, 31}) {
        std::vector<std::uint16_t> room(in.pixels.size() + 32, 4711);
        quarterTurnCopy(in.source(), QuarterTurn::CounterClockwise, room.data() + offset);
        const std::uint16_t* pixel = room.data() + offset;
        int wrong = 0;
        for (int x = 2050; x >= 0; --x)
            for (int y = 0; y < 2080; ++y) wrong += *pixel++ != in.at(x, y) ? 1 : 0;
        EXPECT_EQ(wrong, 0) << offset;
        EXPECT_EQ(std::count(room.begin(), room.end(), 4711),
                  32 + std::ranges::count(in.pixels, 4711));
    }
}

TEST(RotateImage, BringsTheMetadataUpToDate) {
    struct Case {
        int angle;
        const char *rotation, *step;
        bool swaps;
    };
    for (const Case& c : {Case{90, "90", "LumoRotateImage(angle=90)", true},
                          Case{-90, "270", "LumoRotateImage(angle=270)", true},
                          Case{450, "90", "LumoRotateImage(angle=90)", true},
                          Case{-180, "180", "LumoRotateImage(angle=180)", false}}) {
        ImageOwner owner(3, 2);
        owner->pixelsizeX = 100000;
        owner->pixelsizeY = 4000000000U;
        buildRowPointers(*owner.image);
        ASSERT_EQ(LumoRotateImage(owner.image, c.angle), 0);
        EXPECT_EQ(owner->rowPointers == nullptr, c.swaps);
        EXPECT_EQ(owner.entry("Image_X", "Rotation"), c.rotation);
        EXPECT_EQ(owner.entry("PerformedSteps", "Step0"), c.step);
        EXPECT_EQ(owner.entry("PerformedSteps", "Step1"), "");
        EXPECT_EQ(owner->width, c.swaps ? 2 : 3);
        EXPECT_EQ(owner->pixelsizeX, c.swaps ? 4000000000U : 100000U);
        EXPECT_EQ(owner->pixelsizeY, c.swaps ? 100000U : 4000000000U);
        EXPECT_EQ(owner.entry("Image_X", "Width"), c.swaps ? "2" : "");
        EXPECT_EQ(owner.entry("Image_X", "Height"), c.swaps ? "3" : "");
        EXPECT_EQ(owner.entry("Image_X", "PixelsizeX"), c.swaps ? "4000000000" : "");
        EXPECT_EQ(owner.entry("Image_X", "PixelsizeY"), c.swaps ? "100000" : "");
    }
    ImageOwner twice(3, 2);
    EXPECT_EQ(LumoRotateImage(twice.image, 90) + LumoRotateImage(twice.image, 90), 0);
    EXPECT_EQ(twice.entry("Image_X", "Rotation"), "90");
    EXPECT_EQ(twice.entry("PerformedSteps", "Step1"), "LumoRotateImage(angle=90)");
}

TEST(RotateImage, RefusesOtherAnglesWithOneLogLine) {
    ImageOwner owner(3, 2);
    const Raster before = rasterOf(*owner.image);
    const std::string metadata = owner->metaData;
    lmtSetLastError(-7);
    for (const int angle : {0, 360, -720, 45, 91, -1}) {
        LogLines log;
        EXPECT_EQ(LumoRotateImage(owner.image, angle), -20);
        EXPECT_EQ(log.lines(), (std::vector<std::string>{std::string("3 LumoRotateImage -20 ") +
                                                         lmtErrorMessage(-20)}));
    }
    EXPECT_EQ(LumoRotateImage(nullptr, 90), -50);
    EXPECT_EQ(lmtGetLastError(), -7) << "the failure is not recorded";
    EXPECT_EQ(rasterOf(*owner.image), before);
    EXPECT_EQ(owner->metaData, metadata);
}

TEST(RotateImage, TurnsAnImageWithoutRaster) {
    for (const int angle : {90, 180}) {
        ImageOwner owner(0, 0);
        owner->pixelsizeX = 5;
        EXPECT_EQ(LumoRotateImage(owner.image, angle), 0);
        EXPECT_EQ(owner->pixelsizeY, angle == 90 ? 5U : 100000U);
        EXPECT_EQ(owner.entry("PerformedSteps", "Step0").empty(), false);
    }
}

TEST(MirrorImage, MovesEveryPixel) {
    forEachRaster([](const Raster& in) {
        for (const bool vertical : {false, true}) {
            ImageOwner owner;
            fill(owner, in);
            Raster expected = in;
            for (int y = 0; y < in.height; ++y)
                for (int x = 0; x < in.width; ++x)
                    expected.at(x, y) =
                        vertical ? in.at(x, in.height - 1 - y) : in.at(in.width - 1 - x, y);
            ASSERT_EQ(LumoMirrorImage(owner.image, vertical ? 0 : 1, vertical ? 1 : 0), 0);
            ASSERT_EQ(rasterOf(*owner.image), expected);
        }
    });
}

TEST(MirrorImage, RecordsWhatItDid) {
    struct Case {
        int horizontal, vertical;
        const char *mirror, *rotation, *step;
    };
    for (const Case& c : {Case{1, 0, "Horizontal", "", "LumoMirrorImage(h=1, v=0)"},
                          Case{0, 7, "Vertical", "", "LumoMirrorImage(h=0, v=7)"},
                          Case{-3, 0, "Horizontal", "", "LumoMirrorImage(h=-3, v=0)"},
                          Case{1, 1, "before", "180", "LumoRotateImage(angle=180)"},
                          Case{0, 0, "before", "", ""}}) {
        ImageOwner owner(3, 2);
        ASSERT_EQ(LumoSetMetaEntry(owner.image, "Image_X", "Mirror", "before"), 0);
        LogLines log;
        EXPECT_EQ(LumoMirrorImage(owner.image, c.horizontal, c.vertical), 0);
        EXPECT_TRUE(log.lines().empty());
        EXPECT_EQ(owner.entry("Image_X", "Mirror"), c.mirror);
        EXPECT_EQ(owner.entry("Image_X", "Rotation"), c.rotation);
        EXPECT_EQ(owner.entry("PerformedSteps", "Step0"), c.step);
    }
    ImageOwner empty(0, 0);
    EXPECT_EQ(LumoMirrorImage(empty.image, 1, 1), -2);
    EXPECT_EQ(LumoMirrorImage(nullptr, 0, 0), -2);
}

constexpr double pi = 3.141592653589793;

/// The rotation as its description reads: column by column, each position advanced, each operation
/// in single precision rounded.
Raster rotatedSlowly(const Raster& in, double angle) {
    const double theta = angle / 360 * 2 * pi, c = std::cos(theta), s = std::sin(theta);
    const float cx = static_cast<float>(in.width / 2.0), cy = static_cast<float>(in.height / 2.0);
    float minX = 1e9F, maxX = -1e9F, minY = 1e9F, maxY = -1e9F;
    for (const double x : {0.0, in.width - 1.0})
        for (const double y : {0.0, in.height - 1.0}) {
            const auto mappedX = static_cast<float>((x - cx) * c - (y - cy) * s + cx);
            const auto mappedY = static_cast<float>((x - cx) * s + (y - cy) * c + cy);
            minX = std::min(minX, mappedX), maxX = std::max(maxX, mappedX);
            minY = std::min(minY, mappedY), maxY = std::max(maxY, mappedY);
        }
    const float toLeft = minX - 1, toRight = maxX + 1;
    const double left = std::floor(toLeft), right = std::ceil(toRight);
    const double top = std::floor(minY) - 1, bottom = std::ceil(maxY) + 1;
    Raster out(static_cast<int>(right - left), static_cast<int>(bottom - top));
    const auto pixel = [&](double x, double y) -> float {
        const bool inside = x >= 0 && x < in.width && y >= 0 && y < in.height;
        return inside ? in.at(static_cast<int>(x), static_cast<int>(y)) : 0;
    };
    for (int i = 0; i < out.width; ++i) {
        double sx = (left + i - cx) * c + (cy - top) * s + cx;
        double sy = (left + i - cx) * s - (cy - top) * c + cy;
        for (int j = 0; j < out.height; ++j, sx = sx - s, sy = sy + c) {
            const double x0 = std::floor(sx), y0 = std::floor(sy);
            const auto dx = static_cast<float>(sx - x0), dy = static_cast<float>(sy - y0);
            const float dxy = dx * dy;
            const float w00 = 1 - dx - dy + dxy, w10 = dx - dxy, w01 = dy - dxy;
            float a = pixel(x0, y0) * w00;
            a = pixel(x0 + 1, y0) * w10 + a;
            a = pixel(x0, y0 + 1) * w01 + a;
            a = pixel(x0 + 1, y0 + 1) * dxy + a;
            out.at(i, j) = static_cast<std::uint16_t>(static_cast<int>(a));
        }
    }
    return out;
}

/// Each column, then each row, as described: the column pass in place.
Raster shearedSlowly(const Raster& in, double angle) {
    const double theta = angle / 360 * 2 * pi, t = std::tan(theta);
    const auto cut = [](double shift) {
        return static_cast<int>(std::max(-65536.0, std::min(65536.0, shift)));
    };
    Raster rows(in.width, in.height), out(in.width, in.height);
    for (int y = 0; y < in.height; ++y) {
        const int k = cut(theta > 0 ? (in.height - 1 - y) * t : -y * t);
        for (int x = std::max(0, -k); x < std::min(in.width, in.width - k); ++x)
            rows.at(x, y) = in.at(x + k, y);
    }
    for (int x = 0; x < in.width; ++x) {
        const int m = cut(theta > 0 ? x * t : (x + 1 - in.width) * t);
        for (int y = std::max(0, -m); y < std::min(in.height, in.height - m); ++y)
            out.at(x, y) = rows.at(x, y + m);
    }
    return out;
}

TEST(Rotation, EqualsTheFormulasAtAnyAngle) {
    std::size_t call = 0;
    const double angles[] = {0, 0.7, 7, 45, 90, 180, -90, 359.9, -33.3, 123.456, 1e-15, -1e6, 270};
    forEachRaster([&](Raster in) {
        for (int i = 0; i < 4; ++i) {
            const double angle = angles[call++ % std::size(angles)];
            Image target = {};
            ASSERT_EQ(RotationNewImage(in.image(), &target, angle), 0);
            ASSERT_EQ(taken(target), rotatedSlowly(in, angle)) << angle;
        }
    });
}

TEST(Shear, EqualsTheFormulasAtAnyAngle) {
    std::size_t call = 0;
    const double angles[] = {0,   5,    -5,  0.3,   44,    -60, 89.9999, 90, -90,
                             100, -135, 180, 1e300, -0.05, 177, -176,    174};
    forEachRaster([&](Raster in) {
        for (int i = 0; i < 4; ++i) {
            const double angle = angles[call++ % std::size(angles)];
            Image target = {};
            ASSERT_EQ(::Shear(in.image(), &target, angle), 0);
            ASSERT_EQ(taken(target), shearedSlowly(in, angle)) << angle;
        }
    });
}

TEST(Rotation, GivesTheKnownSmallResults) {
    Raster in = rasterFrom(3, 2, {1, 2, 3, 4, 5, 6});
    struct Case {
        int (*operation)(Image, Image*, double);
        double angle;
        Raster expected;
    };
    for (const Case& c :
         {Case{RotationNewImage, 0, rasterFrom(4, 3, {0, 0, 0, 0, 0, 1, 2, 3, 0, 4, 5, 6})},
          Case{RotationNewImage, 180, rasterFrom(4, 3, {0, 0, 0, 0, 0, 6, 5, 4, 0, 3, 2, 1})},
          Case{::Shear, 0, in}, Case{::Shear, 50, rasterFrom(3, 2, {2, 5, 0, 4, 0, 0})}}) {
        Image target = {};
        LogLines log;
        ASSERT_EQ(c.operation(in.image(), &target, c.angle), 0);
        EXPECT_EQ(log.lines(),
                  (std::vector<std::string>{"8 Create_Image entry", "7 Create_Image return 0"}));
        EXPECT_EQ(taken(target), c.expected) << c.angle;
    }
}

TEST(Rotation, RefusesWhatItCannotTurn) {
    Raster in(3, 2), wide(65535, 1);
    for (const auto operation : {RotationNewImage, ::Shear}) {
        Image target = {7, 8, in.pixels.data()};
        EXPECT_EQ(operation(in.image(), nullptr, 1), -2);
        for (const double angle : {std::nan(""), HUGE_VAL, -HUGE_VAL})
            EXPECT_EQ(operation(in.image(), &target, angle), -2);
        for (const Image& image : {Image{3, 2, nullptr}, Image{0, 2, in.pixels.data()}, Image{}})
            EXPECT_EQ(operation(image, &target, 1), -50);
        if (operation == RotationNewImage) {
            EXPECT_EQ(operation(wide.image(), &target, 0), -50);
        }
        EXPECT_EQ(target.width, 7);
        EXPECT_EQ(target.data, in.pixels.data());
    }
}

EdgeProfiles edgesSlowly(const Raster& in) {
    const auto w = static_cast<std::size_t>(in.width), h = static_cast<std::size_t>(in.height);
    EdgeProfiles edges{std::vector<std::uint16_t>(w, static_cast<std::uint16_t>(h - 1)),
                       std::vector<std::uint16_t>(w, std::uint16_t{0}),
                       std::vector<std::uint16_t>(h, static_cast<std::uint16_t>(w)),
                       std::vector<std::uint16_t>(h, std::uint16_t{0})};
    for (std::size_t x = 0; x < w; ++x)
        for (std::size_t y = 0; y < h; ++y) {
            if (in.at(static_cast<int>(x), static_cast<int>(y)) <= 8000) continue;
            const auto column = static_cast<std::uint16_t>(x), row = static_cast<std::uint16_t>(y);
            edges.top[x] = std::min(edges.top[x], row);
            edges.bottom[x] = std::max(edges.bottom[x], row);
            edges.left[y] = std::min(edges.left[y], column);
            edges.right[y] = std::max(edges.right[y], column);
        }
    return edges;
}

TEST(RotationAngle, FindsTheEdgesOfSparseAndDenseImages) {
    forEachRaster([](Raster in) {
        for (const unsigned share : {1U, 20U, 400U, 100000U}) {  // one pixel in so many is exposed
            Random random(share);
            for (auto& pixel : in.pixels)
                pixel = random.below(share) == 0 ? std::uint16_t{8001} : std::uint16_t{8000};
            const EdgeProfiles found = findEdges(in.source()), expected = edgesSlowly(in);
            ASSERT_EQ(found.top, expected.top);
            ASSERT_EQ(found.bottom, expected.bottom);
            ASSERT_EQ(found.left, expected.left);
            ASSERT_EQ(found.right, expected.right);
        }
    });
}

TEST(RotationAngle, IsTheTurnThatSetsARectangleStraight) {
    Raster in(120, 80);
    for (int y = 2; y < 78; ++y)
        for (int x = 2; x < 118; ++x) in.at(x, y) = 30000;
    EXPECT_EQ(CalculateRotationAngle(in.image()), 0);
    for (const double angle : {10.0, -7.0, 3.0}) {
        Image turned = {};
        ASSERT_EQ(RotationNewImage(in.image(), &turned, angle), 0);
        EXPECT_NEAR(CalculateRotationAngle(turned), -angle, 0.5);
        Destroy_Image(&turned);
    }
    // One edge that goes astray: the bottom falls away steeply from column to column.
    for (int x = 0; x < 120; ++x)
        for (int y = 40 + x / 4; y < 80; ++y) in.at(x, y) = 0;
    EXPECT_NEAR(CalculateRotationAngle(in.image()), 0, 1e-9);
}

TEST(RotationAngle, FitsTheMiddleHalfOfEachEdge) {
    // Exactly linear in the middle half, wild outside: slope 1/2 at the top, 0 at the other edges,
    // so the two middle angles are those of two upright edges; a common tilt comes out whole.
    Raster in(64, 64);
    for (int x = 0; x < 64; ++x) {
        const bool middle = x >= 16 && x < 48;
        for (int y = 0; y < 64; ++y)
            in.at(x, y) =
                y >= (middle ? x / 2 : 63 - x) && y < 32 + (middle ? x / 2 : 0) ? 8001 : 0;
    }
    const EdgeProfiles edges = edgesSlowly(in);
    const auto angleOf = [](const std::vector<std::uint16_t>& p) {
        const std::size_t n = p.size(), q = n / 4;
        double meanI = 0, meanP = 0, above = 0, below = 0;
        for (std::size_t i = q; i < n - q; ++i) meanI += double(i), meanP += p[i];
        meanI /= double(n - 2 * q), meanP /= double(n - 2 * q);
        for (std::size_t i = q; i < n - q; ++i) {
            above += (double(i) - meanI) * (p[i] - meanP);
            below += (double(i) - meanI) * (double(i) - meanI);
        }
        return std::atan(above / below) * 180 / pi;
    };
    double angles[] = {angleOf(edges.top), angleOf(edges.bottom), -angleOf(edges.left),
                       -angleOf(edges.right)};
    std::ranges::sort(angles);
    EXPECT_GT(std::abs(angles[1] + angles[2]), 1) << "the case tells nothing";
    EXPECT_NEAR(CalculateRotationAngle(in.image()), (angles[1] + angles[2]) / 2, 1e-9);
}

TEST(RotationAngle, IsZeroWhereNothingCanBeFitted) {
    for (const auto& [width, height] : {std::pair{1, 1}, {1, 9}, {9, 1}, {2, 2}, {100, 3}})
        for (const std::uint16_t value : {std::uint16_t{8000}, std::uint16_t{8001}})
            EXPECT_EQ(CalculateRotationAngle(Raster(width, height, value).image()), 0);
    EXPECT_EQ(CalculateRotationAngle({3, 3, nullptr}), 0);
    EXPECT_EQ(CalculateRotationAngle({}), 0);
}

}  // namespace
}  // namespace lumo::test
