// The step `rotate`: turns by quarters, by any angle, or straight.
#include "geometry/reversal.h"
#include "geometry/tilt.h"
#include "image/quarter_turn_copy.h"
#include "image/view.h"
#include "steps/table.h"
#include "steps/turn.h"

namespace lumo {
namespace {

constexpr StepOption options[] = {
    {.name = "quarter",
     .type = LumoOptionChoice,
     .value = "DEG",
     .unit = "degrees",
     .summary = "Turn against the clock, exactly",
     .choices = "90 180 270",
     .excludes = "angle straighten"},
    {.name = "angle",
     .type = LumoOptionReal,
     .least = -360,
     .largest = 360,
     .value = "DEG",
     .unit = "degrees",
     .summary = "Turn against the clock, with interpolation, into a picture that holds it all",
     .excludes = "quarter straighten"},
    {.name = "straighten",
     .type = LumoOptionFlag,
     .summary = "Turn by the tilt of the exposed area, and report the angle",
     .excludes = "quarter angle"},
};

std::uint32_t flagsOf(const StepArguments& arguments) {
    constexpr std::uint32_t always = LumoStepRepeatable | LumoStepLinear | LumoStepSides;
    return arguments.has("quarter") ? always | LumoStepHarmless | LumoStepPitch : always;
}

void turnQuarters(const StepWork& work, int angle) {
    const Source source = asSource(viewOf(work.source()));
    if (angle == 180) {
        const Image target = work.target();
        work.require(Copy_Image(work.source(), target));
        reverseRaster(viewOf(target));
        return recordTurn(work.result, angle);
    }
    NewRaster& turned = work.result.raster;
    quarterTurnCopy(source, quarterTurn(angle),
                    turned.make(work.image.height, work.image.width).data);
    work.result.pixelsizeX = work.image.pixelsizeY;
    work.result.pixelsizeY = work.image.pixelsizeX;
    recordTurn(work.result, angle);
    work.result.settings.push_back({"Image_X", "Width", std::to_string(work.image.height)});
    work.result.settings.push_back({"Image_X", "Height", std::to_string(work.image.width)});
    work.result.settings.push_back(
        {"Image_X", "PixelsizeX", std::to_string(work.image.pixelsizeY)});
    work.result.settings.push_back(
        {"Image_X", "PixelsizeY", std::to_string(work.image.pixelsizeX)});
}

/// The tilt of the exposed area. What counts as exposed is a fixed grey value, so the picture is
/// spread over all grey values first: evenly, and where the edges then found contradict each other,
/// through a square root, which keeps dark parts of the area apart from what was not exposed.
double estimatedAngle(const StepWork& work) {
    constexpr std::int32_t limit = 1000;  // parts per million
    constexpr double largestSpread = 2;   // degrees
    constexpr int exposed = 8000;
    NewRaster copy;
    const Image stretched = copy.make(work.image.width, work.image.height);
    for (const std::uint16_t curve : {CurveLinear, CurveSquareRoot}) {
        work.require(Opt_GreyscaleLim(work.source(), stretched, limit, limit, curve));
        ImageValue value{};
        work.require(Get_ImageValue(stretched, &value));
        if (value.min > exposed || value.max <= exposed) break;
        const Tilt tilt = tiltOf(asSource(viewOf(stretched)));
        if (tilt.spread <= largestSpread) return tilt.degrees;
    }
    refuse(work.report, LumoErrorImage,
           "rotate: --straighten finds no exposed area with straight edges");
}

void apply(const StepWork& work) {
    const StepArguments& arguments = work.arguments;
    if (arguments.has("quarter")) return turnQuarters(work, arguments.integer("quarter"));
    requireSquarePixels(work);
    const bool straighten = arguments.has("straighten");
    const double angle = straighten ? estimatedAngle(work) : arguments.real("angle");
    work.require(RotationNewImage(work.source(), work.result.raster.place(), angle));
    if (!straighten) return;
    work.report.values.push_back({"angle", "turned by", "degrees", angle + 0.0, 3});
    work.result.recorded =
        arguments.without("straighten").with("angle", exactText(angle)).normalForm();
}

}  // namespace

constinit const Step rotateStep = {
    .name = "rotate",
    .summary = "Turn by quarters, by any angle, or straight",
    .effect =
        "Quarter turns keep every grey value and exchange sides and pitch; other turns "
        "interpolate between pixels and enlarge the sides.",
    .examples =
        "rotate --quarter 90\n"
        "rotate --angle -1.5\n"
        "rotate --straighten",
    .flags = LumoStepRepeatable | LumoStepLinear | LumoStepSides | LumoStepPitch,
    .options = options,
    .oneOf = "quarter angle straighten",
    .flagsOf = flagsOf,
    .apply = apply,
};

}  // namespace lumo
