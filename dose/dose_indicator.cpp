// The dose indicator: the median grey value of the image's central region.
#include <memory>

#include "frame/call_frame.h"
#include "measure/histogram.h"

namespace {

constexpr const char* function = "GetOrvelDoseIndicator";

/// Part of the width and of the height left off on each side: collimator edges, markers.
constexpr double borderSize = double{0.33F};
static_assert(0.0 < borderSize && borderSize <= 0.5);

Roi centerOf(const Image& image) {
    const auto first = [](int length) { return static_cast<std::int32_t>(length * borderSize); };
    const auto last = [](int length) {
        return static_cast<std::int32_t>(length * (1.0 - borderSize));
    };
    return {first(image.width), first(image.height), last(image.width), last(image.height)};
}

/// The smallest grey value up to which half of the pixels lie, rounded down.
int medianOf(const lumo::Histogram& histogram, std::uint64_t count) {
    std::uint64_t sum = histogram[0];
    int value = 0;
    while (sum < count / 2) sum += histogram[static_cast<std::size_t>(++value)];
    return value;
}

int parameterError(const char* problem) {
    slog(3, "%s - Parameter error - %s", function, problem);
    return LumoErrorParameter;
}

}  // namespace

extern "C" int GetOrvelDoseIndicator(const Image* image, int32_t* indicator) {
    if (image == nullptr) return parameterError("no image provided");
    if (indicator == nullptr) return parameterError("no place for the indicator");
    const int code = lumo::guarded([&] {
        const auto histogram = std::make_unique_for_overwrite<lumo::Histogram>();
        lumo::Runs runs{};
        lumo::raiseFailure(lumo::pixelRuns(*image, runs));
        runs = lumo::runsOf(*image, centerOf(*image));
        lumo::countGreyValues(runs, histogram->data());
        *indicator = medianOf(*histogram, runs.count());
    });
    if (code != LumoOk)
        slog(3, "%s %d %s", function, code, lmtErrorMessage(code));
    else
        slog(5, "%s - Orvel Dose Indicator: %i", function, *indicator);
    return code;
}
