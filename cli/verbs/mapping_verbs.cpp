// The verbs `window` and `equalize`: mapping grey values.
#include <map>
#include <memory>

#include "cli/arguments.h"
#include "cli/change.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

const std::map<std::string, int> curves{{"linear", CurveLinear},
                                        {"sqrt", CurveSquareRoot},
                                        {"log", CurveLogarithm},
                                        {"quadratic", CurveQuadratic},
                                        {"exp", CurveExponential},
                                        {"threshold25", CurveThresholdQuarter},
                                        {"threshold50", CurveThresholdHalf},
                                        {"threshold75", CurveThresholdThreeQuarters},
                                        {"sigmoid", CurveSigmoid},
                                        {"shifted-sqrt", CurveShiftedSquareRoot}};

struct WindowOptions : ChangeOptions {
    std::string curve = "linear", limits;
    int lo = -1, hi = -1;  // below 0: not given
    bool invert = false, mirror = false;
};

std::string stepOf(const WindowOptions& options) {
    std::string step = "window --mode " + options.curve;
    if (options.limits.empty())
        step += " --lo " + std::to_string(options.lo) + " --hi " + std::to_string(options.hi);
    else
        step += " --limits " + options.limits;
    if (options.invert) step += " --invert";
    if (options.mirror) step += " --mirror";
    return step;
}

Status window(const WindowOptions& options) {
    const bool byValue = options.lo >= 0 && options.hi >= 0;
    if (byValue != options.limits.empty() || (options.lo >= 0) != (options.hi >= 0))
        throw usageError("lumo window: give either --lo and --hi or --limits");
    const Limits limits = byValue ? Limits{} : parseLimits(options.limits);
    const auto mode = static_cast<std::uint16_t>(curves.at(options.curve) |
                                                 (options.invert ? int{LutInvert} : 0) |
                                                 (options.mirror ? int{LutMirror} : 0));
    return changeImage(options, stepOf(options), [&](ImageHandle& image) {
        const Image raster = rasterOf(*image);
        const int code =
            byValue ? Opt_GreyscaleAbs(raster, raster, static_cast<std::uint16_t>(options.lo),
                                       static_cast<std::uint16_t>(options.hi), mode)
                    : Opt_GreyscaleLim(raster, raster, limits.low, limits.high, mode);
        check(code, options.input);
    });
}

struct EqualizeOptions : ChangeOptions {
    std::string limits = "0,0";
    bool clipped = false;
    int strength = 50, weight = 0, low = -1, high = -1;  // low, high below 0: to be found
};

std::string stepOf(const EqualizeOptions& options) {
    if (!options.clipped) return "equalize --limits " + options.limits;
    std::string step = "equalize --clipped --strength " + std::to_string(options.strength) +
                       " --weight " + std::to_string(options.weight);
    if (options.low >= 0) step += " --low " + std::to_string(options.low);
    if (options.high >= 0) step += " --high " + std::to_string(options.high);
    return step;
}

Status equalize(const EqualizeOptions& options) {
    const Limits limits = parseLimits(options.limits);
    return changeImage(options, stepOf(options), [&](ImageHandle& image) {
        const Image raster = rasterOf(*image);
        std::int32_t low = options.low, high = options.high < 0 ? 65535 : options.high;
        const int code = options.clipped
                             ? Equal_Histo3(raster, raster, options.strength, &low, &high,
                                            options.low >= 0, options.high >= 0, options.weight)
                             : Equal_Histo(raster, raster, limits.low, limits.high);
        check(code, options.input);
    });
}

}  // namespace

Work setUpWindow(CLI::App& verb) {
    const auto options = std::make_shared<WindowOptions>();
    addChangeOptions(verb, *options);
    verb.add_option("--mode", options->curve, "The curve over the window")
        ->check(CLI::IsMember(curves))
        ->capture_default_str();
    verb.add_option("--lo", options->lo, "Grey value that becomes black")
        ->check(CLI::Range(0, 65535));
    verb.add_option("--hi", options->hi, "Grey value that becomes white")
        ->check(CLI::Range(0, 65535));
    verb.add_option("--limits", options->limits,
                    "Instead: shares of the darkest and brightest pixels to cut off, in parts per "
                    "million: LOW,HIGH");
    verb.add_flag("--invert", options->invert, "White becomes black");
    verb.add_flag("--mirror", options->mirror, "Mirror the curve along the grey values");
    return [options] { return window(*options); };
}

Work setUpEqualize(CLI::App& verb) {
    const auto options = std::make_shared<EqualizeOptions>();
    addChangeOptions(verb, *options);
    CLI::Option* limits =
        verb.add_option("--limits", options->limits,
                        "Shares of the darkest and brightest pixels to leave out, in parts per "
                        "million: LOW,HIGH")
            ->capture_default_str();
    CLI::Option* clipped =
        verb.add_flag("--clipped", options->clipped, "Limit what frequent grey values take")
            ->excludes(limits);
    const CLI::Range percent(0, 100), grey(0, 65535);
    verb.add_option("--strength", options->strength, "Clip level; 50 is neutral")
        ->check(percent)
        ->needs(clipped)
        ->capture_default_str();
    verb.add_option("--weight", options->weight, "Percentage of a square-root curve blended in")
        ->check(percent)
        ->needs(clipped)
        ->capture_default_str();
    verb.add_option("--low", options->low, "Lower end of the useful range; else found")
        ->check(grey)
        ->needs(clipped);
    verb.add_option("--high", options->high, "Upper end of the useful range; else found")
        ->check(grey)
        ->needs(clipped);
    return [options] { return equalize(*options); };
}

}  // namespace lumo::cli
