// Turning, mirroring, rotating, shearing, estimating angles: against slow twins at every level.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <span>
#include <tuple>

#include "geometry/edges.h"
#include "image/lm_image.h"
#include "image/quarter_turn_copy.h"
#include "support/support.h"

namespace lumo::test {
namespace {

TEST(RotateImage, MovesEveryPixelAndKeepsTheBuffer) {
    atEveryLevelAndSize([](const Raster& in) {
        for (const int angle : {90, 180, 270}) {
            ImageOwner owner(in);
            const std::uint16_t* address = owner->data;
            ASSERT_EQ(LumoRotateImage(owner.image, angle), 0);
            ASSERT_EQ(Raster(owner.plain()), turned(in, angle)) << angle;
            EXPECT_EQ(owner->data, address);
        }
    });
}

/// Targets at any address, whole lines or not.
TEST(QuarterTurnCopy, StaysInsideTargetsAtAnyAddress) {
    for (std::size_t offset = 0; offset < 40; offset += 3) {
        const Raster in = noise(67, 64);
        for (const auto turn : {QuarterTurn::CounterClockwise, QuarterTurn::Clockwise}) {
            std::vector<std::uint16_t> room(in.pixels.size() + 80, 4711);
            quarterTurnCopy(in.source(), turn, room.data() + offset);
            const Raster expected = turned(in, turn == QuarterTurn::Clockwise ? 270 : 90);
            EXPECT_TRUE(
                std::ranges::equal(expected.pixels, std::span(room).subspan(offset, 67 * 64)));
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
    const std::tuple<int, const char*, bool> cases[] = {
        {90, "90", true}, {-90, "270", true}, {450, "90", true}, {-180, "180", false}};
    for (const auto& [angle, rotation, swaps] : cases) {
        ImageOwner owner(3, 2);
        owner->pixelsizeX = 100000;
        owner->pixelsizeY = 4000000000U;
        buildRowPointers(*owner.image);
        ASSERT_EQ(LumoRotateImage(owner.image, angle), 0);
        EXPECT_EQ(owner->rowPointers == nullptr, swaps);
        EXPECT_EQ(owner->width, swaps ? 2 : 3);
        EXPECT_EQ(owner->pixelsizeX, swaps ? 4000000000U : 100000U);
        EXPECT_EQ(owner->pixelsizeY, swaps ? 100000U : 4000000000U);
        const std::string step = std::string("LumoRotateImage(angle=") + rotation + ")";
        EXPECT_EQ(owner.entry("Image_X", "Rotation"), rotation);
        EXPECT_EQ(owner.entry("PerformedSteps", "Step0"), step);
        EXPECT_EQ(owner.entry("PerformedSteps", "Step1"), "");
        const char* const geometry[][2] = {{"Width", "2"},
                                           {"Height", "3"},
                                           {"PixelsizeX", "4000000000"},
                                           {"PixelsizeY", "100000"}};
        for (const auto& [key, value] : geometry)
            EXPECT_EQ(owner.entry("Image_X", key), swaps ? value : "") << key;
        ASSERT_EQ(LumoRotateImage(owner.image, angle), 0);
        EXPECT_EQ(owner.entry("Image_X", "Rotation"), rotation) << "of the last turn alone";
        EXPECT_EQ(owner.entry("PerformedSteps", "Step1"), step);
    }
    for (const int angle : {90, 180}) {
        ImageOwner owner(0, 0);
        owner->pixelsizeX = 5;
        EXPECT_EQ(LumoRotateImage(owner.image, angle), 0) << "without raster";
        EXPECT_EQ(owner->pixelsizeY, angle == 90 ? 5U : 100000U);
        EXPECT_NE(owner.entry("PerformedSteps", "Step0"), "");
    }
}

TEST(RotateImage, LogsOfAQuarterTurnTheImageItWorksWith) {
    ImageOwner owner(3, 2);
    const LogLines log;
    ASSERT_EQ(LumoRotateImage(owner.image, 90), 0);
    const std::vector<std::string> lines = {"8 LumoCreateImage entry",
                                            "8 LumoResizeImageBuf entry",
                                            "7 LumoResizeImageBuf width=2 height=3 return 0",
                                            "7 LumoCreateImage return 0",
                                            "8 LumoDestroyImage entry",
                                            "7 LumoDestroyImage return 0"};
    EXPECT_EQ(log.lines(), lines);
}

TEST(RotateImage, RefusesOtherAnglesWithOneLogLine) {
    ImageOwner owner(3, 2);
    const Pixels before = owner.pixels();
    const std::string metadata = owner->metaData;
    const LogLines log;
    const std::vector<std::string> lines(
        6, std::string("3 LumoRotateImage -20 ") + lmtErrorMessage(-20));
    lmtSetLastError(-7);
    for (const int angle : {0, 360, -720, 45, 91, -1})
        EXPECT_EQ(LumoRotateImage(owner.image, angle), -20);
    EXPECT_EQ(log.lines(), lines);
    EXPECT_EQ(LumoRotateImage(nullptr, 90), -50);
    EXPECT_EQ(lmtGetLastError(), -7) << "the failure is not recorded";
    EXPECT_EQ(owner.pixels(), before);
    EXPECT_EQ(owner->metaData, metadata);
}

TEST(MirrorImage, MovesEveryPixel) {
    atEveryLevelAndSize([](const Raster& in) {
        ImageOwner across(in), down(in);
        ASSERT_EQ(LumoMirrorImage(across.image, 1, 0), 0);
        ASSERT_EQ(LumoMirrorImage(down.image, 0, 1), 0);
        Raster expected = in;
        for (int y = 0; y < in.height; ++y)
            std::ranges::reverse(std::span(&expected.at(0, y), std::size_t(in.width)));
        ASSERT_EQ(Raster(across.plain()), expected);
        ASSERT_EQ(Raster(down.plain()), turned(expected, 180));
    });
}

TEST(MirrorImage, RecordsWhatItDid) {
    const std::tuple<int, int, const char*, const char*, const char*> cases[] = {
        {1, 0, "Horizontal", "", "LumoMirrorImage(h=1, v=0)"},
        {0, 7, "Vertical", "", "LumoMirrorImage(h=0, v=7)"},
        {-3, 0, "Horizontal", "", "LumoMirrorImage(h=-3, v=0)"},
        {1, 1, "before", "180", "LumoRotateImage(angle=180)"},
        {0, 0, "before", "", ""}};
    for (const auto& [horizontal, vertical, mirror, rotation, step] : cases) {
        ImageOwner owner(3, 2);
        owner.set("Image_X", "Mirror", "before");
        const LogLines log;
        EXPECT_EQ(LumoMirrorImage(owner.image, horizontal, vertical), 0);
        EXPECT_TRUE(log.lines().empty());
        EXPECT_EQ(owner.entry("Image_X", "Mirror"), mirror);
        EXPECT_EQ(owner.entry("Image_X", "Rotation"), rotation);
        EXPECT_EQ(owner.entry("PerformedSteps", "Step0"), step);
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
    const auto cut = [](double shift) { return int(std::clamp(shift, -65536.0, 65536.0)); };
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
    const struct {
        int (*operation)(Image, Image*, double);
        Raster (*twin)(const Raster&, double);
        std::vector<double> angles;
    } cases[] = {
        {RotationNewImage,
         rotatedSlowly,
         {0, 0.7, 7, 45, 90, 180, -90, 359.9, -33.3, 123.456, 1e-15, -1e6, 270}},
        {::Shear,
         shearedSlowly,
         {0, 5, -5, 0.3, 44, -60, 89.9999, 90, -90, 100, -135, 180, 1e300, -0.05, 177, -176, 174}}};
    for (const auto& [operation, twin, angles] : cases) {
        std::size_t call = 0;
        atEverySize([&, &run = operation, &slow = twin, &all = angles](Raster in) {
            for (int i = 0; i < 4; ++i) {
                const double angle = all[call++ % all.size()];
                const Raster expected = slow(in, angle);
                atEveryLevel([&] {
                    OwnedImage target;
                    ASSERT_EQ(run(in.image(), &target, angle), 0);
                    ASSERT_EQ(Raster(target), expected) << angle;
                });
            }
        });
    }
}

TEST(Rotation, GivesTheKnownSmallResults) {
    Raster in(3, 2, {1, 2, 3, 4, 5, 6});
    OwnedImage rotated, sheared;
    const LogLines log;
    ASSERT_EQ(RotationNewImage(in.image(), &rotated, 180), 0);
    ASSERT_EQ(::Shear(in.image(), &sheared, 50), 0);
    const std::string entry = "8 Create_Image entry", made = "7 Create_Image return 0";
    EXPECT_EQ(log.lines(), (std::vector{entry, made, entry, made}));
    EXPECT_EQ(Raster(rotated), Raster(4, 3, {0, 0, 0, 0, 0, 6, 5, 4, 0, 3, 2, 1}));
    EXPECT_EQ(Raster(sheared), Raster(3, 2, {2, 5, 0, 4, 0, 0}));
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
    const auto w = std::uint16_t(in.width), h = std::uint16_t(in.height);
    EdgeProfiles edges{Pixels(w, std::uint16_t(h - 1)), Pixels(w), Pixels(h, w), Pixels(h)};
    for (std::uint16_t x = 0; x < w; ++x)
        for (std::uint16_t y = 0; y < h; ++y) {
            if (in.at(x, y) <= 8000) continue;
            edges.top[x] = std::min(edges.top[x], y);
            edges.bottom[x] = std::max(edges.bottom[x], y);
            edges.left[y] = std::min(edges.left[y], x);
            edges.right[y] = std::max(edges.right[y], x);
        }
    return edges;
}

TEST(RotationAngle, FindsTheEdgesOfSparseAndDenseImages) {
    atEveryLevelAndSize([](Raster in) {
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
        OwnedImage tilted;
        ASSERT_EQ(RotationNewImage(in.image(), &tilted, angle), 0);
        EXPECT_NEAR(CalculateRotationAngle(tilted), -angle, 0.5);
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
    const auto angleOf = [](const Pixels& p) {
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
    EXPECT_GT(std::abs(angles[1] + angles[2]), 1) << "the case says nothing";
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
