// The synthetic radiograph: thickness of what the beam passes, attenuation, exposure, noise. Only
// operations that are exact or correctly rounded everywhere are used (no sine, no exponential), in
// their written order, so that the pixels do not depend on the machine.
#include "cli/phantom/model.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "cli/phantom/detector.h"
#include "cli/phantom/noise.h"
#include "cli/phantom/shapes.h"

namespace lumo::cli {

namespace {

// Grey values: the unattenuated beam, the limit for dense matter, behind the collimator's lead.
constexpr double airLevel = 9500, denseLevel = 62000, leadLevel = 350;
constexpr double noiseGain = 4;  // variance of a pixel over its value

// Attenuation a unit of thickness; for the wires, as a whole.
constexpr double softAttenuation = 0.0034, boneAttenuation = 0.048, markerAttenuation = 0.5;
constexpr double stepShare = 0.085, wireAttenuation = 0.45;

constexpr double cortexShare = 0.24;       // of a bone's radius
constexpr double marrowDensity = 0.1;      // of the cortex's
constexpr double trabecularDensity = 0.3;  // on top, at the most
constexpr double flatRadius = 30;     // the wider a bone, the less round it is: half at this radius
constexpr double trabecularCell = 4;  // units
constexpr double roundEnds = 1, boneEnds = 2;  // how much flatter than a half circle
constexpr double heel = 0.00012;               // change of the exposure a unit to the right
constexpr double tiltSine = 0.02, tiltCosine = 0.9998;  // of the collimator
constexpr double collimatorMargin = 45, penumbra = 3;

/// Smooth random field of 0 to 1 over the plane.
double texture(Point at) {
    const double x = at.x / trabecularCell + 4096, y = at.y / trabecularCell + 4096;
    const auto column = static_cast<std::uint32_t>(x), row = static_cast<std::uint32_t>(y);
    const double right = x - column, down = y - row;
    const auto corner = [](std::uint32_t cornerColumn, std::uint32_t cornerRow) {
        return static_cast<double>(mixed(std::uint64_t{cornerRow} << 32 | cornerColumn) >> 11) *
               0x1p-53;
    };
    const double upper = corner(column, row) * (1 - right) + corner(column + 1, row) * right;
    const double lower =
        corner(column, row + 1) * (1 - right) + corner(column + 1, row + 1) * right;
    return upper * (1 - down) + lower * down;
}

/// Half the length that the beam travels in a round rod, `distance` off its axis.
double halfChord(double radius, double squaredDistance) {
    return std::sqrt(std::max(radius * radius - squaredDistance, 0.0));
}

struct Nearness {
    double radius, squaredDistance;  ///< of the rod there; from its axis
};

/// `stretch` flattens the rod's ends.
Nearness nearness(const Rod& rod, Point at, double stretch) {
    const double axisX = rod.to.x - rod.from.x, axisY = rod.to.y - rod.from.y;
    const double length = std::sqrt(axisX * axisX + axisY * axisY);
    const double offsetX = at.x - rod.from.x, offsetY = at.y - rod.from.y;
    const double along = (offsetX * axisX + offsetY * axisY) / length;
    const double aside = (offsetX * axisY - offsetY * axisX) / length;
    const double inside = std::clamp(along, 0.0, length), part = inside / length;
    const double beyond = (along - inside) * stretch;
    const double straight = rod.radius0 + (rod.radius1 - rod.radius0) * part;
    return {straight * (1 - rod.waist * 4 * part * (1 - part)), aside * aside + beyond * beyond};
}

/// A row of the image in units, and where its pixels lie.
struct Row {
    int width;
    double y, leftmost, pixel;  ///< centre of the row; of its first pixel; distance of pixels

    [[nodiscard]] Point at(int column) const { return {leftmost + column * pixel, y}; }
    [[nodiscard]] int column(double x) const {
        return static_cast<int>(std::clamp((x - leftmost) / pixel, 0.0, double(width)));
    }
};

/// Calls add(column, position) for the row's pixels in the box.
template <class Add>
void eachPixel(const Row& row, const Box& box, Add add) {
    if (row.y < box.top || row.y > box.bottom) return;
    for (int i = row.column(box.left); i < row.column(box.right); ++i) add(i, row.at(i));
}

Box boundsOf(const Rod& rod) {
    const double margin = std::max(rod.radius0, rod.radius1);
    return {std::min(rod.from.x, rod.to.x) - margin, std::min(rod.from.y, rod.to.y) - margin,
            std::max(rod.from.x, rod.to.x) + margin, std::max(rod.from.y, rod.to.y) + margin};
}

/// Rods melt into each other: the fourth root of the sum of fourth powers.
void addSoftTissue(const Row& row, std::vector<double>& attenuation) {
    std::vector<double> powers(attenuation.size());
    for (const Rod& rod : softTissue)
        eachPixel(row, boundsOf(rod), [&](int i, Point at) {
            const auto [radius, squaredDistance] = nearness(rod, at, roundEnds);
            const double chord = halfChord(radius, squaredDistance);
            powers[std::size_t(i)] += chord * chord * chord * chord;
        });
    for (std::size_t i = 0; i < powers.size(); ++i)
        attenuation[i] += softAttenuation * std::sqrt(std::sqrt(powers[i]));
}

/// A bone is a tube: its walls are seen edge on at the sides, bright.
void addBones(const Row& row, std::vector<double>& attenuation) {
    for (const Rod& rod : bones)
        eachPixel(row, boundsOf(rod), [&](int i, Point at) {
            const auto [radius, squaredDistance] = nearness(rod, at, boneEnds);
            const double outer = halfChord(radius, squaredDistance);
            if (outer == 0) return;
            const double flatness = 1 / (1 + radius / flatRadius);
            const double inner = halfChord(radius * (1 - cortexShare), squaredDistance);
            const double hollow = 1 - marrowDensity - trabecularDensity * texture(at);
            attenuation[std::size_t(i)] +=
                2 * boneAttenuation * flatness * (outer - inner * hollow);
        });
}

void addMarker(const Row& row, std::vector<double>& attenuation) {
    for (const Rod& rod : marker)
        eachPixel(row, boundsOf(rod), [&](int i, Point at) {
            const auto [radius, squaredDistance] = nearness(rod, at, roundEnds);
            attenuation[std::size_t(i)] += markerAttenuation * halfChord(radius, squaredDistance);
        });
}

void addWedge(const Row& row, std::vector<double>& attenuation) {
    eachPixel(row, wedge, [&](int i, Point at) {
        const double part = (at.y - wedge.top) / (wedge.bottom - wedge.top);
        const double step = std::min(std::floor(part * wedgeSteps), wedgeSteps - 1.0) + 1;
        const double share = stepShare * step;  // of the way to saturation: even steps of grey
        attenuation[std::size_t(i)] += share / (1 - share);
    });
}

/// Distance from the nearest wire of those that cross a line.
double wireDistance(double offset) {
    return offset - std::floor(offset / meshPeriod + 0.5) * meshPeriod;
}

void addMesh(const Row& row, std::vector<double>& attenuation) {
    eachPixel(row, mesh, [&](int i, Point at) {
        const double x = wireDistance(at.x - mesh.left), y = wireDistance(at.y - mesh.top);
        attenuation[std::size_t(i)] +=
            wireAttenuation * (halfChord(wireRadius, x * x) + halfChord(wireRadius, y * y)) /
            wireRadius;
    });
}

/// How much of the beam passes a collimator edge, `distance` inside of it.
double passing(double distance) {
    return std::clamp(distance / (2 * penumbra) + 0.5, 0.0, 1.0);
}

struct Field {
    double halfWidth, halfHeight;

    [[nodiscard]] double open(Point at) const {
        const double x = at.x * tiltCosine + at.y * tiltSine;
        const double y = at.y * tiltCosine - at.x * tiltSine;
        return passing(halfWidth - std::abs(x)) * passing(halfHeight - std::abs(y));
    }
};

/// The grey value without noise; dense matter saturates.
double exposure(double attenuation, double open, Point at) {
    const double value = airLevel + (denseLevel - airLevel) * (attenuation / (1 + attenuation));
    return leadLevel + open * (value * (1 + heel * at.x) - leadLevel);
}

std::uint16_t toPixel(double value) {
    return static_cast<std::uint16_t>(std::clamp(value + 0.5, 0.0, 65535.0));
}

/// Where the pixels of an image lie, and how open the collimator is there.
class Scene {
public:
    Scene(int width, int height)
        : width_(width),
          pixel_(1000.0 / std::min(width, height)),
          halfWidth_(width * pixel_ / 2),
          halfHeight_(height * pixel_ / 2),
          field_{halfWidth_ - collimatorMargin, halfHeight_ - collimatorMargin} {}

    [[nodiscard]] Row row(int y) const {
        return {width_, (y + 0.5) * pixel_ - halfHeight_, 0.5 * pixel_ - halfWidth_, pixel_};
    }
    [[nodiscard]] double open(Point at) const { return field_.open(at); }

private:
    int width_;
    double pixel_, halfWidth_, halfHeight_;
    Field field_;
};

void attenuate(const Row& row, std::vector<double>& attenuation) {
    std::ranges::fill(attenuation, 0.0);
    for (const auto add : {addSoftTissue, addBones, addMarker, addWedge, addMesh})
        add(row, attenuation);
}

// The detector: grey value of the open beam, variance of a pixel over its value, exposures that a
// flat field is the mean of.
constexpr double beamLevel = 30000, detectorNoise = 1, flatExposures = 32;

/// Calls value(row, x, index) for each pixel and adds noise of that variance a unit of grey value;
/// `prepare` sees each row before.
template <class Prepare, class Value>
void render(std::uint16_t* raster, int width, int height, std::uint64_t stream, double variance,
            Prepare prepare, Value value) {
    const Scene scene(width, height);
    for (int y = 0; y < height; ++y) {
        const Row row = scene.row(y);
        prepare(row);
        for (int x = 0; x < width; ++x) {
            const std::int64_t index = std::int64_t{y} * width + x;
            const double clean = value(scene, row.at(x), x, index);
            const double noise = deviate(mixed(stream + std::uint64_t(index)));
            raster[index] = toPixel(clean + noise * std::sqrt(clean * variance));
        }
    }
}

}  // namespace

void renderPhantom(std::uint16_t* raster, int width, int height, std::uint64_t seed) {
    std::vector<double> attenuation(static_cast<std::size_t>(width));
    render(
        raster, width, height, mixed(seed), noiseGain,
        [&](const Row& row) { attenuate(row, attenuation); },
        [&](const Scene& scene, Point at, int x, std::int64_t) {
            return exposure(attenuation[std::size_t(x)], scene.open(at), at);
        });
}

void renderExposure(std::uint16_t* raster, int width, int height, std::uint64_t seed) {
    std::vector<double> attenuation(static_cast<std::size_t>(width));
    const Detector detector(seed);
    render(
        raster, width, height, mixed(seed ^ 0xE0), detectorNoise,
        [&](const Row& row) { attenuate(row, attenuation); },
        [&](const Scene& scene, Point at, int x, std::int64_t index) {
            const double beam = beamLevel * (1 + heel * at.x) / (1 + attenuation[std::size_t(x)]);
            return (leadLevel + scene.open(at) * (beam - leadLevel)) * detector.gain(x, index);
        });
}

void renderFlatField(std::uint16_t* raster, int width, int height, std::uint64_t seed) {
    const Detector detector(seed);
    render(
        raster, width, height, mixed(seed ^ 0xF0), detectorNoise / flatExposures, [](const Row&) {},
        [&](const Scene&, Point at, int x, std::int64_t index) {
            return beamLevel * (1 + heel * at.x) * detector.gain(x, index);
        });
}

}  // namespace lumo::cli
