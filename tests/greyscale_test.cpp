// Look-up tables, greyscale windows, display curve, deflash, equalisation.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <tuple>

#include "greyscale/equalise_clipped.h"
#include "platform/cpu_level.h"
#include "support/support.h"

namespace lumo::test {
namespace {

using Table = Pixels;

Table tableOf(int mode, int lo, int hi) {
    Table lut(greyValues);
    EXPECT_EQ(Make_LutAbs16(lut.data(), std::uint16_t(lo), std::uint16_t(hi), std::uint16_t(mode)),
              0);
    return lut;
}

Raster mapped(Raster raster, const Table& lut) {
    for (auto& pixel : raster.pixels) pixel = lut[pixel];
    return raster;
}

using Entries = std::vector<std::pair<std::size_t, int>>;

void expectEntries(const Table& lut, const Entries& entries, const std::string& what) {
    for (const auto& [value, entry] : entries) EXPECT_EQ(lut[value], entry) << what << ' ' << value;
}

TEST(Lut, CurvesGiveTheirCheckValues) {
    const int all = LutInvert | LutMirror;
    const Entries identity{{0, 0}, {500, 500}, {65535, 65535}};
    const std::tuple<int, int, int, Entries> cases[] = {
        {CurveLinear, 1000, 3000, {{999, 0}, {1000, 0}, {2000, 32767}, {2999, 65502}}},
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
        {CurveSigmoid, 1000, 3000, {{0, 500}, {1000, 6555}, {1732, 32755}, {65535, 64511}}},
        {CurveSigmoid, 700, 700, {{0, 1}, {699, 1}, {700, 32768}, {701, 65535}, {65535, 65535}}},
        {CurveSigmoid, 0, 0, {{0, 32768}, {1, 65535}}},
        {CurveSigmoid, 3000, 1000, {{1000, 58981}, {3000, 6555}}},
        {CurveShiftedSquareRoot, 0, 65535, {{0, 0}, {16384, 32768}, {65535, 65535}}},
        {CurveShiftedSquareRoot, 1000, 3000, {{999, 0}, {1000, 0}, {3000, 65535}}},
        {CurveIdentity | LutMirror, 1000, 3000, {{0, 65535}, {500, 65035}, {65535, 0}}},
        {CurveIdentity | all | 0x3F00, 0, 0, identity},
        {255, 9, 8, identity},
        {CurveLinear | LutInvert, 0, 65535, {{0, 65535}, {65535, 0}}},
        {CurveExponential | all, 1000, 3000, {{64536, 65535}, {62536, 363}, {62535, 0}}}};
    for (const auto& [mode, lo, hi, entries] : cases)
        expectEntries(tableOf(mode, lo, hi), entries, "mode " + std::to_string(mode));
    EXPECT_EQ(Make_LutAbs16(nullptr, 0, 1, 0), -2);
}

/// An entry within the window before it is cut; of the sigmoid any entry.
double curveSlowly(int curve, double v, double lo, double hi) {
    const double t = v - lo, d = hi - lo;
    const double logLo = std::log(lo + 1), logHi = std::log(hi + 1);
    switch (curve) {
        case CurveLinear:
            return t * (65535 / d);
        case CurveSquareRoot:
            return std::sqrt(t) * (65536 / std::sqrt(d + 1));
        case CurveLogarithm:
            return std::log(t + 1) * (65536 / std::log(d + 1));
        case CurveQuadratic:
            return t / d * 65535 * (t / d);
        case CurveExponential:
            return std::pow(65535, t / d);
        case CurveShiftedSquareRoot:
            return (std::sqrt(v) - std::sqrt(lo)) * (65536 / (std::sqrt(hi) - std::sqrt(lo))) + 0.5;
        default: {
            const double k = 2 * std::tan(double{1.25664F}) / (logHi - logLo);
            const double turn = std::atan((std::log(v + 1) - (logHi + logLo) / 2) * k);
            return std::trunc(turn * double{20860.1F}) + 32768;
        }
    }
}

TEST(Lut, EveryEntryEqualsItsFormula) {
    for (const int curve : {0, 1, 2, 3, 4, 8, 9})
        for (const auto& [lo, hi] : {std::pair{1000, 3000},
                                     {0, 29000},
                                     {0, 65535},
                                     {77, 60000},
                                     {5000, 5013},
                                     {50000, 7}}) {
            const Table lut = tableOf(curve, lo, hi);
            for (int v = 0; v < 65536; ++v) {
                const bool inside = curve == CurveSigmoid || (lo <= v && v < hi);
                const double entry = inside ? curveSlowly(curve, v, lo, hi) : v < hi ? 0 : 65535;
                ASSERT_EQ(lut[std::size_t(v)], int(entry)) << curve << ' ' << lo << ' ' << v;
            }
        }
}

TEST(Lut, WindowedCurvesRiseFromBlackToWhite) {
    const int windows[][2] = {{0, 65535}, {0, 1},         {65534, 65535}, {77, 60000}, {500, 500},
                              {0, 0},     {65535, 65535}, {9000, 20},     {65535, 0}};
    for (const int curve : {0, 1, 2, 3, 4, 9})
        for (const auto& [lo, hi] : windows) {
            const Table lut = tableOf(curve, lo, hi);
            const int from = std::min(lo, hi);
            EXPECT_TRUE(std::ranges::is_sorted(lut));
            EXPECT_TRUE(std::all_of(lut.begin(), lut.begin() + from, [](int e) { return e == 0; }));
            EXPECT_TRUE(std::all_of(lut.begin() + hi, lut.end(), [](int e) { return e == 65535; }));
            const int first = lo >= hi ? 65535 : curve == CurveExponential ? 1 : 0;
            EXPECT_EQ(lut[std::size_t(lo)], first) << curve;
        }
}

TEST(Lut, ApplyingEqualsItsTwin) {
    const Table lut = noise(65536, 1).pixels;
    atEverySize([&](const Raster& raster) {
        expectGives([&](Image from, Image to) { return ApplyLut16(from, to, lut.data()); }, raster,
                    mapped(raster, lut));
    });
    Raster raster(5, 4), other(4, 5, 7);
    const Image from = raster.image(), to = other.image(), flat{0, 4, raster.pixels.data()};
    expectCodes(1, {ApplyLut16(from, to, lut.data()), ApplyLut16(from, {5, 4, nullptr}, lut.data()),
                    ApplyLut16(from, to, nullptr), Opt_GreyscaleAbs(from, to, 1, 2, 0),
                    Opt_GreyscaleLim(from, to, 1, 2, 0)});
    expectCodes(0, {ApplyLut16(flat, flat, lut.data()), Opt_GreyscaleAbs(flat, flat, 1, 2, 0),
                    Opt_GreyscaleLim(flat, flat, 1, 2, 0)});
    EXPECT_EQ(ApplyLut16(from, from, nullptr), -2);
    EXPECT_EQ(raster, Raster(5, 4));
    EXPECT_EQ(other, Raster(4, 5, 7));
}

TEST(Greyscale, WindowsMapThroughTheirTable) {
    Raster raster = noise(130, 90);
    ImageValue window{};
    ASSERT_EQ(Get_ImageValueLim(raster.image(), &window, 30000, 250000), 0);
    for (const std::uint16_t mode : Pixels{0, 2, 8, 0xC004}) {
        expectGives(
            [=](Image from, Image to) { return Opt_GreyscaleAbs(from, to, 900, 40000, mode); },
            raster, mapped(raster, tableOf(mode, 900, 40000)));
        expectGives(
            [=](Image from, Image to) { return Opt_GreyscaleLim(from, to, 30000, 250000, mode); },
            raster, mapped(raster, tableOf(mode, window.min, window.max)));
    }
}

TEST(DisplayCurve, GivesItsCheckValues) {
    constexpr double none = std::numeric_limits<double>::quiet_NaN();
    constexpr double far = std::numeric_limits<double>::infinity();
    const Entries neutral{{0, 0},         {1, 1},         {32767, 32767},
                          {32768, 32767}, {65534, 65533}, {65535, 65534}};
    const std::tuple<double, double, double, Entries> cases[] = {
        {50, 50, 1.0, neutral},
        {none, none, none, neutral},
        {50, 50, 2.0, {{1, 255}, {32767, 46339}, {65535, 65534}}},
        {60, 50, 1.0, {{0, 13902}, {32767, 46669}, {65000, 65535}, {65535, 65535}}},
        {50, 0, 1.0, {{0, 32767}, {65535, 32767}}},
        {0, 50, 1.0, {{0, 0}, {65535, 0}}},
        {-far, 50, 1.0, {{0, 0}, {65535, 0}}}};
    const auto curve = [](double brightness, double contrast, double gamma) {
        Table lut(greyValues);
        EXPECT_EQ(Make_DispLut(nullptr, lut.data(), brightness, contrast, gamma), 0);
        return lut;
    };
    for (const auto& [brightness, contrast, gamma, entries] : cases)
        expectEntries(curve(brightness, contrast, gamma), entries, std::to_string(brightness));
    for (const auto& [brightness, contrast, gamma] :
         {std::tuple{61.0, 23.0, 1.0}, {37.0, 81.0, 0.45}, {52.0, 50.0, 2.2}, {45.0, 5.0, 0.8}}) {
        const double angle = contrast / 200 * 3.1415926535, slope = std::tan(angle);
        const double rise = 1 / std::cos(angle) + std::cos(angle);
        const double offset = rise * ((brightness / 50 - 1) * 32767.5) + (1 - slope) * 32767.5;
        const Table lut = curve(brightness, contrast, gamma);
        for (std::size_t v = 0; v < greyValues; ++v) {
            const double part = std::pow(double(v) / 65535, 1 / gamma);
            const double entry = slope * (part * 65535) + offset;
            ASSERT_EQ(lut[v], int(std::clamp(entry, 0.0, 65535.0))) << contrast << ' ' << v;
        }
    }
    EXPECT_EQ(curve(40, 150, 0.0), curve(40, 100, 0.01));
    EXPECT_EQ(curve(300, 40, far), curve(100, 40, 5));

    // On top of a table, also in place: entry i is the curve at that table's entry i.
    const Table below = tableOf(CurveQuadratic | LutInvert, 100, 50000);
    Table both = below;
    ASSERT_EQ(Make_DispLut(both.data(), both.data(), 55, 60, 1.5), 0);
    EXPECT_EQ(Raster(65536, 1, both), mapped(Raster(65536, 1, below), curve(55, 60, 1.5)));
    EXPECT_EQ(Make_DispLut(below.data(), nullptr, 50, 50, 1), -2);
}

TEST(Deflash, EqualsItsTwin) {
    atEveryLevelAndSize([](const Raster& original) {
        for (const int threshold : {0, 100, 32767, 32768, 60000, 65535}) {
            Raster fast = original, twin = original;
            for (int y = 1; y < twin.height - 1; ++y)
                for (int x = 1; x < twin.width - 1; ++x)
                    if (twin.at(x, y) - twin.at(x, y - 1) > threshold)
                        twin.at(x, y) = std::uint16_t((twin.at(x, y - 1) + twin.at(x, y + 1)) / 2);
            ASSERT_EQ(DeFlash(fast.image(), std::uint16_t(threshold)), 0);
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
        const auto beyond = [](int ppm) { return std::size_t(67 * 41 * std::min(ppm / 1e6, 0.4)); };
        const int low = lowPpm < 0 ? 0 : inner[beyond(lowPpm)];
        const int high = highPpm < 0 ? 65535 : inner[inner.size() - 1 - beyond(highPpm)];
        const auto upTo = [&](int value) {
            return std::ranges::upper_bound(sorted, value) - sorted.begin();
        };
        const auto all = static_cast<double>(upTo(high - 1) - upTo(low - 1));
        // The parts are added one after the other, each rounded.
        Table lut(greyValues, 65535);
        std::fill_n(lut.begin(), low, std::uint16_t{0});
        double running = 0;
        for (int v = low; v < high; ++v) {
            running += static_cast<double>(upTo(v) - upTo(v - 1)) * (65535 / all);
            lut[std::size_t(v)] = std::uint16_t(std::min(running, 65535.0));
        }
        EXPECT_EQ(equalised(raster, lowPpm, highPpm), mapped(raster, lut));
    }
}

TEST(Equalise, FindingNothingGivesSteps) {
    const int cases[][4] = {
        {0, 0, -1, 0},          {0, 0, 0, 65535},  {0, -1, -1, 65535}, {65535, 0, -1, 65535},
        {65535, -1, -1, 65535}, {500, 0, 0, 65535}};  // none lie below the range's end
    for (const auto& [grey, low, high, result] : cases)
        EXPECT_EQ(equalised(Raster(8, 8, std::uint16_t(grey)), low, high),
                  Raster(8, 8, std::uint16_t(result)));
    Raster raster = noise(9, 9), other(9, 8);
    std::int32_t low = 7, high = 3;
    const Image missing{9, 9, nullptr}, flat{9, 0, raster.pixels.data()};
    const Image from = raster.image(), to = other.image();
    expectCodes(-50, {Equal_Histo(to, from, 0, 0), Equal_Histo(missing, from, 0, 0),
                      Equal_Histo3(from, to, 50, &low, &high, 0, 0, 0),
                      Equal_Histo3(from, missing, 50, &low, &high, 0, 0, 0)});
    expectCodes(
        0, {Equal_Histo(flat, flat, 0, 0), Equal_Histo3(flat, flat, 50, &low, &high, 0, 0, 0)});
    EXPECT_EQ(Equal_Histo3(from, from, 50, nullptr, &high, 0, 0, 0), -2);
    EXPECT_EQ(low, 7);
    EXPECT_EQ(high, 3);
    EXPECT_EQ(raster, noise(9, 9));
}

TEST(EqualiseClipped, FindsTheFootOfAPeak) {
    Histogram histogram{}, fromAbove{};
    const auto foot = [](const Histogram& counts, int step, std::uint64_t stop,
                         std::uint64_t mark) {
        return Find_HistoEdge(counts, step, 50, 0.25, stop, mark);
    };
    EXPECT_EQ(foot(histogram, +1, 1, 0), 65501);
    EXPECT_EQ(foot(histogram, -1, 1, 0), 35);
    // Blocks from 1 on: 8, 80, 20 and 19 a grey value; a quarter of 80 is reached by 20.
    for (const std::uint32_t mean : {19U, 20U, 80U, 8U}) {
        std::shift_right(histogram.begin() + 1, histogram.end(), 50);
        std::fill_n(histogram.begin() + 1, 50, mean);
    }
    std::copy(histogram.begin() + 1, histogram.end(), fromAbove.rbegin());
    EXPECT_EQ(foot(histogram, +1, 100000, 0), 151);
    EXPECT_EQ(foot(fromAbove, -1, 100000, 0), 65535 - 150);
    // The mark: the block that takes the sum past it, bin 0 counted upward.
    EXPECT_EQ(foot(histogram, +1, 4399, 400), 51);
    EXPECT_EQ(foot(histogram, +1, 4399, 399), 1);
    EXPECT_EQ(foot(fromAbove, -1, 4399, 400), 65535 - 50);
    histogram[0] = 1;
    EXPECT_EQ(foot(histogram, +1, 4399, 400), 1);
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
        count = sum += std::uint32_t(value * (v < low ? 0.01 : v < high ? 1.0 : 0.1));
    }
    if (sum == 0) sum = 1;
    const double w = weight / 100.0;
    const double a = (1.0 - w) * 65535.0 / sum, b = w * 65535.0 / std::sqrt(65535.0);
    Table lut(greyValues);
    for (std::size_t v = 0; v < greyValues; ++v)
        lut[v] = std::uint16_t(weight == 0 ? counts[v] * (65535.0 / sum)
                                           : counts[v] * a + std::sqrt(double(v)) * b);
    return lut;
}

TEST(EqualiseClipped, EqualsItsTwin) {
    Raster raster = noise(500, 400);
    for (auto& pixel : raster.pixels) pixel = static_cast<std::uint16_t>(3000 + pixel % 997);
    const struct {
        int strength, low, high, fixLow, fixHigh, weight;
        int usedStrength, usedLow, usedHigh, usedWeight;
    } cases[] = {{50, 5000, 1000, 1, 1, 0, 50, 3000, 3000, 0},
                 {100, 3100, 3500, 1, 1, 0, 100, 3100, 3500, 0},
                 {0, 3100, 3500, 1, 1, 30, 0, 3100, 3500, 30},
                 {-5, -7, 70000, 9, 9, -1, 0, 0, 65535, 0},
                 {700, 3100, 3500, 1, 1, 700, 100, 3100, 3500, 100},
                 // The blocks 2951..3000 and 3986..4035 hold more than 1 % of all pixels, and no
                 // foot follows before half of all.
                 {80, 1, 65535, 0, 1, 0, 80, 2951, 65535, 0},
                 {80, 0, 9, 1, 0, 0, 80, 0, 4035, 0},
                 {80, 5000, 65535, 1, 0, 5, 80, 4035, 5000, 5}};
    for (const auto& one : cases) {
        const Table lut =
            clippedTable(raster, one.usedStrength, one.usedLow, one.usedHigh, one.usedWeight);
        const auto equalise = [&](Image from, Image to) {
            std::int32_t low = one.low, high = one.high;
            const int code = Equal_Histo3(to, from, one.strength, &low, &high, one.fixLow,
                                          one.fixHigh, one.weight);
            EXPECT_EQ(low, one.usedLow);
            EXPECT_EQ(high, one.usedHigh);
            return code;
        };
        expectGives(equalise, raster, mapped(raster, lut));
    }
}

TEST(EqualiseClipped, EveryEntryEqualsItsTwin) {
    const Raster raster = noise(500, 400);
    for (const int weight : {0, 30, 100}) {
        const auto equalise = [&](Image from, Image to) {
            std::int32_t low = 9000, high = 50001;
            return Equal_Histo3(to, from, 20, &low, &high, 1, 1, weight);
        };
        expectGives(equalise, raster,
                    mapped(raster, clippedTable(raster, 20, 9000, 50001, weight)));
    }
    Raster black(13, 1);
    std::int32_t low = 0, high = 65535;
    ASSERT_EQ(Equal_Histo3(black.image(), black.image(), 100, &low, &high, 1, 1, 0), 0);
    EXPECT_EQ(black, Raster(13, 1, 65534)) << "13 * (65535 / 13), which rounds below 65535";
}

TEST(EqualiseClipped, OfAHundredPixelsTheFirstIsTheMark) {
    Raster raster(10, 10, 3000);
    raster.pixels[0] = 10;
    std::int32_t low = 500, high = 65535;
    ASSERT_EQ(Equal_Histo3(raster.image(), raster.image(), 50, &low, &high, 0, 1, 0), 0);
    EXPECT_EQ(low, 1) << "one per cent is a little less than one pixel";
}

/// More pixels of one grey value than single precision counts, and sums beyond 32 bits.
TEST(LargeRaster, IsHandledToItsEnd) {
    constexpr int side = 4100, rows = 4093, bright = side - rows;
    constexpr double count = double{side} * side, dark = double{side} * rows;
    const auto ofTwo = [](int width, std::uint16_t upper, std::uint16_t lower) {
        Raster raster(width, side, upper);
        std::fill(&raster.at(0, rows), &raster.pixels.back() + 1, lower);
        return raster;
    };
    const Raster raster = ofTwo(side, 40000, 50000);
    const Table lut = noise(65536, 1).pixels;
    expectGives(Invert_Image, raster, ofTwo(side, 25535, 15535));
    expectGives([&](Image from, Image to) { return ApplyLut16(from, to, lut.data()); }, raster,
                ofTwo(side, lut[40000], lut[50000]));
    const double upper = dark * (65535 / count), both = upper + (count - dark) * (65535 / count);
    expectGives([](Image from, Image to) { return Equal_Histo(to, from, -1, -1); }, raster,
                ofTwo(side, std::uint16_t(upper), std::uint16_t(std::min(both, 65535.0))));
    const auto equalise = [](Image from, Image to) {
        std::int32_t low = 0, high = 65535;
        return Equal_Histo3(to, from, 100, &low, &high, 1, 1, 30);
    };
    expectGives(equalise, raster, mapped(raster, clippedTable(raster, 100, 0, 65535, 30)));
    Raster flashes = raster;
    std::fill(&flashes.at(1, rows), &flashes.at(side - 1, rows), std::uint16_t{45000});
    atEveryLevel([&] {
        Raster work = raster;
        OwnedImage binned;
        ASSERT_EQ(Bin_Image(work.image(), &binned, 4, 1), 0);
        EXPECT_TRUE(Raster(binned) == ofTwo(side / 4, 40000, 50000));
        ImageValue value{};
        ASSERT_EQ(Get_ImageValue(work.image(), &value), 0);
        EXPECT_EQ(value.mean, (40000.0 * rows + 50000.0 * bright) / side);
        EXPECT_NEAR(value.sigma, 10000 * std::sqrt(double{rows} * bright) / side, 1e-9);
        Pixels profile(side);
        ASSERT_EQ(Make_XScan(work.image(), {0, 0, side - 1, side - 1}, profile.data()), 0);
        EXPECT_EQ(profile, Pixels(side, (40000 * rows + 50000 * bright) / side));
        ASSERT_EQ(Make_YScan(work.image(), {0, 0, side - 1, side - 1}, profile.data()), 0);
        EXPECT_EQ(profile, ofTwo(1, 40000, 50000).pixels);
        ASSERT_EQ(DeFlash(work.image(), 9999), 0);
        EXPECT_TRUE(work == flashes);
    });
}

}  // namespace
}  // namespace lumo::test
