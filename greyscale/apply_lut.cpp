// Applying look-up tables, the caller's or that of a greyscale window.
#include <memory>

#include "frame/call_frame.h"
#include "greyscale/lut.h"
#include "image/map_pixels.h"
#include "image/size_check.h"
#include "image/view.h"

namespace lumo {
namespace {

/// Maps through the table of a window that `windowOf` finds in the source.
template <class WindowOf>
int optimise(const Image& source, const Image& destination, int mode, WindowOf windowOf) {
    if (Check_SameSize(source, destination) != LumoOk) return LumoSizeMismatch;
    if (viewOf(source).count() == 0) return LumoOk;
    return guarded([&] {
        const ImageValue window = windowOf();
        const auto lut = std::make_unique_for_overwrite<LutBlock>();
        Make_Lut(*lut, mode, window.min, window.max);
        raiseFailure(Apply_Lut(source, destination, lut->data()));
    });
}

}  // namespace

int Apply_Lut(const Image& source, const Image& destination, const std::uint16_t* lut) {
    if (Check_SameSize(source, destination) != LumoOk) return LumoSizeMismatch;
    mapPixels(source.data, destination.data, viewOf(source).count(), lut);
    return LumoOk;
}

}  // namespace lumo

extern "C" {

int ApplyLut16(Image source, Image destination, const uint16_t* lut) {
    if (lumo::Check_SameSize(source, destination) != LumoOk) return LumoSizeMismatch;
    if (lut == nullptr) return LumoErrorParameter;
    return lumo::Apply_Lut(source, destination, lut);
}

int Opt_GreyscaleAbs(Image source, Image destination, uint16_t lo, uint16_t hi, uint16_t mode) {
    return lumo::optimise(source, destination, mode, [=] {
        return ImageValue{sizeof(ImageValue), lo, hi, 0.0, 0.0};
    });
}

int Opt_GreyscaleLim(Image source, Image destination, int32_t lowPpm, int32_t highPpm,
                     uint16_t mode) {
    return lumo::optimise(source, destination, mode, [&] {
        ImageValue window{};
        lumo::raiseFailure(Get_ImageValueLim(source, &window, lowPpm, highPpm));
        return window;
    });
}

}  // extern "C"
