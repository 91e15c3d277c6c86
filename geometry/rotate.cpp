// Rotation with bilinear interpolation, to the bit: positions are advanced in double down each
// column, weights and sums are single precision, every operation rounded.
//
// The target is walked in strips of columns, row by row, with the positions of a strip's columns in
// two arrays. A row of a strip falls into spans: columns whose four source pixels all lie inside,
// where three plain loops do the work; columns wholly outside, which are 0; and the few between,
// pixel by pixel. The spans are found from the ideal positions and drawn in by a margin, far more
// than the rounding of advanced positions adds up to.
#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstring>

#include "geometry/angle.h"
#include "geometry/new_raster.h"
#include "image/view.h"
#include "platform/cpu_level.h"

namespace lumo {
namespace {

constexpr int stripWidth = 512;
constexpr int prefetchStep = 8;   // columns
constexpr int prefetchRows = 16;  // of the target
constexpr double margin = 1.0 / 1024;

/// A rotation of a source of width x height pixels and the target that holds all of it. Formulas
/// keep the written order of operations.
struct Rotation {
    Rotation(int width, int height, double angle);

    float centreX, centreY;
    double cosine, sine;
    int firstX, firstY;  ///< position of target pixel (0, 0), in pixels of the source
    int width, height;   ///< of the target
};

/// Columns first to last - 1 of a strip.
struct Span {
    int first, last;
    [[nodiscard]] Span within(Span outer) const {
        const int from = std::clamp(first, outer.first, outer.last);
        return {from, std::clamp(last, from, outer.last)};
    }
};

/// The columns i of 0 to count - 1 for which low <= start + i * step <= high.
Span columnsBetween(double low, double high, double start, double step, int count) {
    if (step < 0) return columnsBetween(-high, -low, -start, -step, count);
    const auto column = [=](double value) {
        return static_cast<int>(std::clamp(value, -1.0, static_cast<double>(count)));
    };
    if (step == 0) return low <= start && start <= high ? Span{0, count} : Span{0, 0};
    return {std::max(column(std::ceil((low - start) / step)), 0),
            column(std::floor((high - start) / step)) + 1};
}

/// What one strip needs at hand; all of it fits the first-level cache.
struct Strip {
    double x[stripWidth], y[stripWidth];  // sampling positions of the current row
    float fractionX[stripWidth], fractionY[stripWidth];
    std::int32_t offset[stripWidth];                     // of pixel (x0, y0), from a row near by
    std::uint32_t upper[stripWidth], lower[stripWidth];  // two source pixels side by side
};

LUMO_INLINE float blend(float p00, float p10, float p01, float p11, float dx, float dy) {
    const float dxy = dx * dy;
    const float w00 = 1.0F - dx - dy + dxy;
    const float w10 = dx - dxy;
    const float w01 = dy - dxy;
    float sum = p00 * w00;
    sum = p10 * w10 + sum;
    sum = p01 * w01 + sum;
    return p11 * dxy + sum;
}

LUMO_INLINE std::uint16_t truncated(float value) {
    return static_cast<std::uint16_t>(static_cast<std::int32_t>(value));
}

/// A target pixel wherever its position lies.
std::uint16_t pixelAtRim(Source source, double sx, double sy) {
    const auto pixel = [=](double x, double y) {
        if (x < 0 || x >= source.width || y < 0 || y >= source.height) return 0.0F;
        return static_cast<float>(source.row(static_cast<int>(y))[static_cast<int>(x)]);
    };
    const double x0 = std::floor(sx), y0 = std::floor(sy);
    return truncated(blend(pixel(x0, y0), pixel(x0 + 1, y0), pixel(x0, y0 + 1),
                           pixel(x0 + 1, y0 + 1), static_cast<float>(sx - x0),
                           static_cast<float>(sy - y0)));
}

/// Columns whose four source pixels lie inside. Positions are not negative here, so a cut is floor.
/// @param ahead  from a source pixel to the one that the same column takes some rows later
LUMO_INLINE void interpolate(Source source, Strip& strip, Span span, std::ptrdiff_t ahead,
                             std::uint16_t* to) {
    if (span.first == span.last) return;
    const int nearY = static_cast<int>(std::min(strip.y[span.first], strip.y[span.last - 1]));
    const int base = std::max(nearY - 1, 0), width = source.width;
    for (int i = span.first; i < span.last; ++i) {
        const auto x0 = static_cast<std::int32_t>(strip.x[i]);
        const auto y0 = static_cast<std::int32_t>(strip.y[i]);
        strip.fractionX[i] = static_cast<float>(strip.x[i] - x0);
        strip.fractionY[i] = static_cast<float>(strip.y[i] - y0);
        strip.offset[i] = (y0 - base) * width + x0;
    }
    const std::uint16_t *upper = source.row(base), *lower = upper + width;
    for (int i = span.first; i < span.last; i += prefetchStep)
        __builtin_prefetch(upper + strip.offset[i] + ahead);
    for (int i = span.first; i < span.last; ++i) {
        std::memcpy(&strip.upper[i], upper + strip.offset[i], sizeof strip.upper[i]);
        std::memcpy(&strip.lower[i], lower + strip.offset[i], sizeof strip.lower[i]);
    }
    const auto left = [](std::uint32_t pair) { return static_cast<float>(pair & 0xFFFFU); };
    const auto right = [](std::uint32_t pair) { return static_cast<float>(pair >> 16); };
    for (int i = span.first; i < span.last; ++i)
        to[i] = truncated(blend(left(strip.upper[i]), right(strip.upper[i]), left(strip.lower[i]),
                                right(strip.lower[i]), strip.fractionX[i], strip.fractionY[i]));
}

LUMO_INLINE void rotateStrip(Source source, const Rotation& r, Target target, int firstColumn) {
    Strip strip;
    const int count = std::min(stripWidth, target.width - firstColumn);
    const double fromCentreY = static_cast<double>(r.centreY) - r.firstY;
    for (int i = 0; i < count; ++i) {
        const double fromCentreX = r.firstX + firstColumn + i - static_cast<double>(r.centreX);
        strip.x[i] = fromCentreX * r.cosine + fromCentreY * r.sine + r.centreX;
        strip.y[i] = fromCentreX * r.sine - fromCentreY * r.cosine + r.centreY;
    }
    const std::ptrdiff_t ahead =
        std::lround(prefetchRows * r.cosine) * source.width - std::lround(prefetchRows * r.sine);
    for (int j = 0; j < target.height; ++j) {
        const auto columns = [&](double beyond) {
            const Span all{0, count};
            return columnsBetween(-beyond, source.width - 1 + beyond, strip.x[0], r.cosine, count)
                .within(
                    columnsBetween(-beyond, source.height - 1 + beyond, strip.y[0], r.sine, count)
                        .within(all));
        };
        std::uint16_t* to = target.row(j) + firstColumn;
        const Span touched = columns(1 + margin), inside = columns(-margin).within(touched);
        std::fill(to, to + touched.first, std::uint16_t{0});
        for (int i = touched.first; i < inside.first; ++i)
            to[i] = pixelAtRim(source, strip.x[i], strip.y[i]);
        interpolate(source, strip, inside, ahead, to);
        for (int i = inside.last; i < touched.last; ++i)
            to[i] = pixelAtRim(source, strip.x[i], strip.y[i]);
        std::fill(to + touched.last, to + count, std::uint16_t{0});
        for (int i = 0; i < count; ++i) {
            strip.x[i] -= r.sine;
            strip.y[i] += r.cosine;
        }
    }
}
LUMO_LEVELS(void, rotateStripAtLevel, rotateStrip,
            (Source source, const Rotation& r, Target target, int firstColumn),
            (source, r, target, firstColumn))

Rotation::Rotation(int sourceWidth, int sourceHeight, double angle)
    : centreX(static_cast<float>(sourceWidth) / 2.0F),
      centreY(static_cast<float>(sourceHeight) / 2.0F),
      cosine(std::cos(radians(angle))),
      sine(std::sin(radians(angle))) {
    float x[4], y[4];
    for (int corner = 0; corner < 4; ++corner) {
        const int cornerX = corner % 2 == 0 ? 0 : sourceWidth - 1;
        const int cornerY = corner < 2 ? 0 : sourceHeight - 1;
        const double fromX = cornerX - static_cast<double>(centreX);
        const double fromY = cornerY - static_cast<double>(centreY);
        x[corner] = static_cast<float>(fromX * cosine - fromY * sine + centreX);
        y[corner] = static_cast<float>(fromX * sine + fromY * cosine + centreY);
    }
    const auto [left, right] = std::minmax_element(x, x + 4);
    const auto [top, bottom] = std::minmax_element(y, y + 4);
    firstX = static_cast<int>(std::floor(*left - 1.0F));
    firstY = static_cast<int>(std::floor(*top)) - 1;
    width = static_cast<int>(std::ceil(*right + 1.0F)) - firstX;
    height = static_cast<int>(std::ceil(*bottom)) + 1 - firstY;
}

/// Fills the target of the rotation's size.
void rotate(Source source, const Rotation& rotation, Target target) {
    assert(target.width == rotation.width && target.height == rotation.height);
    for (int column = 0; column < target.width; column += stripWidth)
        rotateStripAtLevel(source, rotation, target, column);
}

}  // namespace
}  // namespace lumo

extern "C" int RotationNewImage(Image image, Image* target, double angle) {
    const int code = lumo::checkArguments(image, target, angle);
    if (code != LumoOk) return code;
    const lumo::Rotation rotation(image.width, image.height, angle);
    return lumo::makeTarget(target, rotation.width, rotation.height, [&](lumo::Target to) {
        lumo::rotate(lumo::asSource(lumo::viewOf(image)), rotation, to);
    });
}
