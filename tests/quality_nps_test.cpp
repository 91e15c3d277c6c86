// Noise power of white noise, of noise through known kernels, and of noise that rows share.
#include <gtest/gtest.h>

#include <array>
#include <memory>

#include "support/pictures.h"

namespace lumo::test {
namespace {

constexpr double pi = std::numbers::pi;
constexpr int side = 256;

struct Destroy {
    void operator()(LumoNps* spectrum) const { LumoNpsDestroy(&spectrum); }
};
using Spectrum = std::unique_ptr<LumoNps, Destroy>;

struct Noise {
    double sigma = 40, mean = 10000;
    std::array<double, 3> alongX = {0, 1, 0}, alongY = {0, 1, 0};  ///< kernels
    double rows = 0, columns = 0;                                  ///< offsets' deviations
    std::array<double, 6> trend = {};  ///< of 1, x, y, x^2, xy, y^2 over -1..1
    int width = 640, height = 512;

    [[nodiscard]] Raster raster(std::uint64_t seed) const {
        Random random(seed);
        std::vector<double> white(std::size_t(width + 2) * std::size_t(height + 2));
        for (double& value : white) value = sigma * normal(random);
        std::vector<double> offsets;
        for (int i = 0; i < width + height; ++i)
            offsets.push_back((i < width ? columns : rows) * normal(random));
        return picture(
            width, height,
            [&](int x, int y) {
                double value = mean + offsets[std::size_t(x)] + offsets[std::size_t(width + y)];
                for (int j = 0; j < 3; ++j)
                    for (int i = 0; i < 3; ++i)
                        value +=
                            alongX[std::size_t(i)] * alongY[std::size_t(j)] *
                            white[std::size_t(y + j) * std::size_t(width + 2) + std::size_t(x + i)];
                const double u = 2.0 * x / width - 1, v = 2.0 * y / height - 1;
                return value + trend[0] + trend[1] * u + trend[2] * v + trend[3] * u * u +
                       trend[4] * u * v + trend[5] * v * v;
            },
            0);
    }
    /// What a kernel lets through at a frequency index, as a region of 256 pixels sees it.
    static double response(const std::array<double, 3>& kernel, double index) {
        double sum = 0;
        for (int i = 0; i < 3; ++i)
            for (int j = 0; j < 3; ++j)
                sum += kernel[std::size_t(i)] * kernel[std::size_t(j)] *
                       (1 - std::abs(i - j) / double(side)) *
                       std::cos(2 * pi * (i - j) * index / side);
        return sum;
    }
    [[nodiscard]] double power(double u, double v) const {
        return sigma * sigma * response(alongX, u) * response(alongY, v) + 1.0 / 12;
    }
};

struct Measured {
    LumoNpsFigures figures = sized<LumoNpsFigures>();
    std::vector<LumoNpsPoint> curve;
};

Measured measure(const Noise& noise, int images, std::uint32_t pitchX = 100000,
                 std::uint32_t pitchY = 100000, const LumoNpsOptions* options = nullptr) {
    LumoNps* place = nullptr;
    EXPECT_EQ(LumoNpsCreate(&place, pitchX, pitchY, options), 0);
    const Spectrum spectrum(place);
    for (int i = 0; i < images; ++i) {
        Raster raster = noise.raster(std::uint64_t(i) + 1);
        EXPECT_EQ(LumoNpsAdd(place, raster.image(), nullptr, nullptr, nullptr), 0);
    }
    Measured measured;
    measured.curve = curveOf<LumoNpsPoint>([&](LumoNpsPoint* points, std::int32_t* count) {
        return LumoMeasureNps(place, &measured.figures, points, count);
    });
    return measured;
}

/// What a cut's bin holds: the mean over its points of the true power, and their number.
struct Bin {
    double mean = 0;
    int points = 0;
};
std::vector<Bin> trueCut(const Noise& noise, bool alongX, double ratio) {
    std::vector<Bin> bins(side / 2 + 1);
    for (int line = 1; line <= 7; ++line)
        for (int k = 1; k <= side / 2; ++k) {
            const auto at = std::size_t(std::lround(std::hypot(k, line * ratio)));
            if (at >= bins.size()) continue;
            bins[at].mean += alongX ? noise.power(k, line) : noise.power(line, k);
            ++bins[at].points;
        }
    for (Bin& bin : bins) bin.mean /= std::max(bin.points, 1);
    return bins;
}

void expectTruth(const Noise& noise, int images, double pitchX, double pitchY) {
    const auto [figures, curve] =
        measure(noise, images, std::uint32_t(pitchX * 1e6), std::uint32_t(pitchY * 1e6));
    ASSERT_EQ(curve.size(), std::size_t(side / 2 + 1));
    EXPECT_NEAR(figures.variance / figures.meanSquare, 1, 1e-5);
    EXPECT_NEAR(figures.mean, noise.mean, 1);
    EXPECT_TRUE(std::isnan(curve[0].npsX) && std::isnan(curve[0].nnpsY));
    const auto x = trueCut(noise, true, pitchX / pitchY),
               y = trueCut(noise, false, pitchY / pitchX);
    // Regions that overlap by half are worth fewer.
    const double independent = 0.6 * double(figures.regions), area = pitchX * pitchY;
    double sumX = 0, sumY = 0;
    int bins = 0;
    for (std::size_t k = 1; k < curve.size(); ++k) {
        const LumoNpsPoint& point = curve[k];
        const double ratioX = point.npsX / (x[k].mean * area),
                     ratioY = point.npsY / (y[k].mean * area);
        EXPECT_NEAR(point.frequencyX, double(k) / side / pitchX, 1e-9);
        EXPECT_NEAR(point.frequencyY, double(k) / side / pitchY, 1e-9);
        EXPECT_NEAR(point.nnpsX * figures.mean * figures.mean / point.npsX, 1, 1e-9);
        if (k < 4 || x[k].points < 5 || y[k].points < 5) continue;  // the trend takes some away
        EXPECT_NEAR(ratioX, 1, 5 / std::sqrt(2 * x[k].points * independent)) << k;
        EXPECT_NEAR(ratioY, 1, 5 / std::sqrt(2 * y[k].points * independent)) << k;
        sumX += ratioX;
        sumY += ratioY;
        ++bins;
    }
    const double tolerance = 5 / std::sqrt(2 * 7 * independent * bins);
    EXPECT_NEAR(sumX / bins, 1, tolerance);
    EXPECT_NEAR(sumY / bins, 1, tolerance);
}

TEST(QualityNps, FollowsWhiteAndColouredNoise) {
    expectTruth({}, 4, 0.1, 0.1);
    expectTruth({.alongX = {0.25, 0.5, 0.25}, .alongY = {0.1, 0.8, 0.1}}, 4, 0.1, 0.1);
    expectTruth({.alongX = {0.1, 0.8, 0.1}, .alongY = {0.5, 0.5, 0}}, 4, 0.1, 0.1);
    expectTruth({.alongX = {0.2, 0.6, 0.2}}, 4, 0.05, 0.08);
    // Offsets of whole rows stay on the axis that both cuts leave out.
    expectTruth({.rows = 30, .columns = 20}, 4, 0.1, 0.1);
}

TEST(QualityNps, TakesTheTrendAway) {
    const Measured plain = measure({}, 1);
    const Measured trended = measure({.trend = {0, 300, -200, 150, 400, -250}}, 1);
    LumoNpsOptions keep = sized<LumoNpsOptions>();
    keep.keepTrend = 1;
    const Measured kept =
        measure({.trend = {0, 300, -200, 150, 400, -250}}, 1, 100000, 100000, &keep);
    for (std::size_t k = 1; k < plain.curve.size(); ++k) {
        EXPECT_NEAR(trended.curve[k].npsX / plain.curve[k].npsX, 1, 0.02) << k;
        EXPECT_NEAR(trended.curve[k].npsY / plain.curve[k].npsY, 1, 0.02) << k;
    }
    EXPECT_GT(kept.curve[1].npsX, 2 * plain.curve[1].npsX);
    EXPECT_GT(kept.figures.variance, 2 * trended.figures.variance);
}

TEST(QualityNps, TellsWhatRowsAndColumnsShare) {
    const LumoNpsFigures white = measure({}, 4).figures;
    EXPECT_LT(white.rowSigma + white.columnSigma, 2);
    const LumoNpsFigures lined = measure({.rows = 12, .columns = 7}, 4).figures;
    EXPECT_NEAR(lined.rowSigma, 12, 1);
    EXPECT_NEAR(lined.columnSigma, 7, 0.7);
    EXPECT_EQ(lined.images, 4U);
    EXPECT_EQ(lined.regions, 4U * 4 * 3);
    EXPECT_EQ(lined.pixels, 4U * 640 * 512);
    EXPECT_EQ(lined.notes, std::uint32_t{LumoNoteFewPixels});
    EXPECT_NEAR(lined.relativeError, 0.9 / std::sqrt(14 * 20.0), 1e-9);
}

TEST(QualityNps, RefusesWhatDoesNotBelongTogether) {
    LumoNps* spectrum = nullptr;
    EXPECT_EQ(LumoNpsCreate(&spectrum, 352778, 352778, nullptr), -30);
    LumoNpsOptions known = sized<LumoNpsOptions>();
    known.pitchKnown = 1;
    EXPECT_EQ(LumoNpsCreate(&spectrum, 352778, 352778, &known), 0);
    const Spectrum owned(spectrum);
    const Noise noise{.width = 400, .height = 300};
    Raster raster = noise.raster(1), clipped = raster, other(401, 300);
    for (std::uint16_t& pixel : clipped.pixels) pixel = std::min<std::uint16_t>(pixel, 10050);
    std::uint32_t reason = 0;
    const auto expect = [&](std::uint32_t why, Raster& image, Roi region,
                            const LumoSignal* signal = nullptr) {
        EXPECT_EQ(LumoNpsAdd(spectrum, image.image(), &region, signal, &reason),
                  why == LumoReasonRegionOutside ? -50 : -30);
        EXPECT_EQ(reason, why);
    };
    LumoNpsFigures figures = sized<LumoNpsFigures>();
    EXPECT_EQ(LumoMeasureNps(spectrum, &figures, nullptr, nullptr), -30);
    EXPECT_EQ(figures.reason, std::uint32_t{LumoReasonFewFrames});
    const double grey[] = {0, 10000};
    LumoSignal narrow = sized<LumoSignal>();
    narrow.responseCount = 2;
    narrow.responseGrey = narrow.responseSignal = grey;
    expect(LumoReasonRegionSmall, raster, {0, 0, 254, 299});
    expect(LumoReasonRegionOutside, raster, {0, 0, 400, 299});
    expect(LumoReasonClipped, clipped, {0, 0, 399, 299});
    expect(LumoReasonResponseRange, raster, {0, 0, 399, 299}, &narrow);
    EXPECT_EQ(LumoNpsAdd(spectrum, raster.image(), nullptr, nullptr, &reason), 0);
    expect(LumoReasonSizes, other, {0, 0, 399, 299});
    std::int32_t count = 0;
    EXPECT_EQ(LumoMeasureNps(spectrum, &figures, nullptr, &count), 0);
    EXPECT_EQ(count, 129);
    EXPECT_EQ(figures.images, 1U);
    EXPECT_EQ(figures.regions, 1U);  // of the refused images nothing was added
    expectCodes(-2, {LumoNpsCreate(nullptr, 100000, 100000, nullptr),
                     LumoNpsAdd(nullptr, raster.image(), nullptr, nullptr, nullptr),
                     LumoMeasureNps(nullptr, &figures, nullptr, nullptr), LumoNpsDestroy(nullptr)});
    EXPECT_EQ(LumoNpsAdd(spectrum, {}, nullptr, nullptr, &reason), -50);
}

TEST(QualityNps, CountsDistancesInMillimetres) {
    // With pixels ten times as wide as high, no line beside the axis is nearer than ten indices.
    const auto curve = measure({}, 1, 200000, 20000).curve;
    for (std::size_t k = 1; k < curve.size(); ++k) {
        EXPECT_EQ(std::isnan(curve[k].npsX), k < 10) << k;
        EXPECT_FALSE(std::isnan(curve[k].npsY)) << k;
    }
}

TEST(QualityNps, TakesTheMiddleOfLargePictures) {
    // 125 mm of 0.4 mm are 312 pixels: one region in each direction.
    const Measured middle = measure({.width = 700, .height = 600}, 1, 400000, 400000);
    EXPECT_EQ(middle.figures.regions, 1U);
}

}  // namespace
}  // namespace lumo::test
