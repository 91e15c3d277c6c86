// Convolution with a caller's kernel, laid on the image as stored, into 16-bit or float rasters.
#include <algorithm>

#include "filters/convolve.h"
#include "filters/filters.h"
#include "frame/call_frame.h"
#include "image/owned.h"
#include "image/pixel.h"
#include "image/size_check.h"
#include "platform/cpu_level.h"

namespace lumo {
namespace {

/// The place `next` pixels further is written soon.
LUMO_INLINE void storePixelsBody(const float* sums, std::uint16_t* to, int n, std::ptrdiff_t next) {
    constexpr int line = 32;
    for (int x = 0; x < n; x += line) __builtin_prefetch(to + x + next, 1);
    for (int x = 0; x < n; ++x) to[x] = toPixel(sums[x]);
}
LUMO_LEVELS(void, storePixels, storePixelsBody,
            (const float* sums, std::uint16_t* to, int n, std::ptrdiff_t next), (sums, to, n, next))

/// The checks that both forms share; raises.
template <class Destination>
void checkAll(Image source, Destination destination, FImage kernel) {
    raiseFailure(Check_SameSize(source, destination));
    raiseFailure(checkKernel(kernel));
}

View<const float> weightsOf(FImage kernel) {
    return {kernel.data, kernel.width, kernel.height};
}

void convolvePixels(Source source, Target target, View<const float> kernel) {
    const std::ptrdiff_t nextBand = std::ptrdiff_t{WeightedSums::bandRows} * target.width;
    convolve(
        source, kernel, WeightedSums::fastestStrip,
        [&](int x, int y, const float* sums, int count) {
            storePixels(sums, target.row(y) + x, count, nextBand);
        },
        [&](int x, int y, int count) { std::copy_n(source.row(y) + x, count, target.row(y) + x); });
}

void convolveInPlace(Image image, FImage kernel) {
    const Owned<Image> temporary(image.width, image.height);
    convolvePixels(asSource(viewOf(image)), viewOf(temporary.get()), weightsOf(kernel));
    raiseFailure(Copy_Image(temporary.get(), image));
}

}  // namespace

int Convol_ImageF(Image source, FImage destination, FImage kernel) {
    return guarded([&] {
        checkAll(source, destination, kernel);
        const Source from = asSource(viewOf(source));
        const View<float> to = viewOf(destination);
        convolve(
            from, weightsOf(kernel), WeightedSums::fastestStrip,
            [&](int x, int y, const float* sums, int count) {
                std::copy_n(sums, count, to.row(y) + x);
            },
            [&](int x, int y, int count) { std::copy_n(from.row(y) + x, count, to.row(y) + x); });
    });
}

}  // namespace lumo

extern "C" int Convol_Image(Image source, Image destination, FImage kernel) {
    using namespace lumo;
    return guarded([&] {
        checkAll(source, destination, kernel);
        if (viewOf(source).count() == 0) return;
        if (source.data == destination.data) return convolveInPlace(source, kernel);
        convolvePixels(asSource(viewOf(source)), viewOf(destination), weightsOf(kernel));
    });
}
