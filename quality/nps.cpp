// The noise power spectrum over any number of images.
#include <algorithm>
#include <cmath>

#include "platform/vectors.h"
#include "quality/record.h"
#include "quality/spectrum.h"

/// What has been added.
struct LumoNps {
    LumoNps(lumo::Pitch pixelPitch, bool keepsTrend) : pitch(pixelPitch), keepTrend(keepsTrend) {}

    lumo::Pitch pitch;
    bool keepTrend;
    std::uint16_t width = 0, height = 0;  ///< of the images
    std::uint32_t images = 0;
    std::uint64_t regions = 0, pixels = 0;
    double signal = 0, signalPixels = 0;  ///< sum over all areas
    double squares = 0;                   ///< of the regions' pixels without trend
    lumo::PowerPlane plane;
};

namespace lumo {
namespace {

constexpr LumoNpsFigures noNps{sizeof(LumoNpsFigures),
                               LumoReasonNone,
                               0,
                               0,
                               0,
                               0,
                               missing,
                               missing,
                               missing,
                               missing,
                               missing,
                               missing};

/// The centred square of 125 mm, as far as the image goes.
Roi centredSquare(const Image& image, Pitch pitch) {
    constexpr double side = 125;
    const auto cut = [](int size, double pixels) {
        const int count = static_cast<int>(std::min<double>(size, std::floor(pixels)));
        return std::pair{(size - count) / 2, (size - count) / 2 + count - 1};
    };
    const auto [x1, x2] = cut(image.width, side / pitch.x);
    const auto [y1, y2] = cut(image.height, side / pitch.y);
    return {x1, y1, x2, y2};
}

/// Regions that fit a length at steps of half their side.
std::size_t regionsIn(int length) {
    return static_cast<std::size_t>(length - regionSide) / regionStep + 1;
}

LUMO_INLINE double squaresOf(const float* values) {
    constexpr int lanes = 8;
    using Lanes = Vector<double, lanes * sizeof(double)>;
    using Floats = Vector<float, lanes * sizeof(float)>;
    Lanes sums = {};
    for (int i = 0; i < regionStep; i += lanes) {
        Floats some;
        Lanes wide;
        load(some, values + i);
        convert(wide, some);
        sums += wide * wide;
    }
    double sum = 0;
    for (int lane = 0; lane < lanes; ++lane) sum += sums[lane];
    return sum;
}
LUMO_INLINE void addSquaresBody(const float* row, int blocks, double* sums) {
    for (int i = 0; i < blocks; ++i) sums[i] += squaresOf(row + i * regionStep);
}
LUMO_LEVELS(void, addBlockSquares, addSquaresBody, (const float* row, int blocks, double* sums),
            (row, blocks, sums))

/// Walks down an area in bands half as high as a region, each of which serves two rows of regions.
class Bands {
public:
    Bands(const Roi& area, Trend& trend)
        : trend_(trend),
          width_(static_cast<std::size_t>(area.x2 - area.x1 + 1)),
          columns_(regionsIn(area.x2 - area.x1 + 1)),
          rows_(regionsIn(area.y2 - area.y1 + 1)) {
        for (Band* band : {&upper_, &lower_}) {
            band->rows.resize(width_ * regionStep);
            band->squares.resize(columns_ + 1);
        }
    }

    /// Adds all regions.
    void addTo(LumoNps& spectrum) {
        fill(lower_, 0);
        for (std::size_t row = 0; row < rows_; ++row) {
            std::swap(upper_, lower_);
            fill(lower_, static_cast<int>(row) + 1);
            for (std::size_t i = 0; i < columns_; ++i) {
                const std::size_t begin = i * regionStep;
                spectrum.plane.add(upper_.rows.data() + begin, lower_.rows.data() + begin, width_);
                for (const Band* band : {&upper_, &lower_})
                    spectrum.squares += band->squares[i] + band->squares[i + 1];
            }
        }
        spectrum.regions += rows_ * columns_;
        spectrum.pixels += (rows_ + 1) * (columns_ + 1) * regionStep * regionStep;
    }

private:
    /// Rows without trend, and the squares of their blocks.
    struct Band {
        std::vector<float> rows;
        std::vector<double> squares;
    };

    void fill(Band& band, int step) {
        std::ranges::fill(band.squares, 0.0);
        for (int i = 0; i < regionStep; ++i) {
            float* to = band.rows.data() + static_cast<std::size_t>(i) * width_;
            trend_.subtract(step * regionStep + i, to);
            addBlockSquares(to, static_cast<int>(band.squares.size()), band.squares.data());
        }
    }

    Trend& trend_;
    std::size_t width_, columns_, rows_;  ///< pixels, and regions
    Band upper_, lower_;
};

void addImage(LumoNps& spectrum, const Image& image, const Roi* region, const LumoSignal* given) {
    if (image.data == nullptr) raise(LumoErrorImage);
    if (spectrum.images > 0 && (image.width != spectrum.width || image.height != spectrum.height))
        refuse(LumoReasonSizes);
    Roi area = region != nullptr ? *region : centredSquare(image, spectrum.pitch);
    const std::vector<Run> runs = runsIn(image, area);
    const Signal signal(image, given);
    if (runs.front().count < regionSide || runs.size() < regionSide) refuse(LumoReasonRegionSmall);
    Extremes extremes(image);
    for (int y = 0; y < area.y1; ++y) extremes.look(y);
    Trend trend(signal, area, spectrum.keepTrend, extremes);
    extremes.lookAtAll();
    extremes.refuseClipped(runs);
    Bands(area, trend).addTo(spectrum);
    spectrum.signal += trend.sum();
    spectrum.signalPixels +=
        static_cast<double>(runs.front().count) * static_cast<double>(runs.size());
    spectrum.width = image.width;
    spectrum.height = image.height;
    ++spectrum.images;
}

std::vector<LumoNpsPoint> figuresOf(const LumoNps& sums, LumoNpsFigures& to) {
    constexpr double side = regionSide, leastPixels = 4e6;
    if (sums.images == 0) refuse(LumoReasonFewFrames);
    const auto regions = static_cast<double>(sums.regions),
               pixels = static_cast<double>(sums.pixels);
    const double area = sums.pitch.x * sums.pitch.y;
    const Spectrum spectrum{sums.plane, area / (regions * side * side), sums.pitch};
    to.images = sums.images;
    to.regions = sums.regions;
    to.pixels = sums.pixels;
    to.mean = sums.signal / sums.signalPixels;
    to.variance = sums.plane.total() * spectrum.scale / (side * side * area);
    to.meanSquare = sums.squares / (regions * side * side);
    to.rowSigma = rowDeviation(spectrum);
    to.columnSigma = columnDeviation(spectrum);
    to.relativeError = 0.9 / std::sqrt(14 * pixels / (side * side));
    if (pixels < leastPixels) to.notes |= LumoNoteFewPixels;
    return cutsOf(spectrum, to.mean);
}

}  // namespace
}  // namespace lumo

extern "C" {

int LumoNpsCreate(LumoNps** place, uint32_t pitchX, uint32_t pitchY,
                  const LumoNpsOptions* options) {
    using namespace lumo;
    if (place != nullptr) *place = nullptr;
    std::uint32_t reason = LumoReasonNone;
    return withReason("LumoNpsCreate", reason, [&] {
        constexpr LumoNpsOptions defaults{sizeof(LumoNpsOptions), 0, 0, 0};
        const LumoNpsOptions chosen = optionsOf(options, defaults);
        if (place == nullptr) raise(LumoErrorParameter);
        const Pitch pitch{pitchInMillimetres(pitchX, chosen.pitchKnown != 0),
                          pitchInMillimetres(pitchY, chosen.pitchKnown != 0)};
        *place = std::make_unique<LumoNps>(pitch, chosen.keepTrend != 0).release();
    });
}

int LumoNpsAdd(LumoNps* spectrum, Image image, const Roi* region, const LumoSignal* signal,
               uint32_t* reason) {
    std::uint32_t why = LumoReasonNone;
    const int code = lumo::withReason("LumoNpsAdd", why, [&] {
        if (spectrum == nullptr) lumo::raise(LumoErrorParameter);
        lumo::addImage(*spectrum, image, region, signal);
    });
    if (reason != nullptr) *reason = why;
    return code;
}

int LumoMeasureNps(LumoNps* spectrum, LumoNpsFigures* result, LumoNpsPoint* curve, int32_t* count) {
    return lumo::measured("LumoMeasureNps", result, lumo::noNps, [&](LumoNpsFigures& figures) {
        if (spectrum == nullptr) lumo::raise(LumoErrorParameter);
        lumo::handOut(lumo::figuresOf(*spectrum, figures), curve, count);
    });
}

int LumoNpsDestroy(LumoNps** place) {
    if (place == nullptr) return LumoErrorParameter;
    const std::unique_ptr<LumoNps> spectrum(*place);
    *place = nullptr;
    return LumoOk;
}

}  // extern "C"
