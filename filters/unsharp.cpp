// Unsharp masking with a caller's kernel (result stretched) and with a box mean (result clamped).
#include <algorithm>
#include <vector>

#include "filters/blend.h"
#include "filters/convolve.h"
#include "filters/filters.h"
#include "frame/call_frame.h"
#include "image/owned.h"
#include "image/size_check.h"

namespace lumo {
namespace {

/// Blurs and sharpens piece by piece, with the results' upper halves in the target and the lower
/// ones in `lower`; then stretches.
void unsharpMask(Source source, Target target, Target lower, View<const float> kernel,
                 float strength) {
    const float a = -strength, b = 1.0F + strength;
    Range range = emptyRange;
    const auto width = static_cast<std::size_t>(source.width);
    std::vector<float> border(width);
    std::vector<std::uint16_t> stretched(width);
    const auto halvesAt = [&](int x, int y) { return Halves{target.row(y) + x, lower.row(y) + x}; };
    const auto sharpen = [&](int x, int y, const float* blurred, int count) {
        blendRow(blurred, source.row(y) + x, a, b, halvesAt(x, y), count, &range);
    };
    convolve(source, kernel, source.width, sharpen, [&](int x, int y, int count) {
        std::copy_n(source.row(y) + x, count, border.data());
        sharpen(x, y, border.data(), count);
    });
    const Stretch stretch(range);
    for (int y = 0; y < source.height; ++y) {
        stretch.row(halvesAt(0, y), stretched.data(), source.width);
        std::ranges::copy(stretched, target.row(y));
    }
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
        // As many bytes as the source has; making a float image is not logged.
        const auto rows = static_cast<std::uint16_t>((source.height + 1) / 2);
        const Owned<FImage> owner(source.width, rows);
        const Target lower = {reinterpret_cast<std::uint16_t*>(owner.get().data), source.width,
                              source.height};
        raiseFailure(checkKernel(kernel));
        unsharpMask(asSource(viewOf(source)), viewOf(destination), lower,
                    {kernel.data, kernel.width, kernel.height}, strength);
    });
}
