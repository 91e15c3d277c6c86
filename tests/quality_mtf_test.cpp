// Modulation transfer of edges whose pixel means and transfer are known in closed form.
#include <gtest/gtest.h>

#include "support/pictures.h"

namespace lumo::test {
namespace {

constexpr double pi = std::numbers::pi;

/// A step blurred by a Gaussian and, for a part of it, by a wide one (glare); the edge is tilted
/// against the columns (or rows) by an angle that is positive against the clock. Millimetres.
struct Edge {
    double sigma = 0.06, degrees = 3, pitchX = 0.1, pitchY = 0.1;
    bool alongRows = false, falling = false;
    double low = 5000, high = 25000, noise = 20;
    double glare = 0, bend = 0, ringing = 0;
    double place = 0.5;  ///< of the edge in the image
    int columns = 256, rows = 256;
    static constexpr double glareSigma = 0.8;

    [[nodiscard]] double across() const { return alongRows ? pitchY : pitchX; }
    [[nodiscard]] double along() const { return alongRows ? pitchX : pitchY; }
    [[nodiscard]] double angle() const { return std::abs(degrees) * pi / 180; }

    /// The normal distribution integrated twice: four of it make the mean over a pixel.
    static double integral(double t, double deviation) {
        const double z = t / deviation, phi = std::exp(-z * z / 2) / std::sqrt(2 * pi);
        const double below = std::erfc(-z / std::numbers::sqrt2) / 2;
        return deviation * deviation * ((z * z + 1) * below + z * phi) / 2;
    }
    [[nodiscard]] double rise(double t, double deviation) const {
        const double a = across() * std::cos(angle()) / 2, b = along() * std::sin(angle()) / 2;
        return (integral(t + a + b, deviation) - integral(t + a - b, deviation) -
                integral(t - a + b, deviation) + integral(t - a - b, deviation)) /
               (4 * a * b);
    }
    [[nodiscard]] double signal(int x, int y) const {
        const double u = ((alongRows ? y : x) - (alongRows ? rows : columns) * place) * across();
        const double part = (alongRows ? x : y) / double(alongRows ? columns : rows) - 0.5;
        const double v = part * (alongRows ? columns : rows) * along();
        // Turned against the clock, an upright line leans right downwards, a level one rises.
        const double lean = (degrees > 0) == alongRows ? -1 : 1;
        const double t = u * std::cos(angle()) - lean * v * std::sin(angle()) -
                         bend * across() * (1 - 4 * part * part);
        const double value = (1 - glare) * rise(t, sigma) + glare * rise(t, glareSigma) +
                             ringing * std::exp(-t * t / (8 * sigma * sigma)) * std::sin(t / sigma);
        return low + (high - low) * (falling ? 1 - value : value);
    }
    [[nodiscard]] Raster raster(std::uint64_t seed = 1) const {
        const auto pixel = [&](int x, int y) { return signal(x, y); };
        return picture(columns, rows, pixel, noise, seed);
    }
    [[nodiscard]] double transfer(double f) const {
        const auto sinc = [](double x) { return x == 0 ? 1 : std::sin(pi * x) / (pi * x); };
        const auto gauss = [f](double s) { return std::exp(-2 * pi * pi * s * s * f * f); };
        return ((1 - glare) * gauss(sigma) + glare * gauss(glareSigma)) *
               sinc(across() * std::cos(angle()) * f) * sinc(along() * std::sin(angle()) * f);
    }
    /// The frequency of a transfer.
    [[nodiscard]] double frequencyOf(double level) const {
        double below = 0, above = 1 / across();
        for (int i = 0; i < 60; ++i) {
            const double middle = (below + above) / 2;
            (transfer(middle) > level ? below : above) = middle;
        }
        return below;
    }
};

std::ostream& operator<<(std::ostream& to, const Edge& edge) {
    return to << "sigma " << edge.sigma << " angle " << edge.degrees << " pitch " << edge.pitchX
              << " x " << edge.pitchY << (edge.alongRows ? " along rows" : "")
              << (edge.falling ? " falling" : "") << " noise " << edge.noise;
}

struct Measured {
    int code = 0;
    LumoMtf mtf = sized<LumoMtf>();
    std::vector<LumoCurvePoint> curve;
};

Measured measure(Raster raster, Roi region, const Edge& edge,
                 const LumoMtfOptions& options = sized<LumoMtfOptions>()) {
    const auto nanometres = [](double pitch) { return std::uint32_t(std::lround(pitch * 1e6)); };
    Measured measured;
    measured.curve = curveOf<LumoCurvePoint>([&](LumoCurvePoint* points, std::int32_t* count) {
        return measured.code =
                   LumoMeasureMtf(raster.image(), region, nanometres(edge.pitchX),
                                  nanometres(edge.pitchY), &options, &measured.mtf, points, count);
    });
    return measured;
}

void expectTruth(const Edge& edge, const Measured& measured, double tolerance) {
    const LumoMtf& mtf = measured.mtf;
    ASSERT_EQ(measured.code, 0) << LumoQualityReasonText(mtf.reason);
    for (const auto& [f, value] : measured.curve)
        EXPECT_NEAR(value, edge.transfer(f), tolerance) << f;
    EXPECT_EQ(mtf.axis, edge.alongRows ? 1U : 0U);
    EXPECT_NEAR(mtf.nyquistFrequency, 0.5 / edge.across(), 1e-9);
    EXPECT_NEAR(measured.curve.back().x, mtf.nyquistFrequency, 1e-9);
    EXPECT_EQ(mtf.nyquist, measured.curve.back().y);
    for (const auto& [level, found] :
         {std::pair{0.5, mtf.mtf50}, std::pair{0.2, mtf.mtf20}, std::pair{0.1, mtf.mtf10}}) {
        const double truth = edge.frequencyOf(level), step = 0.01 * truth;
        const double slope =
            (edge.transfer(truth - step) - edge.transfer(truth + step)) / (2 * step);
        if (truth < mtf.nyquistFrequency - tolerance / slope) {
            EXPECT_NEAR(found, truth, tolerance / slope) << level;
        } else if (truth > mtf.nyquistFrequency + tolerance / slope) {
            EXPECT_TRUE(std::isnan(found)) << level;
        }
    }
}

void expectTruth(const Edge& edge, std::uint64_t seed) {
    SCOPED_TRACE(testing::Message() << edge << " seed " << seed);
    const Raster raster = edge.raster(seed);
    const Measured measured = measure(raster, wholeOf(raster), edge);
    const double relative = edge.noise / (edge.high - edge.low);
    expectTruth(edge, measured, 0.002 + 1.6 * relative);
    EXPECT_NEAR(measured.mtf.angleDegrees, edge.degrees, 0.01 + 2 * relative);
    EXPECT_NEAR(measured.mtf.contrast, edge.high - edge.low, 0.02 * (edge.high - edge.low));
    EXPECT_NEAR(measured.mtf.contrastOverNoise * relative, 1, 0.05);
    EXPECT_LT(measured.mtf.overshootPercent, 1);
    EXPECT_EQ(measured.mtf.notes, 0U);
    if (!std::isnan(measured.mtf.mtf50Error)) {
        EXPECT_GT(measured.mtf.mtf50Error, 0);
        EXPECT_LT(measured.mtf.mtf50Error, 0.01 * measured.mtf.mtf50);
    }
}

TEST(QualityMtf, FollowsEdgesOfKnownTransfer) {
    std::uint64_t seed = 1;
    for (const double degrees : {-8.0, -3.0, 2.0, 4.1, 9.0})
        for (const double noise : {4.0, 20.0, 200.0})
            expectTruth({.degrees = degrees, .noise = noise}, seed++);
    for (const double pitchY : {0.1, 0.15, 0.07})
        for (const bool alongRows : {false, true})
            for (const bool falling : {false, true})
                for (const double sigma : {0.03, 0.09})
                    expectTruth({.sigma = sigma,
                                 .degrees = falling ? 3.3 : -2.6,
                                 .pitchY = pitchY,
                                 .alongRows = alongRows,
                                 .falling = falling},
                                seed++);
    expectTruth({.glare = 0.1}, seed++);
    expectTruth({.noise = 100, .columns = 512, .rows = 400}, seed++);
}

TEST(QualityMtf, MakesTheSignalLinearFirst) {
    const Edge edge{.noise = 10};
    const Raster linear = edge.raster();
    // A square-root scanner, and one of inverted grey values.
    std::vector<double> root, squares, inverted{65535, 0}, values{0, 65535};
    for (int v = 0; v <= 65535; v += 64) {
        root.push_back(v);
        squares.push_back(v / 250.0 * (v / 250.0));
    }
    const auto coded = [&](const std::function<double(double)>& code) {
        return picture(
            edge.columns, edge.rows, [&](int x, int y) { return code(linear.at(x, y)); }, 0);
    };
    LumoSignal signal = sized<LumoSignal>();
    LumoMtfOptions options = sized<LumoMtfOptions>();
    options.signal = &signal;
    const auto expect = [&](const Raster& raster) {
        expectTruth(edge, measure(raster, wholeOf(raster), edge, options), 0.003);
    };
    signal.responseCount = std::int32_t(root.size());
    signal.responseGrey = root.data();
    signal.responseSignal = squares.data();
    expect(coded([](double v) { return 250 * std::sqrt(v); }));
    signal.responseCount = 2;
    signal.responseGrey = inverted.data();
    signal.responseSignal = values.data();
    expect(coded([](double v) { return 65535 - v; }));

    Raster dark = picture(
        edge.columns, edge.rows, [](int x, int y) { return 3000 + 40 * (x % 7) + 9 * y; }, 0);
    const Image darkImage = dark.image();
    signal = sized<LumoSignal>();
    signal.dark = &darkImage;
    Raster raised = linear;
    for (std::size_t i = 0; i < raised.pixels.size(); ++i)
        raised.pixels[i] = std::uint16_t(raised.pixels[i] + dark.pixels[i]);
    expect(raised);
}

struct Refusal {
    const char* name;
    Edge edge;
    std::uint32_t reason;
    Roi region = {0, 0, 255, 255};
};

TEST(QualityMtf, RefusesWhatIsNoSlantedEdge) {
    const Refusal refusals[] = {
        {"flat", {.low = 9000, .high = 9000}, LumoReasonNoEdge},
        {"faint", {.low = 9000, .high = 9300}, LumoReasonNoEdge},
        {"upright", {.degrees = 0.3}, LumoReasonTiltSmall},
        {"level", {.degrees = 0.3, .alongRows = true}, LumoReasonTiltSmall},
        {"tilted", {.degrees = 17}, LumoReasonTiltLarge},
        {"bent", {.bend = 3}, LumoReasonEdgeBent},
        {"at the side", {.place = 0.06, .rows = 60}, LumoReasonEdgeNearBorder, {0, 0, 255, 59}},
        {"low", {}, LumoReasonRegionSmall, {0, 100, 255, 130}},
        {"narrow", {}, LumoReasonRegionSmall, {112, 0, 142, 255}},
        {"clipped", {.high = 66000}, LumoReasonClipped},
        {"outside", {}, LumoReasonRegionOutside, {0, 0, 256, 255}},
        {"of assumed pitch", {.pitchY = 0.352778}, LumoReasonAssumedPitch},
    };
    for (const Refusal& refusal : refusals) {
        SCOPED_TRACE(refusal.name);
        const Measured measured = measure(refusal.edge.raster(), refusal.region, refusal.edge);
        EXPECT_EQ(measured.code, refusal.reason == LumoReasonRegionOutside ? -50 : -30);
        EXPECT_STREQ(LumoQualityReasonText(measured.mtf.reason),
                     LumoQualityReasonText(refusal.reason));
        EXPECT_TRUE(std::isnan(measured.mtf.mtf50));
        EXPECT_TRUE(measured.curve.empty());
    }
    const Edge known{.sigma = 0.2, .pitchX = 0.352778, .pitchY = 0.352778};
    LumoMtfOptions options = sized<LumoMtfOptions>();
    options.pitchKnown = 1;
    EXPECT_EQ(measure(known.raster(), {0, 0, 255, 255}, known, options).code, 0);
    options.spanMillimetres = -1;
    EXPECT_EQ(measure(known.raster(), {0, 0, 255, 255}, known, options).code, -2);
    options.size -= 1;
    EXPECT_EQ(measure(known.raster(), {0, 0, 255, 255}, known, options).code, -2);
}

TEST(QualityMtf, NotesWhatHasToBeTakenWithCare) {
    const Edge fifth{.degrees = std::atan(0.2) * 180 / pi}, faint{.low = 9000, .high = 9600},
        sharpened{.ringing = 0.4};
    const std::pair<Edge, std::uint32_t> cases[] = {
        {fifth, LumoNoteEmptyBins}, {faint, LumoNoteLowContrast}, {sharpened, LumoNoteOvershoot}};
    for (const auto& [edge, note] : cases) {
        const Measured measured = measure(edge.raster(), {0, 0, 255, 255}, edge);
        EXPECT_EQ(measured.code, 0);
        EXPECT_EQ(measured.mtf.notes, note);
    }
    LumoMtfOptions options = sized<LumoMtfOptions>();
    options.spanMillimetres = 5;
    const Measured narrow = measure(Edge{}.raster(), {0, 0, 255, 255}, {}, options);
    EXPECT_NEAR(narrow.mtf.spanMillimetres, 5, 0.05);
    expectTruth({}, narrow, 0.004);
}

}  // namespace
}  // namespace lumo::test
