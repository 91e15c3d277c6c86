// The noise power spectrum over any number of images.
#include <algorithm>
#include <cmath>

#include "platform/cpu_level.h"
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
int regionsIn(int length) {
    return (length - regionSide) / regionStep + 1;
}

LUMO_INLINE double squaresOf(const float* values) {
    constexpr int lanes = 8;
    double sums[lanes] = {}, sum = 0;
    for (int i = 0; i < regionStep; i += lanes)
        for (int lane = 0; lane < lanes; ++lane)
            sums[lane] +=
                static_cast<double>(values[i + lane]) * static_cast<double>(values[i + lane]);
    for (const double lane : sums) sum += lane;
    return sum;
}
LUMO_INLINE void addSquaresBody(const float* row, int blocks, double* sums) {
    for (int i = 0; i < blocks; ++i) sums[i] += squaresOf(row + i * regionStep);
}
LUMO_LEVELS(void, addSquares, addSquaresBody, (const float* row, int blocks, double* sums),
            (row, blocks, sums))

/// Walks an area in bands as high as a region, each half of which serves two rows of regions.
class Bands {
public:
    Bands(const Signal& signal, const Roi& area, const Trend& trend)
        : signal_(signal),
          area_(area),
          trend_(trend),
          width_(static_cast<std::size_t>(area.x2 - area.x1 + 1)),
          columns_(regionsIn(static_cast<int>(width_))),
          values_(width_),
          band_(width_ * regionSide),
          upper_(static_cast<std::size_t>(columns_) + 1),
          lower_(upper_.size()) {}

    /// Adds all regions.
    void addTo(LumoNps& spectrum) {
        const int rows = regionsIn(area_.y2 - area_.y1 + 1);
        fillLower(0);
        for (int row = 0; row < rows; ++row) {
            std::copy(band_.begin() + half(), band_.end(), band_.begin());
            upper_ = lower_;
            fillLower(row + 1);
            for (std::size_t i = 0; i + 1 < upper_.size(); ++i) {
                spectrum.plane.add(band_.data() + i * regionStep, width_);
                spectrum.squares += upper_[i] + upper_[i + 1] + lower_[i] + lower_[i + 1];
            }
        }
        spectrum.regions += static_cast<std::uint64_t>(rows) * static_cast<std::uint64_t>(columns_);
        spectrum.pixels +=
            (static_cast<std::uint64_t>(rows) + 1) * upper_.size() * regionStep * regionStep;
    }

private:
    [[nodiscard]] std::ptrdiff_t half() const { return std::ssize(band_) / 2; }

    /// The lower half: the rows of a number of steps, and the squares of their blocks.
    void fillLower(int step) {
        std::ranges::fill(lower_, 0.0);
        for (int i = 0; i < regionStep; ++i) {
            const int row = step * regionStep + i;
            float* to = band_.data() + half() + i * static_cast<std::ptrdiff_t>(width_);
            signal_.read({area_.x1, area_.y1 + row, static_cast<int>(width_)}, values_.data());
            trend_.subtract(values_.data(), row, to);
            addSquares(to, static_cast<int>(lower_.size()), lower_.data());
        }
    }

    const Signal& signal_;
    Roi area_;
    const Trend& trend_;
    std::size_t width_;
    int columns_;
    std::vector<double> values_;
    std::vector<float> band_;
    std::vector<double> upper_, lower_;  ///< squares of the blocks of each half
};

void addImage(LumoNps& spectrum, const Image& image, const Roi* region, const LumoSignal* given) {
    if (image.data == nullptr) raise(LumoErrorImage);
    if (spectrum.images > 0 && (image.width != spectrum.width || image.height != spectrum.height))
        refuse(LumoReasonSizes);
    Roi area = region != nullptr ? *region : centredSquare(image, spectrum.pitch);
    const std::vector<Run> runs = runsIn(image, area);
    const Signal signal(image, given);
    if (runs.front().count < regionSide || runs.size() < regionSide) refuse(LumoReasonRegionSmall);
    refuseClipped(image, runs);
    const Trend trend(signal, area, spectrum.keepTrend);
    Bands(signal, area, trend).addTo(spectrum);
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
