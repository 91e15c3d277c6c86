// Unsharp masking with a caller's kernel (result stretched) and with a box mean (result clamped).
#include <algorithm>
#include <bit>
#include <vector>

#include "filters/blend.h"
#include "filters/convolve.h"
#include "filters/filters.h"
#include "frame/call_frame.h"
#include "image/owned.h"
#include "image/size_check.h"
#include "platform/cpu_level.h"

namespace lumo {
namespace {

/// Floats in two halves, as a float image is larger than what the allocator keeps for reuse: every
/// run would wait for fresh pages.
struct Halves {
    std::uint16_t *upper, *lower;
};

LUMO_INLINE void splitBody(const float* values, Halves to, int n) {
    for (int i = 0; i < n; ++i) {
        const auto bits = std::bit_cast<std::uint32_t>(values[i]);
        to.upper[i] = static_cast<std::uint16_t>(bits >> 16);
        to.lower[i] = static_cast<std::uint16_t>(bits);
    }
}
LUMO_LEVELS(void, split, splitBody, (const float* values, Halves to, int n), (values, to, n))

LUMO_INLINE void joinBody(Halves from, float* values, int n) {
    for (int i = 0; i < n; ++i)
        values[i] = std::bit_cast<float>(std::uint32_t{from.upper[i]} << 16 | from.lower[i]);
}
LUMO_LEVELS(void, join, joinBody, (Halves from, float* values, int n), (from, values, n))

/// Blurs and sharpens piece by piece, with the results' upper halves in the target and the lower
/// ones in `lower`; then stretches.
void unsharpMask(Source source, Target target, Target lower, View<const float> kernel,
                 float strength) {
    const float a = -strength, b = 1.0F + strength;
    Range range = emptyRange;
    std::vector<float> line(static_cast<std::size_t>(source.width));
    const auto halvesAt = [&](int x, int y) { return Halves{target.row(y) + x, lower.row(y) + x}; };
    const auto sharpen = [&](int x, int y, float* blurred, int count) {
        blendRow(blurred, source.row(y) + x, a, b, blurred, count, &range);
        split(blurred, halvesAt(x, y), count);
    };
    convolve(source, kernel, source.width, sharpen, [&](int x, int y, int count) {
        std::copy_n(source.row(y) + x, count, line.data());
        sharpen(x, y, line.data(), count);
    });
    const Stretch stretch(range);
    for (int y = 0; y < source.height; ++y) {
        join(halvesAt(0, y), line.data(), source.width);
        stretch.row(line.data(), target.row(y), source.width);
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
        // As many bytes as the source has.
        const auto rows = static_cast<std::uint16_t>((source.height + 1) / 2);
        const Owned<FImage> owner(source.width, rows);
        const Target lower = {reinterpret_cast<std::uint16_t*>(owner.get().data), source.width,
                              source.height};
        raiseFailure(checkKernel(kernel));
        unsharpMask(asSource(viewOf(source)), viewOf(destination), lower,
                    {kernel.data, kernel.width, kernel.height}, strength);
    });
}
