// Stacks of frames, dark frames, bad pixels: beside slow twins and planted defects.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>

#include "quality/local_median.h"
#include "support/pictures.h"

namespace lumo::test {
namespace {

struct Destroy {
    void operator()(LumoStack* stack) const { LumoStackDestroy(&stack); }
};
using Stack = std::unique_ptr<LumoStack, Destroy>;

Stack stackOf(int width, int height, bool deviation = true) {
    LumoStack* stack = nullptr;
    EXPECT_EQ(LumoStackCreate(&stack, std::uint16_t(width), std::uint16_t(height), deviation), 0);
    return Stack(stack);
}

TEST(QualityStack, EqualsASlowTwinAtEveryLevel) {
    atEveryLevelAndSize([](const Raster& raster) {
        const int frames = 3;
        std::vector<Raster> all{raster, noise(raster.width, raster.height, 8), raster};
        const Stack stack = stackOf(raster.width, raster.height);
        for (Raster& frame : all) ASSERT_EQ(LumoStackAdd(stack.get(), frame.image()), 0);
        EXPECT_EQ(LumoStackCount(stack.get()), 3U);
        Raster mean(raster.width, raster.height);
        FImage deviation{};
        Create_FImage(std::uint16_t(raster.width), std::uint16_t(raster.height), &deviation);
        ASSERT_EQ(LumoStackMean(stack.get(), mean.image()), 0);
        ASSERT_EQ(LumoStackDeviation(stack.get(), deviation), 0);
        for (std::size_t i = 0; i < mean.pixels.size(); ++i) {
            double sum = 0, squares = 0;
            for (const Raster& frame : all) sum += frame.pixels[i];
            for (const Raster& frame : all) squares += std::pow(frame.pixels[i] - sum / frames, 2);
            ASSERT_EQ(mean.pixels[i], std::uint16_t(std::floor(sum / frames + 0.5)));
            ASSERT_NEAR(deviation.data[i], std::sqrt(squares / (frames - 1)), 0.01);
        }
        Destroy_FImage(&deviation);
    });
}

TEST(QualityStack, RoundsHalfUpAndTakesAnyNumber) {
    Raster low(5, 4, 6), high(5, 4, 7), white(5, 4, 65535), mean(5, 4);
    Stack stack = stackOf(5, 4, false);
    for (Raster* frame : {&low, &high}) LumoStackAdd(stack.get(), frame->image());
    LumoStackMean(stack.get(), mean.image());
    EXPECT_EQ(mean, high);
    stack = stackOf(5, 4);
    for (int i = 0; i < 70000; ++i) LumoStackAdd(stack.get(), white.image());
    LumoStackMean(stack.get(), mean.image());
    EXPECT_EQ(mean, white);
    std::vector<float> deviations(20, 1);
    EXPECT_EQ(LumoStackDeviation(stack.get(), {5, 4, deviations.data()}), 0);
    EXPECT_EQ(deviations, std::vector<float>(20));
}

TEST(QualityStack, AveragesNoiseAway) {
    const Stack stack = stackOf(200, 200);
    for (std::uint64_t i = 0; i < 16; ++i) {
        Raster frame = picture(
            200, 200, [](int, int) { return 3000; }, 40, i);
        LumoStackAdd(stack.get(), frame.image());
    }
    Raster mean(200, 200);
    LumoStackMean(stack.get(), mean.image());
    LumoSnr snr = sized<LumoSnr>();
    LumoMeasureSnr(mean.image(), wholeOf(mean), nullptr, &snr);
    EXPECT_NEAR(snr.sigma, std::sqrt(1600.0 / 16 + 1.0 / 12), 0.2);
}

TEST(QualityStack, RefusesOtherSizesAndTooFewFrames) {
    Raster frame(5, 4), other(4, 5);
    float values[20];
    const Stack stack = stackOf(5, 4), plain = stackOf(5, 4, false);
    LumoStack* none = nullptr;
    expectCodes(-2, {LumoStackCreate(nullptr, 5, 4, 0), LumoStackCreate(&none, 0, 4, 0),
                     LumoStackAdd(nullptr, frame.image()), LumoStackMean(nullptr, frame.image()),
                     LumoStackDeviation(plain.get(), {5, 4, values}), LumoStackDestroy(nullptr)});
    expectCodes(-50, {LumoStackAdd(stack.get(), other.image()), LumoStackAdd(stack.get(), {}),
                      LumoStackMean(stack.get(), other.image()),
                      LumoStackDeviation(stack.get(), {4, 5, values})});
    EXPECT_EQ(LumoStackMean(stack.get(), frame.image()), -30);
    LumoStackAdd(stack.get(), frame.image());
    EXPECT_EQ(LumoStackDeviation(stack.get(), {5, 4, values}), -30);
    EXPECT_EQ(LumoStackDestroy(&none), 0);
    EXPECT_EQ(LumoStackCount(nullptr), 0U);
}

TEST(QualityDark, SubtractsDownToZero) {
    atEveryLevelAndSize([](const Raster& raster) {
        Raster dark = noise(raster.width, raster.height, 9), expected = raster;
        for (std::size_t i = 0; i < dark.pixels.size(); ++i)
            expected.pixels[i] = std::uint16_t(std::max(raster.pixels[i] - dark.pixels[i], 0));
        expectGives([&](Image from, Image to) { return LumoSubtractDark(from, dark.image(), to); },
                    raster, expected);
    });
    Raster raster(5, 4), other(4, 5);
    expectCodes(-50, {LumoSubtractDark(raster.image(), other.image(), raster.image()),
                      LumoSubtractDark(raster.image(), raster.image(), other.image()),
                      LumoSubtractDark(raster.image(), {}, raster.image())});
}

using Map = std::map<std::pair<int, int>, std::uint16_t>;  // of bad pixels, by column and row

/// A panel with shading, and pixels that are off by a factor of one property.
struct Panel {
    static constexpr int width = 130, height = 97;
    struct Pixel {
        double gain = 1, noise = 1, correction = 1, lag = 1;
        bool constant = false;
    };
    std::map<std::pair<int, int>, Pixel> odd;

    [[nodiscard]] Pixel at(int x, int y) const {
        const auto found = odd.find({x, y});
        return found == odd.end() ? Pixel{} : found->second;
    }
    /// A frame of a signal, with a noise of 6 grey values; a dark signal that differs by column.
    [[nodiscard]] Raster frame(double signal, double noise, std::uint64_t seed) const {
        Random random(seed);
        return picture(
            width, height,
            [&](int x, int y) {
                const Pixel pixel = at(x, y);
                const double shading = 1 + 0.4 * x / width - 0.2 * y / height;
                return 300 + 5 * (x % 4) + (pixel.constant ? 0 : signal * shading * pixel.gain) +
                       noise * pixel.noise * normal(random);
            },
            0);
    }
};

struct Found {
    int code = 0;
    LumoBadPixels counts = sized<LumoBadPixels>();
    Map map;
};

Found find(const Panel& panel, int darkFrames = 40, bool corrected = true, bool after = true,
           double lag = 200) {
    const Stack dark = stackOf(Panel::width, Panel::height),
                bright = stackOf(Panel::width, Panel::height, false),
                flat = stackOf(Panel::width, Panel::height, false);
    const auto add = [](const Stack& stack, Raster frame) {
        EXPECT_EQ(LumoStackAdd(stack.get(), frame.image()), 0);
    };
    for (int i = 0; i < darkFrames; ++i) add(dark, panel.frame(0, 6, std::uint64_t(i) + 1));
    for (std::uint64_t i = 0; i < 10; ++i) {
        add(bright, panel.frame(8000, 60, 100 + i));
        Random random(200 + i);
        add(flat, picture(
                      Panel::width, Panel::height,
                      [&](int x, int y) {
                          return 9000 * panel.at(x, y).correction + 30 * normal(random);
                      },
                      0));
    }
    Raster rest = picture(
        Panel::width, Panel::height,
        [&](int x, int y) { return 300 + 5 * (x % 4) + lag * panel.at(x, y).lag; }, 6, 7);
    const Image restImage = rest.image();
    Raster map(Panel::width, Panel::height, 77);
    Found found;
    found.code =
        LumoFindBadPixels(dark.get(), bright.get(), corrected ? flat.get() : nullptr,
                          after ? &restImage : nullptr, nullptr, map.image(), &found.counts);
    for (int y = 0; y < map.height; ++y)
        for (int x = 0; x < map.width; ++x)
            if (map.at(x, y) != 0) found.map[{x, y}] = map.at(x, y);
    return found;
}

TEST(QualityBadPixels, FindsWhatIsPlantedAndNothingElse) {
    Panel panel;
    Map expected;
    const auto plant = [&](int x, int y, Panel::Pixel pixel, std::uint16_t kind) {
        panel.odd[{x, y}] = pixel;
        if (kind != 0) expected[{x, y}] = kind;
    };
    // In corners, at borders and inside; beyond each limit, and odd ones within it.
    const std::pair<int, int> places[] = {{0, 0}, {129, 96}, {64, 0}, {0, 50}, {33, 47}, {90, 81}};
    const auto all = [&](int dx, int dy, const Panel::Pixel& pixel, std::uint16_t kind) {
        for (const auto& [x, y] : places)
            plant(x + (x < 100 ? dx : -dx), y + (y < 80 ? dy : -dy), pixel, kind);
    };
    all(0, 0, {.constant = true}, LumoBadDead);
    all(3, 0, {.gain = 0.04}, LumoBadDead);
    all(6, 0, {.gain = 1.35}, LumoBadOver);
    all(9, 0, {.gain = 1.2}, 0);
    all(0, 3, {.gain = 0.55}, LumoBadUnder);
    all(3, 3, {.gain = 0.7}, 0);
    all(6, 3, {.noise = 9}, LumoBadNoisy);
    all(9, 3, {.noise = 4}, 0);
    all(0, 6, {.correction = 1.015}, LumoBadNonUniform);
    all(3, 6, {.correction = 0.985}, LumoBadNonUniform);
    all(6, 6, {.correction = 1.006}, 0);
    all(0, 9, {.lag = 2.4}, LumoBadLag);
    all(3, 9, {.lag = 1.5}, 0);
    all(6, 9, {.gain = 1.5, .noise = 12}, LumoBadOver | LumoBadNoisy);
    for (int y = 60; y <= 62; ++y)
        for (int x = 60; x <= 62; ++x) plant(x, y, {.gain = 0}, LumoBadDead);
    plant(61, 61, {}, LumoBadNeighbourhood);
    for (int y = 69; y <= 71; ++y)
        for (int x = 0; x <= 1; ++x) plant(x, y, {.gain = 0}, LumoBadDead);
    plant(0, 70, {}, LumoBadNeighbourhood);
    // More than half of a window of 9 x 9, but not of 21 x 21.
    for (int y = 30; y < 37; ++y)
        for (int x = 100; x < 107; ++x) plant(x, y, {.gain = 0.5}, LumoBadUnder);

    const Found found = find(panel);
    ASSERT_EQ(found.code, 0);
    EXPECT_EQ(found.map, expected);
    EXPECT_EQ(found.counts.notes, 0U);
    EXPECT_EQ(found.counts.bad, expected.size());
    std::uint32_t dead = 0, noisy = 0;
    for (const auto& [place, kinds] : expected) dead += kinds & 1, noisy += kinds >> 3 & 1;
    EXPECT_EQ(found.counts.kinds[0], dead);
    EXPECT_EQ(found.counts.kinds[3], noisy);
    EXPECT_EQ(found.counts.clusters, 3U);

    const Found fewer = find(panel, 29, false, false);
    EXPECT_EQ(fewer.counts.notes, std::uint32_t{LumoNoteNoisyLeftOut});
    for (const auto& [place, kinds] : expected) {
        const auto known = std::uint16_t(
            kinds & (LumoBadDead | LumoBadOver | LumoBadUnder | LumoBadNeighbourhood));
        EXPECT_EQ(fewer.map.contains(place) ? fewer.map.at(place) : 0, known);
    }
}

TEST(QualityBadPixels, TakesNoNoiseForLag) {
    EXPECT_EQ(find({}, 40, true, true, 0).map, Map{});
}

TEST(QualityBadPixels, ComparesWithTheMedianOfEachWindow) {
    atEveryLevel([] {
        constexpr int width = 61, height = 43, side = 9;
        Random random(4);
        std::vector<float> values;
        for (int i = 0; i < width * height; ++i) values.push_back(float(900 + random.below(200)));
        const LocalMedian local(values, width, height, side);
        for (const double factor : {0.95, 1.0, 1.04}) {
            std::vector<std::size_t> above, below, trueAbove, trueBelow;
            local.forEachAbove(factor, [&](std::size_t i) { above.push_back(i); });
            local.forEachBelow(factor, [&](std::size_t i) { below.push_back(i); });
            std::ranges::sort(above);
            std::ranges::sort(below);
            for (int y = 0; y < height; ++y)
                for (int x = 0; x < width; ++x) {
                    const int left = std::clamp(x - side / 2, 0, width - side);
                    const int top = std::clamp(y - side / 2, 0, height - side);
                    std::vector<float> window;
                    for (int v = top; v < top + side; ++v)
                        for (int u = left; u < left + side; ++u)
                            window.push_back(values[std::size_t(v * width + u)]);
                    std::ranges::sort(window);
                    const double median = double(window[side * side / 2]);
                    const auto i = std::size_t(y * width + x);
                    EXPECT_EQ(local.at(i), median);
                    if (double(values[i]) > factor * median) trueAbove.push_back(i);
                    if (double(values[i]) < factor * median) trueBelow.push_back(i);
                }
            EXPECT_EQ(above, trueAbove) << factor;
            EXPECT_EQ(below, trueBelow) << factor;
        }
    });
}

TEST(QualityBadPixels, CountsClustersAsTheyTouch) {
    // Letters are clusters, digits single pixels; upper-case ones hold a pixel of fewer than five
    // good neighbours.
    const std::vector<std::string> drawn = {
        "1....AA.......B", "......A.......B", "..cc..........B", "..cc....2...d..",
        ".............d.", "...............", "EEEEEEEEEEEEE..", "E...........E..",
        "E..3..F.....E..", ".......F.F.....", "........F......",
    };
    Raster map(15, 11);
    std::vector<LumoBadCluster> expected;  // by their first pixel
    std::string names;
    for (int y = 0; y < 11; ++y)
        for (int x = 0; x < 15; ++x) {
            const char c = drawn[std::size_t(y)][std::size_t(x)];
            if (c == '.') continue;
            map.at(x, y) = std::uint16_t(1 << (x % 7));
            if (std::isdigit(c)) continue;
            if (names.find(c) == std::string::npos) {
                names += c;
                expected.push_back({{x, y, x, y}, 0, std::isupper(c) ? 1U : 0U});
            }
            LumoBadCluster& cluster = expected[names.find(c)];
            cluster.box = {std::min(cluster.box.x1, x), cluster.box.y1, std::max(cluster.box.x2, x),
                           y};
            ++cluster.pixels;
        }
    LumoBadPixels counts = sized<LumoBadPixels>();
    const auto clusters = curveOf<LumoBadCluster>([&](LumoBadCluster* list, std::int32_t* count) {
        return LumoListBadPixels(map.image(), &counts, list, count);
    });
    EXPECT_EQ(counts.singles, 3U);
    EXPECT_EQ(counts.clusters, expected.size());
    EXPECT_EQ(counts.rows, 0U);
    ASSERT_EQ(clusters.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(std::memcmp(&clusters[i], &expected[i], sizeof expected[i]), 0) << names[i];
    EXPECT_EQ(counts.relevantClusters, 4U);

    Raster lines(20, 30);
    for (int x = 0; x < 18; ++x) lines.at(x, 4) = lines.at(x, 20) = 1;
    lines.at(17, 20) = lines.at(16, 20) = 0;
    for (int y = 0; y < 27; ++y) lines.at(19, y) = 128;
    EXPECT_EQ(LumoListBadPixels(lines.image(), &counts, nullptr, nullptr), 0);
    EXPECT_EQ(counts.rows, 1U);
    EXPECT_EQ(counts.columns, 1U);
    EXPECT_EQ(counts.bad, 18U + 16 + 27);
    EXPECT_EQ(LumoListBadPixels({}, &counts, nullptr, nullptr), -50);
    EXPECT_EQ(LumoListBadPixels(lines.image(), nullptr, nullptr, nullptr), -2);
}

/// The mean of the good pixels of the smallest square that has any.
std::uint16_t mendedPixel(const Raster& image, const Raster& map, int x, int y) {
    for (int radius = 1;; ++radius) {
        std::uint64_t sum = 0, count = 0;
        for (int v = std::max(y - radius, 0); v <= std::min(y + radius, map.height - 1); ++v)
            for (int u = std::max(x - radius, 0); u <= std::min(x + radius, map.width - 1); ++u)
                if (map.at(u, v) == 0) sum += image.at(u, v), ++count;
        if (count > 0) return std::uint16_t(std::floor(double(sum) / double(count) + 0.5));
    }
}

TEST(QualityBadPixels, MendsFromTheNearestGoodOnes) {
    atEverySize([](const Raster& raster) {
        Random random(raster.pixels.size());
        for (const std::uint32_t oneIn : {2U, 40U}) {
            Raster map(raster.width, raster.height), image = raster, expected = raster;
            for (std::uint16_t& pixel : map.pixels) pixel = random.below(oneIn) == 0 ? 4 : 0;
            for (int y = 1; y < std::min(map.height, 9); ++y)  // and a block
                for (int x = 2; x < std::min(map.width, 30); ++x) map.at(x, y) = 1;
            map.at(0, 0) = 0;
            std::uint32_t bad = 0, mended = 0, doubtful = 0, reason = 1;
            for (int y = 0; y < map.height; ++y)
                for (int x = 0; x < map.width; ++x)
                    if (map.at(x, y) != 0)
                        expected.at(x, y) = mendedPixel(raster, map, x, y), ++bad;
            ASSERT_EQ(LumoMendPixels(image.image(), map.image(), &mended, &doubtful, &reason), 0);
            ASSERT_EQ(image, expected) << map.width << " x " << map.height;
            ASSERT_EQ(mended, bad);
            ASSERT_LE(doubtful, bad);
        }
    });
    Raster image(9, 9, 100), map(9, 9);
    map.at(4, 4) = map.at(0, 0) = 1;
    for (int x = 0; x < 4; ++x) map.at(2 + x, 8) = 1;
    std::uint32_t mended = 0, doubtful = 0, reason = 0;
    EXPECT_EQ(LumoMendPixels(image.image(), map.image(), &mended, &doubtful, nullptr), 0);
    EXPECT_EQ(mended, 6U);
    EXPECT_EQ(doubtful, 5U);

    Raster other(9, 8), all(9, 9, 1), before = image;
    EXPECT_EQ(LumoMendPixels(image.image(), other.image(), nullptr, nullptr, &reason), -30);
    EXPECT_EQ(reason, std::uint32_t{LumoReasonSizes});
    EXPECT_EQ(LumoMendPixels(image.image(), all.image(), nullptr, nullptr, &reason), -30);
    EXPECT_EQ(reason, std::uint32_t{LumoReasonNoGoodPixel});
    EXPECT_EQ(image, before);
    expectCodes(-50, {LumoMendPixels({}, map.image(), nullptr, nullptr, nullptr),
                      LumoMendPixels(image.image(), {}, nullptr, nullptr, nullptr)});
}

TEST(QualityBadPixels, RefusesFramesThatDoNotServe) {
    Raster map(30, 30), frame = noise(30, 30), small(20, 30);
    const Stack dark = stackOf(30, 30), bright = stackOf(30, 30), empty = stackOf(30, 30),
                other = stackOf(31, 30), narrow = stackOf(20, 30);
    LumoStackAdd(dark.get(), frame.image());
    LumoStackAdd(bright.get(), frame.image());
    LumoStackAdd(narrow.get(), small.image());
    LumoBadPixels counts = sized<LumoBadPixels>();
    const Image after = small.image();
    const auto expect = [&](std::uint32_t reason, int code) {
        EXPECT_EQ(code, -30);
        EXPECT_STREQ(LumoQualityReasonText(counts.reason), LumoQualityReasonText(reason));
    };
    const auto call = [&](const Stack& d, const Stack& b, const Image* rest, Raster& to,
                          const LumoBadPixelLimits* limits = nullptr) {
        return LumoFindBadPixels(d.get(), b.get(), nullptr, rest, limits, to.image(), &counts);
    };
    expect(LumoReasonNoSignal, call(dark, bright, nullptr, map));
    expect(LumoReasonFewFrames, call(dark, empty, nullptr, map));
    expect(LumoReasonSizes, call(dark, other, nullptr, map));
    expect(LumoReasonSizes, call(dark, bright, nullptr, small));
    expect(LumoReasonSizes, call(dark, {}, &after, map));
    expect(LumoReasonRegionSmall, call(narrow, {}, nullptr, small));
    EXPECT_EQ(call({}, bright, nullptr, map), -2);
    LumoBadPixelLimits limits = sized<LumoBadPixelLimits>();  // over must not be below 1
    EXPECT_EQ(call(dark, {}, nullptr, map, &limits), -2);
    EXPECT_EQ(LumoFindBadPixels(dark.get(), nullptr, nullptr, nullptr, nullptr, {}, &counts), -50);
}

TEST(Quality, HasASentenceForEveryReasonAndNote) {
    std::vector<std::string> sentences;
    for (std::uint32_t reason = 0; reason <= LumoReasonNoGoodPixel; ++reason)
        sentences.emplace_back(LumoQualityReasonText(reason));
    for (std::uint32_t note = 1; note <= LumoNoteTooManyPairs; note *= 2)
        sentences.emplace_back(LumoQualityNoteText(note));
    std::ranges::sort(sentences);
    EXPECT_EQ(std::ranges::adjacent_find(sentences), sentences.end());
    EXPECT_FALSE(std::ranges::binary_search(sentences, "unknown"));
    EXPECT_STREQ(LumoQualityReasonText(999), "unknown");
    EXPECT_STRNE(lmtErrorMessage(LumoErrorQuality), lmtErrorMessage(1234));
}

TEST(Quality, HandsCurvesOutByCount) {
    Raster raster = picture(
        256, 256, [](int x, int y) { return x < 120 + y / 10 ? 9000 : 20000; }, 60);
    LumoMtf mtf = sized<LumoMtf>();
    const auto call = [&](LumoCurvePoint* curve, std::int32_t* count) {
        return LumoMeasureMtf(raster.image(), wholeOf(raster), 100000, 100000, nullptr, &mtf, curve,
                              count);
    };
    std::int32_t count = 0, all = 0;
    EXPECT_EQ(call(nullptr, &all), 0);
    std::vector<LumoCurvePoint> points(std::size_t(all) + 1, {-1, -1});
    EXPECT_EQ(call(points.data(), &count), 0);
    EXPECT_EQ(count, all);
    EXPECT_EQ(points[0].x, -1);
    count = 3;
    EXPECT_EQ(call(points.data(), &count), 0);
    EXPECT_EQ(count, 3);
    EXPECT_TRUE(points[0].y == 1 && points[2].x > 0 && points[3].x == -1);
    count = all + 1;
    EXPECT_EQ(call(points.data(), &count), 0);
    EXPECT_EQ(count, all);
    EXPECT_EQ(points[std::size_t(all)].x, -1);
    EXPECT_EQ(call(points.data(), nullptr), 0);
}

}  // namespace
}  // namespace lumo::test
