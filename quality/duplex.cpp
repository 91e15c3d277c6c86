// The duplex wire gauge: from a line across its pairs to the basic spatial resolution.
#include <algorithm>
#include <cmath>
#include <span>

#include "quality/least_squares.h"
#include "quality/record.h"
#include "quality/strip.h"
#include "quality/wire_pairs.h"

namespace lumo {
namespace {

constexpr double wireMicrometres[LUMO_DUPLEX_PAIRS] = {800, 630, 500, 400, 320, 250, 200, 160,
                                                       130, 100, 80,  63,  50,  40,  32};
/// A pair that dips by less is not resolved.
constexpr double leastDip = 20;

constexpr LumoDuplex noDuplex{
    sizeof(LumoDuplex), LumoReasonNone, 0,       0,       missing, missing, 0,
    LumoIsrbNone,       missing,        missing, missing, missing, {}};

using Pairs = std::span<const LumoDuplexPair>;

Strip stripAlong(double x1, double y1, double x2, double y2, Pitch pitch, double width) {
    for (const double place : {x1, y1, x2, y2}) requireBetween(place, -1e6, 1e6);
    const double dx = (x2 - x1) * pitch.x, dy = (y2 - y1) * pitch.y;
    return {(x1 + x2) / 2 * pitch.x, (y1 + y2) / 2 * pitch.y,
            std::hypot(dx, dy),      width,
            std::atan2(dy, dx),      pitch};
}

void requireRoom(const Image& image, const Strip& strip) {
    constexpr double leastLines = 21, leastPixels = 32;
    if (strip.length < leastPixels * strip.pitchAlong()) refuse(LumoReasonLineShort);
    if (!strip.isInside(image)) refuse(LumoReasonStripOutside);
    if (strip.width < leastLines * strip.pitchAcross()) refuse(LumoReasonStripNarrow);
}

/// Pairs to fit by: two above and the first two below, but none that hardly dips at all unless it
/// is the first below.
std::vector<LumoDuplexPair> pairsAround(Pairs pairs, std::size_t below) {
    constexpr double floor = 1.5;
    std::vector<LumoDuplexPair> around;
    for (std::size_t i = below >= 2 ? below - 2 : 0; i < std::min(below + 2, pairs.size()); ++i)
        if (i == below || pairs[i].dip >= floor) around.push_back(pairs[i]);
    return around;
}

/// The diameter between `low` and `high` at which the parabola through the pairs dips by 20 %, or
/// NaN.
double rootOfParabola(const std::vector<LumoDuplexPair>& pairs, double low, double high) {
    const double unit = high;  // of order 1, for the equations' sake
    LeastSquares<3> fit;
    for (const LumoDuplexPair& pair : pairs) {
        const double d = pair.spacingMicrometres / unit;
        fit.add({1, d, d * d}, pair.dip - leastDip);
    }
    const Parabola parabola = fit.solve();
    double below = low / unit, above = high / unit;
    if (!(valueAt(parabola, below) < 0 && valueAt(parabola, above) > 0)) return missing;
    for (int halving = 0; halving < 60; ++halving) {
        const double middle = (below + above) / 2;
        (valueAt(parabola, middle) < 0 ? below : above) = middle;
    }
    return (below + above) / 2 * unit;
}

void resolve(Pairs pairs, LumoDuplex& to) {
    const auto first =
        std::ranges::find_if(pairs, [](const LumoDuplexPair& pair) { return pair.dip < leastDip; });
    const auto below = static_cast<std::size_t>(first - pairs.begin());
    if (below == 0 || below == pairs.size()) {
        to.notes |= below == 0 ? LumoNoteNoPair : LumoNoteAllResolved;
        return;
    }
    to.srbPair = first->pair;
    to.srbMicrometres = first->spacingMicrometres;
    to.unsharpnessMicrometres = 2 * to.srbMicrometres;
    const LumoDuplexPair &low = pairs[below], &high = pairs[below - 1];
    const std::vector<LumoDuplexPair> around = pairsAround(pairs, below);
    if (around.size() >= 3)
        to.isrbMicrometres =
            rootOfParabola(around, low.spacingMicrometres, high.spacingMicrometres);
    to.isrbMethod = LumoIsrbQuadratic;
    if (!std::isnan(to.isrbMicrometres)) return;
    to.isrbMethod = LumoIsrbLine;
    to.notes |= LumoNoteStraightLine;
    const double part = (leastDip - low.dip) / (high.dip - low.dip);
    to.isrbMicrometres =
        low.spacingMicrometres + part * (high.spacingMicrometres - low.spacingMicrometres);
}

/// Compares the distances of the wires of clearly resolved pairs with what they are.
void checkSpacing(double ratioSum, int ratios, LumoDuplex& to) {
    if (ratios == 0) return;
    to.pitchRatio = ratioSum / ratios;
    if (std::abs(to.pitchRatio - 1) > 0.1) refuse(LumoReasonGaugeSpacing);
    if (std::abs(to.pitchRatio - 1) > 0.02) to.notes |= LumoNotePitchRatio;
}

void measurePairs(const Profile& profile, double pitch, const LumoDuplexOptions& options,
                  LumoDuplex& to) {
    constexpr double joinMillimetres = 1.6, clearDip = 90;
    const Depths depths = depthsOf(profile);
    double ratioSum = 0;
    int ratios = 0;
    std::uint32_t number = options.firstPair;
    for (const Group& group : groupsOf(depths, joinMillimetres * options.magnification, pitch)) {
        if (number > LUMO_DUPLEX_PAIRS) {
            to.notes |= LumoNoteTooManyPairs;
            break;
        }
        const double micrometres = wireMicrometres[number - 1];
        const double diameter = micrometres * 1e-3 * options.magnification;
        const PairDepths found = pairDepths(depths, group, diameter, pitch);
        to.pairs[to.pairCount++] = {number,  0,       micrometres, found.middle,  found.a,
                                    found.b, found.c, found.dip,   found.dipError};
        ++number;
        if (found.dip <= clearDip) continue;
        ratioSum += found.distance / (2 * diameter);
        ++ratios;
    }
    checkSpacing(ratioSum, ratios, to);
    resolve({to.pairs, to.pairCount}, to);
}

Profile measureDuplex(const Image& image, Strip strip, const LumoDuplexOptions& options,
                      LumoDuplex& to) {
    const Signal signal(image, options.signal);
    requireRoom(image, strip);
    strip = straightened(image, signal, strip);
    requireRoom(image, strip);
    refuseClipped(image, strip.runs(image));
    const bool onGrid = std::abs(strip.offGrid()) < leastTilt;
    if (onGrid) to.notes |= LumoNoteOnGrid;
    to.tiltDegrees = -strip.offGrid() / degree;
    to.stripMillimetres = strip.width;
    const double pitch = strip.pitchAlong();
    Profile profile = profileOf(image, signal, strip, onGrid ? pitch : pitch / 8);
    measurePairs(profile, pitch, options, to);
    return profile;
}

std::vector<LumoCurvePoint> pointsOf(const Profile& profile) {
    std::vector<LumoCurvePoint> points;
    for (std::size_t i = 0; i < profile.values.size(); ++i)
        points.push_back({profile.placeOf(i), profile.values[i]});
    return points;
}

}  // namespace
}  // namespace lumo

extern "C" int LumoMeasureDuplex(Image image, double x1, double y1, double x2, double y2,
                                 uint32_t pitchX, uint32_t pitchY, const LumoDuplexOptions* options,
                                 LumoDuplex* result, LumoCurvePoint* profile, int32_t* count) {
    using namespace lumo;
    return measured("LumoMeasureDuplex", result, noDuplex, [&](LumoDuplex& figures) {
        constexpr LumoDuplexOptions defaults{sizeof(LumoDuplexOptions), 1, 9, 1, 0, 0, nullptr};
        const LumoDuplexOptions chosen = optionsOf(options, defaults);
        if (chosen.firstPair < 1 || chosen.firstPair > LUMO_DUPLEX_PAIRS) raise(LumoErrorParameter);
        requireBetween(chosen.stripMillimetres, 1e-6, 1e6);
        requireBetween(chosen.magnification, 0.01, 1000);
        if (image.data == nullptr) raise(LumoErrorImage);
        const Pitch pitch{pitchInMillimetres(pitchX, chosen.pitchKnown != 0),
                          pitchInMillimetres(pitchY, chosen.pitchKnown != 0)};
        const Strip strip = stripAlong(x1, y1, x2, y2, pitch, chosen.stripMillimetres);
        handOut(pointsOf(measureDuplex(image, strip, chosen, figures)), profile, count);
    });
}
