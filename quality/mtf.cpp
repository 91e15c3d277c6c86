// The modulation transfer function of a slanted edge.
#include <algorithm>
#include <cmath>
#include <numbers>

#include "quality/edge.h"
#include "quality/record.h"

namespace lumo {
namespace {

constexpr LumoMtf noMtf{sizeof(LumoMtf), LumoReasonNone, 0,       0,       missing,
                        missing,         missing,        missing, missing, missing,
                        missing,         missing,        missing, missing, missing};

double sinc(double x) {
    return x == 0 ? 1 : std::sin(std::numbers::pi * x) / (std::numbers::pi * x);
}

/// Flat to half the span, then half a wave of a cosine down to 0.
double tukey(double part) {
    return part <= 0.5 ? 1 : (1 + std::cos(2 * std::numbers::pi * (part - 0.5))) / 2;
}

/// The transfer at multiples of 1 / (4 span), by direct sums over the line spread function.
class Transfer {
public:
    Transfer(const EdgeSpread& spread, const std::vector<double>& curve)
        : half_(spread.half), bin_(spread.bin), cosines_(4 * spread.half) {
        const auto middle = static_cast<double>(half_);
        for (std::size_t i = 0; i + 1 < curve.size(); ++i) {
            const double off = std::abs(static_cast<double>(i + 1) - middle) / middle;
            line_.push_back(tukey(off) * (curve[i + 1] - curve[i]));
        }
        for (std::size_t i = 0; i < cosines_.size(); ++i)
            cosines_[i] = std::cos(2 * std::numbers::pi * static_cast<double>(i) /
                                   static_cast<double>(cosines_.size()));
        zero_ = modulus(0);
    }

    /// The last of the frequencies, that of half a cycle per pixel.
    [[nodiscard]] std::size_t last() const { return half_ / 5; }
    [[nodiscard]] double frequency(std::size_t k) const {
        return static_cast<double>(k) / (4 * static_cast<double>(half_) * bin_);
    }
    /// Less what the bins and the differences between them take away.
    [[nodiscard]] double at(std::size_t k) const {
        const double lost = sinc(frequency(k) * bin_);
        return modulus(k) / zero_ / (lost * lost);
    }

private:
    [[nodiscard]] double modulus(std::size_t k) const {
        const std::size_t period = cosines_.size(), quarter = half_;
        std::size_t phase = 0;
        double real = 0, imaginary = 0;
        for (const double value : line_) {
            real += value * cosines_[phase];
            imaginary +=
                value * cosines_[phase >= quarter ? phase - quarter : phase + period - quarter];
            phase += k;
            if (phase >= period) phase -= period;
        }
        return std::sqrt(real * real + imaginary * imaginary);
    }

    std::size_t half_;
    double bin_, zero_ = 0;
    std::vector<double> line_, cosines_;
};

/// The first frequency at which a curve falls to a level, or NaN.
template <class ValueAt>
double crossing(const Transfer& transfer, double level, ValueAt valueAt) {
    double before = 1;
    for (std::size_t k = 1; k <= transfer.last(); ++k) {
        const double value = valueAt(k);
        if (value <= level) {
            const double part = (before - level) / (before - value), f = transfer.frequency(k - 1);
            return f + part * (transfer.frequency(k) - f);
        }
        before = value;
    }
    return missing;
}

double mtf50Of(const EdgeSpread& spread, const Bins& bins, double box) {
    const Transfer transfer(spread, curveOf(spread, bins, box));
    return crossing(transfer, 0.5, [&](std::size_t k) { return transfer.at(k); });
}

/// Contrast, noise and overshoot of the curve; the box is counted in bins.
void describe(const EdgeSpread& spread, const Bins& bins, const std::vector<double>& curve,
              double box, LumoMtf& to) {
    constexpr std::size_t pixel = 10;
    double low = 0, high = 0, beside = 0, squares = 0, freedom = 0;
    for (std::size_t i = 0; i < spread.half; ++i) {
        if (static_cast<double>(spread.half - i) <= box) break;
        const std::size_t mirrored = curve.size() - 1 - i;
        low += curve[i];
        high += curve[mirrored];
        beside += 1;
        for (const std::size_t k : {i, mirrored}) {
            if (bins.counts[k] < 2) continue;
            squares += spread.even.squares[k] + spread.odd.squares[k] -
                       bins.sums[k] * bins.sums[k] / bins.counts[k];
            freedom += bins.counts[k] - 1;
        }
    }
    if (beside == 0) refuse(LumoReasonEdgeNearBorder);
    low /= beside;
    high /= beside;
    to.contrast = high - low;
    const double noise = freedom > 0 ? std::sqrt(std::max(squares, 0.0) / freedom) : 0;
    to.contrastOverNoise = to.contrast / noise;
    if (!(to.contrast >= 20 * noise && to.contrast > 0)) refuse(LumoReasonNoEdge);
    if (to.contrast < 50 * noise) to.notes |= LumoNoteLowContrast;
    double sum = 0, over = 0;
    for (std::size_t i = 0; i < curve.size(); ++i) {  // means over a pixel, less noisy than bins
        sum += curve[i];
        if (i >= pixel) sum -= curve[i - pixel];
        if (i + 1 >= pixel) over = std::max({over, sum / pixel - high, low - sum / pixel});
    }
    to.overshootPercent = 100 * over / to.contrast;
    if (to.overshootPercent > 5) to.notes |= LumoNoteOvershoot;
}

void requireStraight(const EdgeImage& image, const EdgeLine& line) {
    constexpr double largestTilt = 15 * degree, leastColumns = 2;
    if (std::abs(std::atan(line.slope)) > largestTilt) refuse(LumoReasonTiltLarge);
    if (std::abs(line.slope) * (image.rows - 1) * image.pitch.y < leastColumns * image.pitch.x)
        refuse(LumoReasonTiltSmall);
}

/// Refuses places that leave the line by more than a third of a pixel beyond what noise explains.
void requireNotBent(const EdgeImage& image, const EdgeLine& line, double contrastOverNoise) {
    constexpr double most = 0.3;
    const double byNoise = line.noiseFactor / contrastOverNoise;
    const double beyond = line.scatter * line.scatter - byNoise * byNoise;
    if (beyond > most * image.pitch.x * (most * image.pitch.x)) refuse(LumoReasonEdgeBent);
}

std::vector<LumoCurvePoint> measureMtf(const EdgeImage& image, double span, LumoMtf& to) {
    const EdgeLine line = findLine(image);
    requireStraight(image, line);
    const EdgeSpread spread = spreadOf(image, line, span);
    Bins all = spread.even;
    all += spread.odd;
    const double box = line.box * line.cosine();
    const std::vector<double> curve = curveOf(spread, all, box);
    describe(spread, all, curve, box / spread.bin, to);
    requireNotBent(image, line, to.contrastOverNoise);
    if (std::ranges::count(all.counts, 0.0) > std::ssize(all.counts) / 5)
        to.notes |= LumoNoteEmptyBins;

    to.axis = image.turnedOver ? 1 : 0;
    to.angleDegrees = std::atan(line.slope) / degree * (image.turnedOver ? -1 : 1);
    to.spanMillimetres = static_cast<double>(spread.half) * spread.bin;
    const Transfer transfer(spread, curve);
    std::vector<LumoCurvePoint> points;
    for (std::size_t k = 0; k <= transfer.last(); ++k)
        points.push_back({transfer.frequency(k), transfer.at(k)});
    const auto valueAt = [&](std::size_t k) { return points[k].y; };
    to.mtf50 = crossing(transfer, 0.5, valueAt);
    to.mtf20 = crossing(transfer, 0.2, valueAt);
    to.mtf10 = crossing(transfer, 0.1, valueAt);
    to.mtf50Error =
        std::abs(mtf50Of(spread, spread.even, box) - mtf50Of(spread, spread.odd, box)) / 2;
    to.nyquist = points.back().y;
    to.nyquistFrequency = 1 / (2 * image.pitch.x);
    return points;
}

}  // namespace
}  // namespace lumo

extern "C" int LumoMeasureMtf(Image image, Roi region, uint32_t pitchX, uint32_t pitchY,
                              const LumoMtfOptions* options, LumoMtf* result, LumoCurvePoint* curve,
                              int32_t* count) {
    using namespace lumo;
    return measured("LumoMeasureMtf", result, noMtf, [&](LumoMtf& figures) {
        constexpr LumoMtfOptions defaults{sizeof(LumoMtfOptions), 0, 0, nullptr};
        const LumoMtfOptions chosen = optionsOf(options, defaults);
        requireBetween(chosen.spanMillimetres, 0, 1e6);
        const Pitch pitch{pitchInMillimetres(pitchX, chosen.pitchKnown != 0),
                          pitchInMillimetres(pitchY, chosen.pitchKnown != 0)};
        const EdgeImage edge = readEdge(image, region, chosen.signal, pitch);
        handOut(measureMtf(edge, chosen.spanMillimetres, figures), curve, count);
    });
}
