// Unsharp masking with a caller's kernel (result stretched) and with a box mean (result clamped).
#include <algorithm>

#include "filters/blend.h"
#include "filters/convolve.h"
#include "filters/filters.h"
#include "frame/call_frame.h"
#include "image/owned.h"
#include "image/size_check.h"

namespace lumo {
namespace {

/// Blurs into `blurred`, sharpens it in place while it is warm, and stretches it.
void unsharpMask(Source source, Target target, View<float> blurred, View<const float> kernel,
                 float strength) {
    const float a = -strength, b = 1.0F + strength;
    Range range = emptyRange;
    convolve(source, blurred, kernel, [&](int y, int from, int to) {
        float* piece = blurred.row(y) + from;
        blendRow(piece, source.row(y) + from, a, b, piece, to - from, &range);
    });
    stretchImage({blurred.pixels, blurred.width, blurred.height}, range, target);
}

}  // namespace

int UnsharpMask2(Image source, Image destination, int n, float strength) {
    return guarded([&] {
        raiseFailure(Check_SameSize(source, destination));
        const int smallerSide = std::min(source.width, source.height);
        if (smallerSide == 0) return;
        if (n < 2 || n > smallerSide) raise(LumoErrorParameter);
        const Owned<Image> owner(source.width, source.height);
        const Image blurred = owner.get();
        raiseFailure(Mean_Image(blurred, source, n));
        raiseFailure(Blend_Image(blurred, blurred, source, -strength, 1.0F + strength));
        raiseFailure(Mean_Image(destination, blurred, n / 2));
    });
}

int unsharpKernelSide(double radius) {
    return radius >= 0.0 && radius < 32768.0 ? 2 * static_cast<int>(radius) + 1 : 0;
}

int Make_UnsharpKernel(FImage* kernel, double radius, double total) {
    const int side = unsharpKernelSide(radius);
    if (side == 0) return LumoErrorParameter;
    const auto sideWord = static_cast<std::uint16_t>(side);
    if (const int code = Create_FImage(sideWord, sideWord, kernel); code != LumoOk) return code;
    // Ones, added up in single precision: exact up to 2^24, where one more no longer counts.
    const double sum = std::min(static_cast<double>(side) * side, 16777216.0);
    std::fill_n(kernel->data, viewOf(*kernel).count(), static_cast<float>(total / sum));
    return LumoOk;
}

}  // namespace lumo

extern "C" int UnsharpMask(Image source, Image destination, FImage kernel, float strength) {
    using namespace lumo;
    return guarded([&] {
        raiseFailure(Check_SameSize(source, destination));
        const Owned<FImage> owner(source.width, source.height);
        const FImage blurred = owner.get();
        raiseFailure(checkKernel(kernel));
        unsharpMask(asSource(viewOf(source)), viewOf(destination), viewOf(blurred),
                    {kernel.data, kernel.width, kernel.height}, strength);
    });
}
