// Look-up tables, greyscale windows, display curve, deflash, equalisation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "greyscale/equalise_clipped.h"
#include "platform/cpu_level.h"
#include "support/support.h"

namespace lumo::test {
namespace {

using Table = std::vector<std::uint16_t>;

Table tableOf(int mode, int lo, int hi) {
    Table lut(greyValues);
    EXPECT_EQ(Make_LutAbs16(lut.data(), static_cast<std::uint16_t>(lo),
                            static_cast<std::uint16_t>(hi), static_cast<std::uint16_t>(mode)),
              0);
    return lut;
}

Raster mapped(const Raster& raster, const Table& lut) {
    Raster result = raster;
    for (auto& pixel : result.pixels) pixel = lut[pixel];
    return result;
}

struct EntryCase {
    int mode, lo, hi;
    std::vector<std::pair<std::size_t, int>> entries;
};

TEST(Lut, CurvesGiveTheirCheckValues) {
    const EntryCase cases[] = {
        {CurveLinear,
         1000,
         3000,
         {{999, 0}, {1000, 0}, {2000, 32767}, {2999, 65502}, {3000, 65535}}},
        {CurveSquareRoot, 1000, 3000, {{1000, 0}, {1001, 1465}, {2999, 65503}, {3000, 65535}}},
        {CurveLogarithm, 1000, 3000, {{1000, 0}, {1001, 5976}, {2999, 65531}}},
        {CurveLogarithm, 0, 65535, {{7, 12287}, {63, 24575}, {127, 28671}}},
        {CurveQuadratic, 1000, 3000, {{1000, 0}, {2000, 16383}, {2999, 65469}}},
        {CurveExponential, 1000, 3000, {{999, 0}, {1000, 1}, {2000, 255}, {2999, 65172}}},
        {CurveThresholdQuarter, 1000, 3000, {{0, 0}, {1500, 0}, {1501, 65535}, {65535, 65535}}},
        {CurveThresholdHalf, 1000, 3000, {{2000, 0}, {2001, 65535}}},
        {CurveThresholdThreeQuarters, 1000, 3000, {{2500, 0}, {2501, 65535}}},
        // Division truncates toward zero: 3000 - 1999 / 4, 3000 - 3 * 1999 / 4.
        {CurveThresholdQuarter, 3000, 1001, {{2501, 0}, {2502, 65535}}},
        {CurveThresholdThreeQuarters, 3000, 1001, {{1501, 0}, {1502, 65535}}},
        {CurveThresholdHalf, 65535, 65535, {{0, 0}, {65535, 0}}},
        {CurveSigmoid,
         1000,
         3000,
         {{0, 500}, {1000, 6555}, {1732, 32755}, {3000, 58981}, {65535, 64511}}},
        {CurveSigmoid, 700, 700, {{0, 1}, {699, 1}, {700, 32768}, {701, 65535}, {65535, 65535}}},
        {CurveSigmoid, 0, 0, {{0, 32768}, {1, 65535}}},
        {CurveSigmoid, 3000, 1000, {{1000, 58981}, {3000, 6555}}},
        {CurveShiftedSquareRoot, 0, 65535, {{0, 0}, {16384, 32768}, {65535, 65535}}},
        {CurveShiftedSquareRoot, 1000, 3000, {{999, 0}, {1000, 0}, {3000, 65535}}},
        {CurveIdentity | LutMirror, 1000, 3000, {{0, 65535}, {500, 65035}, {65535, 0}}},
        {CurveIdentity | LutInvert | LutMirror | 0x3F00,
         0,
         0,
         {{0, 0}, {500, 500}, {65535, 65535}}},
        {255, 9, 8, {{0, 0}, {500, 500}, {65535, 65535}}},
        {CurveLinear | LutInvert, 0, 65535, {{0, 65535}, {65535, 0}}},
        {CurveExponential | LutInvert | LutMirror,
         1000,
         3000,
         {{64536, 65535}, {64535, 65534}, {62536, 363}, {62535, 0}}},
    };
    for (const auto& [mode, lo, hi, entries] : cases) {
        const Table lut = tableOf(mode, lo, hi);
        for (const auto& [value, entry] : entries)
            EXPECT_EQ(lut[value], entry) << "mode " << mode << " at " << value;
    }
    EXPECT_EQ(Make_LutAbs16(nullptr, 0, 1, 0), -2);
}

TEST(Lut, WindowedCurvesRiseFromBlackToWhite) {
    for (const int curve : {0, 1, 2, 3, 4, 9})
        for (const auto& [lo, hi] : {std::pair{0, 65535},
                                     {0, 1},
                                     {65534, 65535},
                                     {77, 60000},
                                     {500, 500},
                                     {0, 0},
                                     {65535, 65535},
                                     {9000, 20},
                                     {65535, 0}}) {
            const Table lut = tableOf(curve, lo, hi);
            const int from = std::min(lo, hi);
            EXPECT_TRUE(std::ranges::is_sorted(lut));
            EXPECT_TRUE(std::all_of(lut.begin(), lut.begin() + from, [](int e) { return e == 0; }));
            EXPECT_TRUE(std::all_of(lut.begin() + hi, lut.end(), [](int e) { return e == 65535; }));
            const int first = lo >= hi ? 65535 : curve == CurveExponential ? 1 : 0;
            EXPECT_EQ(lut[static_cast<std::size_t>(lo)], first) << curve;
        }
}

TEST(Lut, EveryEntryOfACurveFollowsItsFormula) {
    for (const auto& [lo, hi] : {std::pair{0, 65535}, {77, 60000}, {5000, 5013}}) {
        const double width = hi - lo;
        const Table log = tableOf(CurveLogarithm, lo, hi),
                    power = tableOf(CurveExponential, lo, hi);
        const Table sigmoid = tableOf(CurveSigmoid, lo, hi);
        const double left = std::log(lo + 1.0), right = std::log(hi + 1.0);
        int wrong = 0;
        for (int v = lo; v < hi; ++v) {
            const auto i = static_cast<std::size_t>(v);
            const double t = v - lo;
            wrong += log[i] != int(65536.0 / std::log(width + 1.0) * std::log(t + 1.0)) ? 1 : 0;
            wrong += power[i] != int(std::pow(65535.0, t / width)) ? 1 : 0;
            const double turn = std::atan((std::log(v + 1.0) - (right + left) / 2.0) *
                                          (2 * std::tan(1.2566399574279785) / (right - left)));
            wrong += sigmoid[i] != 32768 + int(turn * 20860.099609375) ? 1 : 0;
        }
        EXPECT_EQ(wrong, 0) << lo << ".." << hi;
    }
}

TEST(Lut, ApplyingEqualsItsTwin) {
    Table lut(greyValues);
    Random random(3);
    for (auto& entry : lut) entry = static_cast<std::uint16_t>(random.next());
    atEveryLevelAndSize([&](const Raster& original) {
        const Raster twin = mapped(original, lut);
        Raster from = original, to(original.width, original.height);
        ASSERT_EQ(ApplyLut16(from.image(), to.image(), lut.data()), 0);
        EXPECT_EQ(to, twin);
        EXPECT_EQ(from, original);
        ASSERT_EQ(ApplyLut16(from.image(), from.image(), lut.data()), 0);
        EXPECT_EQ(from, twin);
    });
    Raster raster(5, 4), other(4, 5, 7);
    EXPECT_EQ(ApplyLut16(raster.image(), other.image(), lut.data()), 1);
    EXPECT_EQ(ApplyLut16(raster.image(), Image{5, 4, nullptr}, lut.data()), 1);
    EXPECT_EQ(Opt_GreyscaleAbs(raster.image(), other.image(), 1, 2, 0), 1);
    EXPECT_EQ(Opt_GreyscaleLim(raster.image(), other.image(), 1, 2, 0), 1);
    EXPECT_EQ(other, Raster(4, 5, 7));
    EXPECT_EQ(ApplyLut16(raster.image(), raster.image(), nullptr), -2);
    const Image flat{0, 4, raster.pixels.data()};
    EXPECT_EQ(ApplyLut16(flat, flat, lut.data()), 0);
    EXPECT_EQ(Opt_GreyscaleAbs(flat, flat, 1, 2, 0), 0);
    EXPECT_EQ(Opt_GreyscaleLim(flat, flat, 1, 2, 0), 0);
    EXPECT_EQ(raster, Raster(5, 4));
}

TEST(Greyscale, WindowsMapThroughTheirTable) {
    Raster raster = noise(130, 90), result(130, 90);
    for (const int mode : {0, 2, 8, 0xC004}) {
        ASSERT_EQ(Opt_GreyscaleAbs(raster.image(), result.image(), 900, 40000,
                                   static_cast<std::uint16_t>(mode)),
                  0);
        EXPECT_EQ(result, mapped(raster, tableOf(mode, 900, 40000)));
        ImageValue window{};
        ASSERT_EQ(Get_ImageValueLim(raster.image(), &window, 30000, 250000), 0);
        Raster inPlace = raster;
        ASSERT_EQ(Opt_GreyscaleLim(inPlace.image(), inPlace.image(), 30000, 250000,
                                   static_cast<std::uint16_t>(mode)),
                  0);
        EXPECT_EQ(inPlace, mapped(raster, tableOf(mode, window.min, window.max)));
    }
}

TEST(DisplayCurve, GivesItsCheckValues) {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    constexpr double far = std::numeric_limits<double>::infinity();
    struct Case {
        double brightness, contrast, gamma;
        std::vector<std::pair<std::size_t, int>> entries;
    };
    const std::vector<std::pair<std::size_t, int>> neutral{
        {0, 0}, {1, 1}, {32767, 32767}, {32768, 32767}, {65534, 65533}, {65535, 65534}};
    const Case cases[] = {
        {50, 50, 1.0, neutral},
        {none, none, none, neutral},
        {50, 50, 2.0, {{1, 255}, {32767, 46339}, {65535, 65534}}},
        {60, 50, 1.0, {{0, 13902}, {32767, 46669}, {65000, 65535}, {65535, 65535}}},
        {50, 0, 1.0, {{0, 32767}, {65535, 32767}}},
        {0, 50, 1.0, {{0, 0}, {65535, 0}}},
        {-far, 50, 1.0, {{0, 0}, {65535, 0}}},
    };
    Table lut(greyValues), same(greyValues);
    for (const auto& [brightness, contrast, gamma, entries] : cases) {
        ASSERT_EQ(Make_DispLut(nullptr, lut.data(), brightness, contrast, gamma), 0);
        for (const auto& [value, entry] : entries)
            EXPECT_EQ(lut[value], entry) << brightness << ' ' << contrast << ' ' << gamma;
    }
    ASSERT_EQ(Make_DispLut(nullptr, lut.data(), 40, 150, 0.0), 0);
    ASSERT_EQ(Make_DispLut(nullptr, same.data(), 40, 100, 0.01), 0);
    EXPECT_EQ(lut, same);
    ASSERT_EQ(Make_DispLut(nullptr, lut.data(), 300, 40, far), 0);
    ASSERT_EQ(Make_DispLut(nullptr, same.data(), 100, 40, 5), 0);
    EXPECT_EQ(lut, same);

    // On top of a table, also in place: entry i is the curve at that table's entry i.
    const Table below = tableOf(CurveQuadratic | LutInvert, 100, 50000);
    ASSERT_EQ(Make_DispLut(nullptr, lut.data(), 55, 60, 1.5), 0);
    same = below;
    ASSERT_EQ(Make_DispLut(same.data(), same.data(), 55, 60, 1.5), 0);
    for (std::size_t i = 0; i < greyValues; ++i) ASSERT_EQ(same[i], lut[below[i]]) << i;
    EXPECT_EQ(Make_DispLut(below.data(), nullptr, 50, 50, 1), -2);
}

TEST(Deflash, EqualsItsTwin) {
    atEveryLevelAndSize([](const Raster& original) {
        for (const int threshold : {0, 100, 32767, 32768, 60000, 65535}) {
            Raster fast = original, twin = original;
            for (int y = 1; y < twin.height - 1; ++y)
                for (int x = 1; x < twin.width - 1; ++x)
                    if (twin.at(x, y) - twin.at(x, y - 1) > threshold)
                        twin.at(x, y) =
                            static_cast<std::uint16_t>((twin.at(x, y - 1) + twin.at(x, y + 1)) / 2);
            ASSERT_EQ(DeFlash(fast.image(), static_cast<std::uint16_t>(threshold)), 0);
            EXPECT_EQ(fast, twin) << threshold;
        }
    });
    Raster column(3, 5, 10);
    column.at(1, 2) = 500;
    EXPECT_EQ(DeFlash(column.image(), 100), 0);
    EXPECT_EQ(column, Raster(3, 5, 10));
    EXPECT_EQ(DeFlash(Image{3, 3, nullptr}, 1), -50);
}

Raster equalised(const Raster& raster, std::int32_t lowPpm, std::int32_t highPpm) {
    Raster from = raster, to(raster.width, raster.height, 1);
    EXPECT_EQ(Equal_Histo(to.image(), from.image(), lowPpm, highPpm), 0);
    EXPECT_EQ(from, raster);
    return to;
}

TEST(Equalise, SharesTheRangeByThePixelsUpToEachValue) {
    for (const auto& [lowPpm, highPpm] :
         {std::pair{-1, -1}, {0, 0}, {20000, 50000}, {-1, 900000}}) {
        const Raster raster = noise(67, 41);
        Table sorted = raster.pixels;
        std::ranges::sort(sorted);
        Table inner = sorted;
        std::erase_if(inner, [](int pixel) { return pixel == 0 || pixel == 65535; });
        const auto beyond = [&](int ppm) {
            return static_cast<std::size_t>(67 * 41 * std::min(ppm / 1e6, 0.4));
        };
        const int low = lowPpm < 0 ? 0 : inner[beyond(lowPpm)];
        const int high = highPpm < 0 ? 65535 : inner[inner.size() - 1 - beyond(highPpm)];
        const auto upTo = [&](int value) {
            return std::ranges::upper_bound(sorted, value) - sorted.begin();
        };
        const auto all = static_cast<double>(upTo(high - 1) - upTo(low - 1));
        const Raster result = equalised(raster, lowPpm, highPpm);
        for (std::size_t i = 0; i < raster.pixels.size(); ++i) {
            const int value = raster.pixels[i];
            const auto part = static_cast<double>(upTo(value) - upTo(low - 1));
            const double exact = value < low ? 0 : value >= high ? 65535 : part * (65535 / all);
            // The library's running sum of parts may round another way.
            EXPECT_NEAR(result.pixels[i], exact, 1.0) << value;
            EXPECT_LE(result.pixels[i], exact + 1e-6) << value;
        }
    }
}

TEST(Equalise, FindingNothingGivesSteps) {
    const Raster black(8, 8, 0);
    EXPECT_EQ(equalised(black, 0, -1), black);
    EXPECT_EQ(equalised(black, 0, 0), Raster(8, 8, 65535));
    EXPECT_EQ(equalised(black, -1, -1), Raster(8, 8, 65535));
    EXPECT_EQ(equalised(Raster(9, 9, 65535), 0, -1), Raster(9, 9, 65535));
    // Nothing between the limits: the range holds no pixel below its upper end.
    EXPECT_EQ(equalised(Raster(9, 9, 500), 0, 0), Raster(9, 9, 65535));
    EXPECT_EQ(equalised(Raster(9, 9, 65535), -1, -1), Raster(9, 9, 65535));

    Raster raster = noise(9, 9), other(9, 8);
    std::int32_t low = 7, high = 3;
    const Image missing{9, 9, nullptr}, flat{9, 0, raster.pixels.data()};
    EXPECT_EQ(Equal_Histo(other.image(), raster.image(), 0, 0), -50);
    EXPECT_EQ(Equal_Histo(missing, raster.image(), 0, 0), -50);
    EXPECT_EQ(Equal_Histo(flat, flat, 0, 0), 0);
    EXPECT_EQ(Equal_Histo3(raster.image(), other.image(), 50, &low, &high, 0, 0, 0), -50);
    EXPECT_EQ(Equal_Histo3(raster.image(), missing, 50, &low, &high, 0, 0, 0), -50);
    EXPECT_EQ(Equal_Histo3(raster.image(), raster.image(), 50, nullptr, &high, 0, 0, 0), -2);
    EXPECT_EQ(Equal_Histo3(flat, flat, 50, &low, &high, 0, 0, 0), 0);
    EXPECT_EQ(low, 7);
    EXPECT_EQ(high, 3);
    EXPECT_EQ(raster, noise(9, 9));
}

TEST(EqualiseClipped, FindsTheFootOfAPeak) {
    Histogram histogram{};
    EXPECT_EQ(Find_HistoEdge(histogram, +1, 50, 0.25, 1, 0), 65501);
    EXPECT_EQ(Find_HistoEdge(histogram, -1, 50, 0.25, 1, 0), 35);
    // Blocks from 1 on: 8, 80, 20 and 19 a grey value; a quarter of 80 is reached by 20.
    const int means[] = {8, 80, 20, 19};
    for (int block = 0; block < 4; ++block)
        std::fill_n(histogram.begin() + 1 + 50 * block, 50,
                    static_cast<std::uint32_t>(means[block]));
    EXPECT_EQ(Find_HistoEdge(histogram, +1, 50, 0.25, 100000, 0), 151);
    // The mark: the block that takes the sum past it, bin 0 counted upward.
    EXPECT_EQ(Find_HistoEdge(histogram, +1, 50, 0.25, 4399, 400), 51);
    EXPECT_EQ(Find_HistoEdge(histogram, +1, 50, 0.25, 4399, 399), 1);
    histogram[0] = 1;
    EXPECT_EQ(Find_HistoEdge(histogram, +1, 50, 0.25, 4399, 400), 1);
    Histogram fromAbove{};
    for (int block = 0; block < 4; ++block)
        std::fill_n(fromAbove.end() - 50 * (block + 1), 50,
                    static_cast<std::uint32_t>(means[block]));
    EXPECT_EQ(Find_HistoEdge(fromAbove, -1, 50, 0.25, 100000, 0), 65535 - 150);
    EXPECT_EQ(Find_HistoEdge(fromAbove, -1, 50, 0.25, 4399, 400), 65535 - 50);
}

/// The table by its definition, from parameters in range.
Table clippedTable(const Raster& raster, int strength, int low, int high, int weight) {
    std::vector<std::uint32_t> counts(greyValues);
    for (const std::uint16_t pixel : raster.pixels) ++counts[pixel];
    const double total = static_cast<double>(raster.pixels.size());
    const double clipScale = std::pow(10.0, (strength - 50.0) * 3.0 / 50.0) * 0.00111 * total;
    std::uint32_t sum = 0;
    for (int v = 0; v < 65536; ++v) {
        std::uint32_t& count = counts[static_cast<std::size_t>(v)];
        const double clip = clipScale / std::sqrt(v + 1.0);
        const double value = count < clip ? count : clip;
        count = sum += static_cast<std::uint32_t>(v < low    ? 0.01 * value
                                                  : v < high ? value
                                                             : 0.1 * value);
    }
    if (sum == 0) sum = 1;
    const double w = weight / 100.0;
    const double a = (1.0 - w) * 65535.0 / sum, b = w * 65535.0 / std::sqrt(65535.0);
    Table lut(greyValues);
    for (std::size_t v = 0; v < greyValues; ++v)
        lut[v] = static_cast<std::uint16_t>(
            weight == 0 ? counts[v] * (65535.0 / sum)
                        : counts[v] * a + std::sqrt(static_cast<double>(v)) * b);
    return lut;
}

TEST(EqualiseClipped, EqualsItsTwin) {
    Raster raster = noise(500, 400);
    for (auto& pixel : raster.pixels) pixel = static_cast<std::uint16_t>(3000 + pixel % 997);
    struct Case {
        int strength, low, high, fixLow, fixHigh, weight, usedStrength, usedLow, usedHigh,
            usedWeight;
    };
    const Case cases[] = {
        {50, 5000, 1000, 1, 1, 0, 50, 3000, 3000, 0},
        {100, 3100, 3500, 1, 1, 0, 100, 3100, 3500, 0},
        {0, 3100, 3500, 1, 1, 30, 0, 3100, 3500, 30},
        {-5, -7, 70000, 9, 9, -1, 0, 0, 65535, 0},
        {700, 3100, 3500, 1, 1, 700, 100, 3100, 3500, 100},
        // The blocks 2951..3000 and 3986..4035 hold more than 1 % of all pixels, and no foot
        // follows before half of all.
        {80, 1, 65535, 0, 1, 0, 80, 2951, 65535, 0},
        {80, 0, 9, 1, 0, 0, 80, 0, 4035, 0},
        {80, 5000, 65535, 1, 0, 5, 80, 4035, 5000, 5},
    };
    for (const Case& given : cases) {
        std::int32_t low = given.low, high = given.high;
        Raster from = raster, to(500, 400);
        ASSERT_EQ(Equal_Histo3(to.image(), from.image(), given.strength, &low, &high, given.fixLow,
                               given.fixHigh, given.weight),
                  0);
        EXPECT_EQ(low, given.usedLow);
        EXPECT_EQ(high, given.usedHigh);
        const Table lut = clippedTable(raster, given.usedStrength, low, high, given.usedWeight);
        EXPECT_EQ(to, mapped(raster, lut));
        low = given.low, high = given.high;
        ASSERT_EQ(Equal_Histo3(from.image(), from.image(), given.strength, &low, &high,
                               given.fixLow, given.fixHigh, given.weight),
                  0);
        EXPECT_EQ(from, to);
    }
}

TEST(EqualiseClipped, IsTheSameAtEveryLevel) {
    Raster from = noise(500, 400), first(500, 400), to(500, 400);
    for (const CpuLevel level : supportedLevels()) {
        const ForcedLevel forced(level);
        std::int32_t low = 9000, high = 50001;
        ASSERT_EQ(Equal_Histo3(to.image(), from.image(), 20, &low, &high, 1, 1, 30), 0);
        if (level == CpuLevel::Baseline) first = to;
        EXPECT_EQ(to, first);
    }
}

}  // namespace
}  // namespace lumo::test
