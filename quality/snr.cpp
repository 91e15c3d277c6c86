// Signal to noise of a region, contrast to noise of two.
#include <cmath>

#include "quality/groups.h"
#include "quality/record.h"

namespace lumo {
namespace {

/// The side in micrometres of the square that is as large as a round aperture of 100.
constexpr double apertureSide = 88.6;
/// Below this noise an image holds little but its rounding.
constexpr double leastNoise = 0.5;

constexpr LumoSnr noSnr{sizeof(LumoSnr), LumoReasonNone, 0,       0,       missing, missing,
                        missing,         missing,        missing, missing, missing, missing};
constexpr LumoCnr noCnr{sizeof(LumoCnr), LumoReasonNone, 0,       0,       0,       0,
                        missing,         missing,        missing, missing, missing, missing,
                        missing,         missing};

void requireResolution(double srbMicrometres) {
    requireBetween(srbMicrometres, 0, 1e9);
}

/// A ratio brought to the resolution; nothing without one.
double normalised(double ratio, double srbMicrometres) {
    return srbMicrometres > 0 ? ratio * apertureSide / srbMicrometres : missing;
}

void measureSnr(const Image& image, const Roi& region, const LumoSnrOptions& options, LumoSnr& to) {
    requireResolution(options.srbMicrometres);
    const Uniform uniform = measureUniform(image, region, options.along, options.signal);
    to.groups = uniform.groups;
    to.mean = uniform.mean;
    to.sigma = uniform.sigma;
    to.snr = uniform.mean / uniform.sigma;
    to.relativeError = 1.2533 / std::sqrt(2.0 * (groupSize - 1) * uniform.groups);
    to.plainSigma = uniform.plainSigma;
    to.plainSnr = uniform.plainMean / uniform.plainSigma;
    if (options.srbMicrometres > 0) to.srbMicrometres = options.srbMicrometres;
    to.snrN = normalised(to.snr, options.srbMicrometres);
    if (uniform.sigma < leastNoise) to.notes |= LumoNoteRounding;
}

void measureCnr(const Image& image, const Roi& object, const Roi& background,
                const LumoCnrOptions& options, LumoCnr& to) {
    requireResolution(options.srbMicrometres);
    requireBetween(options.stepPercent, 0, 1e9);
    const Uniform o = measureUniform(image, object, options.along, options.signal);
    const Uniform b = measureUniform(image, background, options.along, options.signal);
    const double contrast = std::abs(o.mean - b.mean);
    to.objectGroups = o.groups;
    to.backgroundGroups = b.groups;
    to.objectMean = o.mean;
    to.objectSigma = o.sigma;
    to.backgroundMean = b.mean;
    to.backgroundSigma = b.sigma;
    to.cnr = contrast / b.sigma;
    to.cnrPooled = contrast / std::sqrt((o.sigma * o.sigma + b.sigma * b.sigma) / 2);
    to.cnrN = normalised(to.cnr, options.srbMicrometres);
    if (options.stepPercent > 0 && to.cnr > 0)
        to.contrastSensitivityPercent = options.stepPercent / to.cnr;
    if (std::min(o.sigma, b.sigma) < leastNoise) to.notes |= LumoNoteRounding;
}

}  // namespace
}  // namespace lumo

extern "C" {

int LumoMeasureSnr(Image image, Roi region, const LumoSnrOptions* options, LumoSnr* result) {
    return lumo::measured("LumoMeasureSnr", result, lumo::noSnr, [&](LumoSnr& figures) {
        constexpr LumoSnrOptions defaults{sizeof(LumoSnrOptions), 0, 0, nullptr};
        lumo::measureSnr(image, region, lumo::optionsOf(options, defaults), figures);
    });
}

int LumoMeasureCnr(Image image, Roi object, Roi background, const LumoCnrOptions* options,
                   LumoCnr* result) {
    return lumo::measured("LumoMeasureCnr", result, lumo::noCnr, [&](LumoCnr& figures) {
        constexpr LumoCnrOptions defaults{sizeof(LumoCnrOptions), 0, 0, 0, nullptr};
        lumo::measureCnr(image, object, background, lumo::optionsOf(options, defaults), figures);
    });
}

}  // extern "C"
