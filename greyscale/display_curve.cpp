// The viewer's brightness, contrast and gamma as a look-up table. Formulas keep their order of
// operations: it decides the last bit.
#include <algorithm>
#include <cmath>

#include "image/pixel.h"
#include "lumo_legacy.h"

namespace {

double clampOr(double neutral, double value, double lowest, double highest) {
    return std::isnan(value) ? neutral : std::clamp(value, lowest, highest);
}

}  // namespace

extern "C" int Make_DispLut(const uint16_t* input, uint16_t* output, double brightness,
                            double contrast, double gamma) {
    if (output == nullptr) return LumoErrorParameter;
    gamma = clampOr(1.0, gamma, 0.01, 5.0);
    contrast = clampOr(50.0, contrast, 0.0, 100.0);
    brightness = clampOr(50.0, brightness, 0.0, 100.0);

    const double angle = contrast / 200.0 * 3.1415926535;
    const double slope = std::tan(angle);
    const double shift = (brightness / 50.0 - 1.0) * 32767.5;
    // The line turns about the middle of the range and moves up or down with the brightness.
    const double offset =
        (1.0 / std::cos(angle) + std::cos(angle)) * shift + (1.0 - std::tan(angle)) * 32767.5;
    const double exponent = 1.0 / gamma;
    for (std::size_t i = 0; i < lumo::greyValues; ++i) {
        const double x = input != nullptr ? input[i] : static_cast<double>(i);
        output[i] = lumo::toPixel(slope * (std::pow(x / 65535.0, exponent) * 65535.0) + offset);
    }
    return LumoOk;
}
