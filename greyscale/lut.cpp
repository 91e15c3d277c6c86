// The curves of the greyscale windows. Formulas keep their order of operations: it decides the last
// bit.
#include "greyscale/lut.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace lumo {
namespace {

/// A grey-value window: where a curve starts, and where it reaches full scale.
struct Window {
    int lo, hi;
    [[nodiscard]] int width() const { return hi - lo; }
};

constexpr std::uint16_t white = 65535;

/// Fills entries first to end - 1 by a function that never turns back. Blocks whose ends are equal
/// are equal throughout: from one grey value to the next a curve moves by far more than it is
/// rounded by, so that rounding cannot turn it back either.
template <class Entry>
void fillMonotone(Lut lut, int first, int end, Entry entry) {
    constexpr int block = 8;
    for (int v = first; v < end; v += block) {
        const int last = std::min(v + block, end) - 1;
        const std::uint16_t left = entry(v), right = entry(last);
        std::uint16_t* entries = lut.data() + v;
        std::fill_n(entries, last - v, left);
        entries[last - v] = right;
        if (left == right) continue;
        for (int i = v + 1; i < last; ++i) entries[i - v] = entry(i);
    }
}

/// 0 below the window and full scale from its end on; between them the curve of v, of v - lo and of
/// that as a part of the window's width.
template <class Curve>
void fillWindow(Lut lut, Window window, Curve curve) {
    std::fill_n(lut.begin(), window.lo, std::uint16_t{0});
    fillMonotone(lut, window.lo, window.hi,
                 [&](int v) { return toPixel(curve(v, v - window.lo)); });
    std::fill(lut.begin() + window.hi, lut.end(), white);
}

void fillLinear(Lut lut, Window window) {
    const double scale = 65535.0 / window.width();
    fillWindow(lut, window, [=](int, int t) { return t * scale; });
}

void fillSquareRoot(Lut lut, Window window) {
    const double scale = 65536.0 / std::sqrt(window.width() + 1.0);
    fillWindow(lut, window, [=](int, int t) { return std::sqrt(static_cast<double>(t)) * scale; });
}

void fillLogarithm(Lut lut, Window window) {
    const double scale = 65536.0 / std::log(window.width() + 1.0);
    fillWindow(lut, window, [=](int, int t) { return std::log(t + 1.0) * scale; });
}

void fillQuadratic(Lut lut, Window window) {
    const double width = window.width();
    fillWindow(lut, window, [=](int, int t) { return (t / width) * 65535.0 * (t / width); });
}

void fillExponential(Lut lut, Window window) {
    const double width = window.width();
    fillWindow(lut, window, [=](int, int t) { return std::pow(65535.0, t / width); });
}

void fillShiftedSquareRoot(Lut lut, Window window) {
    const double start = std::sqrt(static_cast<double>(window.lo));
    const double end = std::sqrt(static_cast<double>(window.hi));
    const double scale = window.hi > window.lo ? 65536.0 / (end - start) : 1.0;
    fillWindow(lut, window, [=](int v, int) {
        return (std::sqrt(static_cast<double>(v)) - start) * scale + 0.5;
    });
}

/// 0 up to the threshold, full scale above.
void fillThreshold(Lut lut, int threshold) {
    const auto first = lut.begin() + std::clamp(threshold + 1, 0, int{greyValues});
    std::fill(lut.begin(), first, std::uint16_t{0});
    std::fill(first, lut.end(), white);
}

void fillThresholdQuarter(Lut lut, Window window) {
    fillThreshold(lut, window.lo + window.width() / 4);
}

void fillThresholdHalf(Lut lut, Window window) {
    fillThreshold(lut, (window.lo + window.hi) / 2);
}

void fillThresholdThreeQuarters(Lut lut, Window window) {
    fillThreshold(lut, window.lo + (3 * window.width()) / 4);
}

/// An arctangent over the logarithm of the grey value, about 10 % at lo and 90 % at hi. A window
/// without width is its limit, a step.
void fillSigmoid(Lut lut, Window window) {
    constexpr double angle = 1.2566399574279785, height = 20860.099609375;
    constexpr int middle = 32768;
    if (window.lo == window.hi) {
        std::fill_n(lut.begin(), window.lo, std::uint16_t{1});
        std::fill(lut.begin() + window.lo, lut.end(), white);
        lut[static_cast<std::size_t>(window.lo)] = middle;
        return;
    }
    const double logLo = std::log(window.lo + 1.0), logHi = std::log(window.hi + 1.0);
    const double center = (logHi + logLo) / 2.0;
    const double steepness = 2 * std::tan(angle) / (logHi - logLo);
    fillMonotone(lut, 0, int{greyValues}, [=](int v) {
        const double turn = std::atan((std::log(v + 1.0) - center) * steepness);
        return static_cast<std::uint16_t>(static_cast<int>(turn * height) + middle);
    });
}

void fillIdentity(Lut lut, Window) {
    for (std::size_t v = 0; v < greyValues; ++v) lut[v] = static_cast<std::uint16_t>(v);
}

using Fill = void (*)(Lut, Window);

/// By curve number.
constexpr Fill curves[] = {
    fillLinear,      fillSquareRoot,       fillLogarithm,     fillQuadratic,
    fillExponential, fillThresholdQuarter, fillThresholdHalf, fillThresholdThreeQuarters,
    fillSigmoid,     fillShiftedSquareRoot};

}  // namespace

void Make_Lut(Lut lut, int mode, int lo, int hi) {
    const auto curve = static_cast<std::size_t>(mode & LutCurveMask);
    const Fill fill = curve < std::size(curves) ? curves[curve] : fillIdentity;
    fill(lut, {lo, hi});
    Apply_LutFlags(lut, mode);
}

void Apply_LutFlags(Lut lut, int mode) {
    if ((mode & LutInvert) != 0)
        for (std::uint16_t& entry : lut) entry = static_cast<std::uint16_t>(~entry);
    if ((mode & LutMirror) != 0) std::ranges::reverse(lut);
}

}  // namespace lumo

extern "C" int Make_LutAbs16(uint16_t* lut, uint16_t lo, uint16_t hi, uint16_t mode) {
    if (lut == nullptr) return LumoErrorParameter;
    lumo::Make_Lut(lumo::Lut(lut, lumo::greyValues), mode, lo, hi);
    return LumoOk;
}
