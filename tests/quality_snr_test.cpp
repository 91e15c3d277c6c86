// Signal to noise and contrast to noise of pictures with known noise.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "quality/groups.h"
#include "quality/median.h"
#include "support/pictures.h"

namespace lumo::test {
namespace {

constexpr double rounding = 1.0 / 12;  // variance

LumoSnr snrOf(Raster raster, Roi region, const LumoSnrOptions* options = nullptr, int code = 0) {
    LumoSnr snr = sized<LumoSnr>();
    EXPECT_EQ(LumoMeasureSnr(raster.image(), region, options, &snr), code);
    return snr;
}

TEST(QualitySnr, FollowsTheNoiseAndNotTheShading) {
    std::uint64_t seed = 1;
    for (const std::uint32_t along : {0U, 1U})
        for (const double sigma : {1.0, 20.0, 160.0}) {
            const double mean = 20000;
            // Shading across the groups, and hot pixels.
            const Raster raster = picture(
                300, 260,
                [&](int x, int y) {
                    const double shading = 0.07 * (along == 0 ? y / 260.0 : x / 300.0);
                    return (x * 7 + y * 13) % 5003 == 0 ? 60000 : mean * (1 + shading);
                },
                sigma, seed++);
            LumoSnrOptions options = sized<LumoSnrOptions>();
            options.along = along;
            options.srbMicrometres = 130;
            const Roi inner{299, 250, 11, 3};  // corners in either order, a rest of 9 and of 8
            const LumoSnr snr = snrOf(raster, inner, &options);
            EXPECT_EQ(snr.groups, along == 0 ? 14U * 248 : 289U * 12);
            const double noise = std::sqrt(sigma * sigma + rounding);
            EXPECT_NEAR(snr.sigma / noise, 1, 4 * snr.relativeError);
            EXPECT_NEAR(snr.mean / (mean * 1.035), 1, 0.002);
            EXPECT_NEAR(snr.relativeError, 1.2533 / std::sqrt(38.0 * snr.groups), 1e-12);
            EXPECT_EQ(snr.snr, snr.mean / snr.sigma);
            EXPECT_NEAR(snr.snrN, snr.snr * 88.6 / 130, 1e-9);
            EXPECT_GT(snr.plainSigma, 300);
            EXPECT_EQ(snr.notes, 0U);
        }
}

TEST(QualitySnr, ScattersAsItSays) {
    std::vector<double> found;
    LumoSnr snr{};
    for (std::uint64_t seed = 0; seed < 300; ++seed) {
        snr = snrOf(picture(
                        20, 55, [](int, int) { return 5000; }, 50, seed),
                    {0, 0, 19, 54});
        found.push_back(snr.snr);
    }
    const double mean = std::accumulate(found.begin(), found.end(), 0.0) / 300;
    double squares = 0;
    for (const double value : found) squares += (value / mean - 1) * (value / mean - 1);
    EXPECT_NEAR(mean, 5000 / std::sqrt(2500 + rounding),
                4 * 100 * snr.relativeError / std::sqrt(300));
    EXPECT_NEAR(std::sqrt(squares / 299), snr.relativeError, 0.15 * snr.relativeError);
}

/// Groups and medians as they are defined, one after another.
TEST(QualitySnr, EqualsASlowTwinAtEveryLevel) {
    atEveryLevelAndSize([](const Raster& raster) {
        const int groups = raster.width / 20;
        std::vector<double> sums(std::size_t(groups) + 1, -1), spreads = sums;
        groupSums(raster.pixels.data(), groups, sums.data(), spreads.data());
        for (int g = 0; g < groups; ++g) {
            std::int64_t sum = 0, squares = 0;
            for (int i = 20 * g; i < 20 * g + 20; ++i) sum += raster.at(i, 0);
            for (int i = 20 * g; i < 20 * g + 20; ++i)
                squares += std::int64_t{raster.at(i, 0)} * raster.at(i, 0);
            EXPECT_EQ(sums[std::size_t(g)], double(sum));
            EXPECT_EQ(spreads[std::size_t(g)], double(20 * squares - sum * sum));
        }
        EXPECT_EQ(sums.back(), -1);
    });
    Random random(5);
    for (const std::size_t count : {1U, 2U, 999U, 70000U, 70001U})
        for (const std::uint32_t range : {1U, 5U, 1U << 30}) {
            std::vector<double> values(count);
            for (double& value : values) value = random.below(range);
            std::vector<double> sorted = values;
            std::ranges::sort(sorted);
            const Middle middle = middleOf(values);
            EXPECT_EQ(middle.lower, sorted[(count - 1) / 2]);
            EXPECT_EQ(middle.upper, sorted[count / 2]);
        }
    std::vector<double> values(50000), sample;
    for (double& value : values) value = random.below(1000);
    for (std::size_t i = 0; i < MiddleFinder::sampleSize; ++i) sample.push_back(values[11 * i]);
    MiddleFinder finder(sample, values.size()), misled({5000, 6000, 7000}, values.size());
    for (std::size_t i = 0; i < values.size(); i += 100) {
        finder.add(values.data() + i, 100);
        misled.add(values.data() + i, 100);
    }
    ASSERT_TRUE(finder.middle().has_value());
    EXPECT_EQ(finder.middle()->mean(), medianOf(values));
    EXPECT_FALSE(misled.middle().has_value());
}

TEST(QualitySnr, TakesOffsetDarkAndResponse) {
    const Roi all{0, 0, 99, 99};
    const Raster plain = picture(
        100, 100, [](int, int) { return 9000; }, 30);
    const LumoSnr truth = snrOf(plain, all);
    LumoSignal signal = sized<LumoSignal>();
    LumoSnrOptions options = sized<LumoSnrOptions>();
    options.signal = &signal;
    const auto expectSame = [&](const Raster& raster) {
        for (const std::uint32_t along : {0U, 1U}) {
            options.along = along;
            LumoSnrOptions plainly = sized<LumoSnrOptions>();
            plainly.along = along;
            const LumoSnr snr = snrOf(raster, all, &options), same = snrOf(plain, all, &plainly);
            EXPECT_NEAR(snr.snr, same.snr, 1e-9 * same.snr);
            EXPECT_NEAR(snr.plainSnr, same.plainSnr, 1e-9 * same.plainSnr);
            EXPECT_EQ(snr.groups, same.groups);
        }
    };
    Raster raised = plain;
    for (std::uint16_t& pixel : raised.pixels) pixel = std::uint16_t(pixel + 1000);
    signal.offset = 1000;
    expectSame(raised);
    EXPECT_NEAR(snrOf(raised, all).snr / truth.snr, 10.0 / 9, 0.001);

    Raster dark = picture(
        100, 100, [](int x, int y) { return 900 + 10 * (x % 9) + y; }, 0);
    const Image darkImage = dark.image();
    for (std::size_t i = 0; i < dark.pixels.size(); ++i)
        raised.pixels[i] = std::uint16_t(plain.pixels[i] + dark.pixels[i] + 50);
    signal.dark = &darkImage;
    signal.offset = 50;
    expectSame(raised);
    const double grey[] = {20000, 5000}, doubled[] = {40000, 10000};
    signal.responseGrey = grey;
    signal.responseSignal = doubled;
    signal.responseCount = 2;
    expectSame(raised);
    signal.offset = 0;
    signal.dark = nullptr;
    expectSame(plain);
}

TEST(QualitySnr, RefusesWhatIsNotUniform) {
    const auto flat = [](double mean, double sigma) {
        return picture(
            60, 60, [=](int, int) { return mean; }, sigma);
    };
    const Roi all{0, 0, 59, 59};
    const double grey[] = {0, 9000, 8000}, values[] = {0, 1, 2};
    LumoSignal below = sized<LumoSignal>(), narrow = below, bent = below;
    below.offset = 30000;
    narrow.responseGrey = bent.responseGrey = grey;
    narrow.responseSignal = bent.responseSignal = values;
    narrow.responseCount = 2;
    bent.responseCount = 3;
    Raster small(59, 60);
    const Image smallImage = small.image();
    LumoSignal otherSize = sized<LumoSignal>();
    otherSize.dark = &smallImage;
    Raster stepped = flat(9000, 50);  // nothing but every eighth grey value: not clipped
    for (std::uint16_t& pixel : stepped.pixels) pixel = std::uint16_t(pixel / 8 * 8);
    Raster constant = flat(9000, 0);
    constant.at(0, 0) = 1;
    constant.at(1, 0) = 65000;
    struct Case {
        const char* name;
        Raster raster;
        Roi region;
        const LumoSignal* signal;
        std::uint32_t reason;
    };
    const Case cases[] = {
        {"whole", flat(9000, 50), all, nullptr, 0},
        {"stepped", stepped, all, nullptr, 0},
        {"small", flat(9000, 50), {0, 0, 38, 53}, nullptr, LumoReasonRegionSmall},
        {"narrow", flat(9000, 50), {0, 0, 18, 59}, nullptr, LumoReasonRegionSmall},
        {"outside", flat(9000, 50), {0, 1, 59, 60}, nullptr, LumoReasonRegionOutside},
        {"bright", flat(65400, 60), all, nullptr, LumoReasonClipped},
        {"dark", flat(20, 20), all, nullptr, LumoReasonClipped},
        {"constant", constant, {0, 2, 59, 59}, nullptr, LumoReasonNoNoise},
        {"below 0", flat(9000, 50), all, &below, LumoReasonNoSignal},
        {"beyond table", flat(9000, 50), all, &narrow, LumoReasonResponseRange},
        {"bent table", flat(9000, 50), all, &bent, LumoReasonResponseTable},
        {"small dark", flat(9000, 50), all, &otherSize, LumoReasonSizes},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.name);
        LumoSnrOptions options = sized<LumoSnrOptions>();
        options.signal = one.signal;
        const int code = one.reason == 0 ? 0 : one.reason == LumoReasonRegionOutside ? -50 : -30;
        const LumoSnr snr = snrOf(one.raster, one.region, &options, code);
        EXPECT_STREQ(LumoQualityReasonText(snr.reason), LumoQualityReasonText(one.reason));
        EXPECT_EQ(std::isnan(snr.snr), code != 0);
    }
    EXPECT_EQ(snrOf(flat(9000, 0.3), all).notes, std::uint32_t{LumoNoteRounding});
    LumoSnrOptions wrong = sized<LumoSnrOptions>();
    wrong.along = 2;
    snrOf(flat(9000, 50), all, &wrong, -2);
    wrong = sized<LumoSnrOptions>();
    wrong.srbMicrometres = -1;
    snrOf(flat(9000, 50), all, &wrong, -2);
    LumoSnr unsized{};
    Raster raster = flat(9000, 50);
    expectCodes(-2, {LumoMeasureSnr(raster.image(), all, nullptr, &unsized),
                     LumoMeasureSnr(raster.image(), all, nullptr, nullptr)});
    LumoSnr snr = sized<LumoSnr>();
    EXPECT_EQ(LumoMeasureSnr({}, all, nullptr, &snr), -50);
}

TEST(QualityCnr, ComparesTwoRegions) {
    Raster raster = picture(
        200, 100, [](int x, int) { return x < 100 ? 10000 : 11000; }, 0);
    Random random(3);
    for (int y = 0; y < 100; ++y)
        for (int x = 0; x < 200; ++x)
            raster.at(x, y) =
                std::uint16_t(raster.at(x, y) + std::lround((x < 100 ? 40 : 80) * normal(random)));
    LumoCnrOptions options = sized<LumoCnrOptions>();
    options.srbMicrometres = 100;
    options.stepPercent = 2;
    LumoCnr cnr = sized<LumoCnr>();
    const Roi left{0, 0, 99, 99}, right{100, 0, 199, 99};
    ASSERT_EQ(LumoMeasureCnr(raster.image(), right, left, &options, &cnr), 0);
    const double error = 4 * 1.2533 / std::sqrt(38.0 * 500);
    EXPECT_NEAR(cnr.cnr, 25, 25 * error);
    EXPECT_NEAR(cnr.cnrPooled, 1000 / std::sqrt(4000), 16 * error);
    EXPECT_NEAR(cnr.objectSigma, 80, 80 * error);
    EXPECT_NEAR(cnr.backgroundMean, 10000, 2);
    EXPECT_EQ(cnr.cnrN, cnr.cnr * 0.886);
    EXPECT_EQ(cnr.contrastSensitivityPercent, 2 / cnr.cnr);
    EXPECT_EQ(cnr.objectGroups + cnr.backgroundGroups, 1000U);
    EXPECT_EQ(LumoMeasureCnr(raster.image(), right, {0, 0, 30, 30}, nullptr, &cnr), -30);
    EXPECT_EQ(cnr.reason, std::uint32_t{LumoReasonRegionSmall});
}

}  // namespace
}  // namespace lumo::test
