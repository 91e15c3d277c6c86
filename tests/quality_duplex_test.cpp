// The duplex wire gauge on rendered wires: round ones that absorb exponentially, a Gaussian blur,
// and the pixel's aperture as the tilt turns it.
#include <gtest/gtest.h>

#include <algorithm>

#include "quality/least_squares.h"
#include "support/pictures.h"

namespace lumo::test {
namespace {

constexpr double pi = std::numbers::pi, step = 0.001;  // the wires' grid in millimetres
constexpr double wires[] = {0.8,  0.63, 0.5, 0.4,  0.32,  0.25, 0.2,
                            0.16, 0.13, 0.1, 0.08, 0.063, 0.05};
constexpr double spacing = 4.2, firstPlace = 3.5;  // of the pairs along the gauge
constexpr double lineInset = 0.6;                  // of the line's ends

struct Gauge {
    double sigma = 0.04, pitchX = 0.05, pitchY = 0.05, degrees = 3;
    double snr = 200;
    bool bright = false, upright = false;
    double shading = 0;     ///< of the background along the line
    int from = 0, to = 13;  ///< pairs on the line
    double magnification = 1;

    [[nodiscard]] double angle() const { return degrees * pi / 180; }
    [[nodiscard]] double along() const { return upright ? pitchY : pitchX; }
    [[nodiscard]] double across() const { return upright ? pitchX : pitchY; }
    [[nodiscard]] double length() const {
        return 2 * firstPlace + spacing * (to - from - 1) * magnification;
    }
    [[nodiscard]] double placeOf(int pair) const {
        return firstPlace + spacing * (pair - from) * magnification;
    }
};

/// Means of values over a box.
std::vector<double> boxed(const std::vector<double>& values, double width) {
    const double reach = width / 2 / step;
    std::vector<double> sums(values.size() + 1), means(values.size());
    for (std::size_t i = 0; i < values.size(); ++i) sums[i + 1] = sums[i] + values[i];
    const auto at = [&](double x) {  // the integral to a place between samples
        x = std::clamp(x, 0.0, double(values.size()));
        const auto i = std::min(std::size_t(x), values.size() - 1);
        return sums[i] + (x - double(i)) * values[i];
    };
    for (std::size_t i = 0; i < values.size(); ++i) {
        const double middle = double(i) + 0.5;
        means[i] =
            (at(middle + reach) - at(middle - reach)) /
            (std::min(middle + reach, double(values.size())) - std::max(middle - reach, 0.0));
    }
    return means;
}

/// What a detector sees of wires of these diameters at these places, the unabsorbed part.
std::vector<double> rendered(const Gauge& gauge, double length,
                             const std::vector<std::pair<double, double>>& pairs) {
    constexpr double absorption = 4;  // per millimetre
    std::vector<double> line(std::size_t(length / step), 1.0);
    for (const auto& [place, diameter] : pairs)
        for (const double wire : {place - diameter, place + diameter})
            for (double x = wire - diameter / 2; x <= wire + diameter / 2; x += step) {
                const auto at = std::size_t(x / step);
                const double off = (double(at) + 0.5) * step - wire, half = diameter / 2;
                if (std::abs(off) < half)
                    line[at] = std::exp(-absorption * 2 * std::sqrt(half * half - off * off));
            }
    // Three boxes follow a normal distribution to a thousandth; five closer than any tolerance.
    constexpr int boxes = 5;
    for (int i = 0; i < boxes; ++i) line = boxed(line, gauge.sigma * std::sqrt(12.0 / boxes));
    line = boxed(line, gauge.along() * std::cos(gauge.angle()));
    return boxed(line, gauge.across() * std::abs(std::sin(gauge.angle())) + 1e-9);
}

/// The dip of a pair without noise: from the extremes of the rendered line.
double trueDip(const Gauge& gauge, double diameter) {
    const double place = 4;
    const auto line = rendered(gauge, 2 * place, {{place, diameter}});
    const auto middle = line.begin() + std::ptrdiff_t(place / step);
    const auto a = std::min_element(line.begin(), middle), b = std::min_element(middle, line.end());
    const double c = 1 - *std::max_element(a, b), sum = 2 - *a - *b;
    return 100 * (sum - 2 * c) / sum;
}

/// The diameter that dips by 20 %.
double trueDiameter(const Gauge& gauge) {
    double low = 0.02, high = 0.8;
    for (int i = 0; i < 20; ++i) {
        const double middle = (low + high) / 2;
        (trueDip(gauge, middle * gauge.magnification) < 20 ? low : high) = middle;
    }
    return low * 1000;
}

struct Line {
    double x1, y1, x2, y2;
};

/// The gauge in the middle of a picture, and the line across it.
Raster pictureOf(const Gauge& gauge, Line& line, std::uint64_t seed) {
    std::vector<std::pair<double, double>> pairs;
    for (int i = gauge.from; i < gauge.to; ++i)
        pairs.emplace_back(gauge.placeOf(i), wires[i] * gauge.magnification);
    const auto seen = rendered(gauge, gauge.length(), pairs);
    const double c = std::cos(gauge.angle()), s = std::sin(gauge.angle()), height = 14;
    const double wide = gauge.length() * c + height * std::abs(s),
                 high = height * c + gauge.length() * std::abs(s);
    const int columns = int(wide / gauge.along()), rows = int(high / gauge.across());
    const double signal = 30000, noise = signal / gauge.snr;
    const auto pixel = [&](int x, int y) {
        const double u = (x - columns / 2.0) * gauge.along() * c -
                         (y - rows / 2.0) * gauge.across() * s + gauge.length() / 2;
        const auto at = std::clamp<std::ptrdiff_t>(std::ptrdiff_t(std::floor(u / step)), 0,
                                                   std::ssize(seen) - 1);
        const double value = seen[std::size_t(at)] * (1 + gauge.shading * u / gauge.length());
        return signal * (gauge.bright ? 1.7 - value : value);
    };
    // A line somewhat off the gauge's axis, as drawn by hand.
    const double du =
        (gauge.length() / 2 - lineInset) * std::cos(gauge.angle() + 0.02) / gauge.along();
    const double dv =
        -(gauge.length() / 2 - lineInset) * std::sin(gauge.angle() + 0.02) / gauge.across();
    line = {columns / 2.0 - du, rows / 2.0 - dv, columns / 2.0 + du, rows / 2.0 + dv};
    if (!gauge.upright) return picture(columns, rows, pixel, noise, seed);
    line = {line.y1, line.x1, line.y2, line.x2};
    return picture(
        rows, columns, [&](int x, int y) { return pixel(y, x); }, noise, seed);
}

struct Measured {
    int code = 0;
    LumoDuplex duplex = sized<LumoDuplex>();
};

LumoDuplexOptions options() {
    LumoDuplexOptions options = sized<LumoDuplexOptions>();
    options.firstPair = 1;
    options.stripMillimetres = 9;
    options.magnification = 1;
    return options;
}

Measured measure(Raster raster, const Gauge& gauge, const Line& line,
                 const LumoDuplexOptions& options) {
    const auto nanometres = [](double pitch) { return std::uint32_t(std::lround(pitch * 1e6)); };
    Measured measured;
    const auto profile = curveOf<LumoCurvePoint>([&](LumoCurvePoint* points, std::int32_t* count) {
        return measured.code = LumoMeasureDuplex(raster.image(), line.x1, line.y1, line.x2, line.y2,
                                                 nanometres(gauge.pitchX), nanometres(gauge.pitchY),
                                                 &options, &measured.duplex, points, count);
    });
    EXPECT_EQ(profile.empty(), measured.code != 0);
    return measured;
}

/// The rule on dips without noise, in micrometres; 0 where a straight line has to do.
double ruleOnTrueDips(const Gauge& gauge) {
    std::vector<double> dips;
    for (int i = gauge.from; i < gauge.to; ++i)
        dips.push_back(trueDip(gauge, wires[i] * gauge.magnification));
    const auto below =
        std::find_if(dips.begin(), dips.end(), [](double dip) { return dip < 20; }) - dips.begin();
    LeastSquares<3> fit;
    for (auto i = std::max<std::ptrdiff_t>(below - 2, 0); i < std::min(below + 2, std::ssize(dips));
         ++i) {
        const double d = wires[gauge.from + i], dip = dips[std::size_t(i)];
        if (i == below || dip >= 1.5) fit.add({1, d, d * d}, dip);
    }
    const auto [c, b, a] = fit.solve();
    const double root = std::sqrt(b * b - 4 * a * (c - 20));
    for (const double d : {(-b + root) / (2 * a), (-b - root) / (2 * a)})
        if (d >= wires[gauge.from + below] && d <= wires[gauge.from + below - 1]) return 1000 * d;
    return 0;
}

std::ostream& operator<<(std::ostream& to, const Gauge& gauge) {
    return to << "sigma " << gauge.sigma << " pitch " << gauge.pitchX << " x " << gauge.pitchY
              << " angle " << gauge.degrees << " snr " << gauge.snr
              << (gauge.bright ? " bright" : "") << (gauge.upright ? " upright" : "");
}

/// @param errors  [out] what noise did to clear dips, in units of the errors given for them
void expectTruth(const Gauge& gauge, std::uint64_t seed, std::vector<double>& errors) {
    SCOPED_TRACE(testing::Message() << gauge << " seed " << seed);
    Line line{};
    const Raster raster = pictureOf(gauge, line, seed);
    LumoDuplexOptions chosen = options();
    chosen.firstPair = std::uint32_t(gauge.from + 1);
    chosen.magnification = gauge.magnification;
    const auto [code, duplex] = measure(raster, gauge, line, chosen);
    ASSERT_EQ(code, 0) << LumoQualityReasonText(duplex.reason);
    const double truth = trueDiameter(gauge), byRule = ruleOnTrueDips(gauge);
    EXPECT_NEAR(duplex.isrbMicrometres / truth, 1, 0.03 + 5 / gauge.snr);
    if (duplex.isrbMethod == LumoIsrbQuadratic && byRule > 0) {
        EXPECT_NEAR(duplex.isrbMicrometres / byRule, 1, 0.02 + 5 / gauge.snr);
    }
    EXPECT_NEAR(duplex.pitchRatio, 1, 0.005);
    EXPECT_NEAR(duplex.tiltDegrees, gauge.upright ? -gauge.degrees : gauge.degrees,
                std::atan(0.3 * truth / 1000 / 9) * 180 / pi);
    if (gauge.snr >= 1000) {
        EXPECT_NEAR(std::abs(duplex.tiltDegrees), std::abs(gauge.degrees), 0.04);
    }
    EXPECT_EQ(duplex.notes & ~std::uint32_t{LumoNoteStraightLine}, 0U);
    const double dipTolerance = 1.5 + 400 / gauge.snr;
    double srb = 0;
    bool sure = true;
    for (std::uint32_t i = 0; i < duplex.pairCount; ++i) {
        const LumoDuplexPair& pair = duplex.pairs[i];
        const double dip = trueDip(gauge, wires[pair.pair - 1] * gauge.magnification);
        if (dip > 60) {
            EXPECT_NEAR(pair.dip, dip, dipTolerance) << pair.pair;
        }
        EXPECT_NEAR(pair.placeMillimetres, gauge.placeOf(int(pair.pair) - 1) - lineInset, 0.05);
        if (dip > 30 && dip < 80) errors.push_back((pair.dip - dip) / pair.dipError);
        sure = sure && std::abs(dip - 20) > dipTolerance;
        if (srb == 0 && dip < 20) srb = pair.spacingMicrometres;
    }
    if (sure) {
        EXPECT_EQ(duplex.srbMicrometres, srb);
    }
    EXPECT_EQ(duplex.unsharpnessMicrometres, 2 * duplex.srbMicrometres);
}

TEST(QualityDuplex, FollowsRenderedWires) {
    std::uint64_t seed = 1;
    std::vector<double> errors, ignored;
    for (const double sigma : {0.04, 0.05, 0.08}) {
        expectTruth({.sigma = sigma, .snr = 50}, seed++, errors);
        expectTruth({.sigma = sigma, .snr = 200}, seed++, errors);
        // With less noise dips are off by what parabolas cut off.
        expectTruth({.sigma = sigma, .snr = 1000}, seed++, ignored);
    }
    for (const double degrees : {-5.0, -2.0, 4.3})
        expectTruth({.degrees = degrees}, seed++, errors);
    for (const bool upright : {false, true})
        expectTruth({.pitchY = 0.07, .bright = !upright, .upright = upright}, seed++, errors);
    expectTruth({.sigma = 0.08, .pitchX = 0.1, .pitchY = 0.1, .shading = 0.2}, seed++, errors);
    expectTruth({.sigma = 0.06, .from = 5, .to = 12}, seed++, errors);
    expectTruth({.sigma = 0.06, .magnification = 1.5}, seed++, errors);
    double squares = 0;
    for (const double error : errors) squares += error * error;
    const double scatter = std::sqrt(squares / double(errors.size()));
    EXPECT_GT(scatter, 0.5);
    EXPECT_LT(scatter, 2);
}

TEST(QualityDuplex, RefusesWhatContradictsOrLeavesThePicture) {
    const Gauge gauge{.sigma = 0.08, .from = 4, .to = 10};
    Line line{};
    const Raster raster = pictureOf(gauge, line, 1);
    const auto expect = [&](std::uint32_t reason, const Gauge& seen, const Line& along,
                            const std::function<void(LumoDuplexOptions&)>& change) {
        LumoDuplexOptions chosen = options();
        chosen.firstPair = 5;
        change(chosen);
        const auto [code, duplex] = measure(raster, seen, along, chosen);
        EXPECT_STREQ(LumoQualityReasonText(duplex.reason), LumoQualityReasonText(reason));
        EXPECT_EQ(code, reason != 0 ? -30 : -2);
        EXPECT_TRUE(std::isnan(duplex.isrbMicrometres));
    };
    const auto same = [](LumoDuplexOptions&) {};
    expect(LumoReasonGaugeSpacing, gauge, line, [](LumoDuplexOptions& o) { o.firstPair = 4; });
    expect(LumoReasonGaugeSpacing, gauge, line,
           [](LumoDuplexOptions& o) { o.magnification = 1.2; });
    expect(LumoReasonStripOutside, gauge, line,
           [](LumoDuplexOptions& o) { o.stripMillimetres = 30; });
    expect(LumoReasonStripOutside, gauge, {line.x1, -3, line.x2, -3}, same);
    expect(LumoReasonStripNarrow, gauge, line,
           [](LumoDuplexOptions& o) { o.stripMillimetres = 1; });
    expect(LumoReasonLineShort, gauge, {line.x1, line.y1, line.x1 + 20, line.y1}, same);
    expect(LumoReasonAssumedPitch, {.pitchX = 0.3528}, line, same);
    expect(0, gauge, line, [](LumoDuplexOptions& o) { o.firstPair = 16; });
    expect(0, gauge, line, [](LumoDuplexOptions& o) { o.magnification = std::nan(""); });
    expect(0, gauge, line, [](LumoDuplexOptions& o) { o.size = 8; });
    expect(0, gauge, {std::nan(""), 0, 100, 100}, same);

    Raster clipped = raster;
    for (std::uint16_t& pixel : clipped.pixels) pixel = std::min<std::uint16_t>(pixel, 30000);
    EXPECT_EQ(measure(clipped, gauge, line, options()).duplex.reason, LumoReasonClipped);
}

TEST(QualityDuplex, NotesWhatTheGaugeDoesNotShow) {
    const auto notes = [](const Gauge& gauge, double pitchFactor = 1) {
        Line line{};
        const Raster raster = pictureOf(gauge, line, 1);
        LumoDuplexOptions chosen = options();
        chosen.firstPair = std::uint32_t(gauge.from + 1);
        Gauge seen = gauge;
        seen.pitchX *= pitchFactor;
        seen.pitchY *= pitchFactor;
        const auto [code, duplex] = measure(raster, seen, line, chosen);
        EXPECT_EQ(code, 0);
        const bool exists = (duplex.notes & (LumoNoteNoPair | LumoNoteAllResolved)) == 0;
        EXPECT_EQ(std::isnan(duplex.isrbMicrometres), !exists);
        EXPECT_EQ(duplex.srbPair == 0, !exists);
        return duplex.notes;
    };
    EXPECT_EQ(notes({.sigma = 0.08, .from = 9}), std::uint32_t{LumoNoteNoPair});
    EXPECT_EQ(notes({.from = 4, .to = 8}), std::uint32_t{LumoNoteAllResolved});
    EXPECT_EQ(notes({.sigma = 0.08, .from = 7, .to = 10}, 1.04) & LumoNotePitchRatio, 0U);
    EXPECT_EQ(notes({.sigma = 0.08, .from = 4}, 1.04), std::uint32_t{LumoNotePitchRatio});
    EXPECT_EQ(notes({.sigma = 0.08, .degrees = 0, .from = 4}), std::uint32_t{LumoNoteOnGrid});
    EXPECT_EQ(notes({.sigma = 0.08, .from = 8, .to = 10}), std::uint32_t{LumoNoteStraightLine});
}

}  // namespace
}  // namespace lumo::test
