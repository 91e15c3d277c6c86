// Convolution with a caller's kernel, laid on the image as stored, into 16-bit or float rasters.
#include <cstring>

#include "filters/convolve.h"
#include "filters/filters.h"
#include "frame/call_frame.h"
#include "image/owned.h"
#include "image/size_check.h"
#include "platform/cpu_level.h"

namespace lumo {
namespace {

LUMO_INLINE void storePixelsBody(const float* sums, std::uint16_t* to, int n, std::ptrdiff_t next) {
    constexpr int line = 32;
    for (int x = 0; x < n; x += line) __builtin_prefetch(to + x + next, 1);
    for (int x = 0; x < n; ++x) {
        // False for NaN, which gives 0.
        const float positive = sums[x] > 0.0F ? sums[x] : 0.0F;
        to[x] = static_cast<std::uint16_t>(
            static_cast<std::int32_t>(positive < 65535.0F ? positive : 65535.0F));
    }
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

constexpr auto nothing = [](int, int, int) {};

void convolveInPlace(Image image, FImage kernel) {
    const Owned<Image> temporary(image.width, image.height);
    convolve(asSource(viewOf(image)), viewOf(temporary.get()), weightsOf(kernel), nothing);
    raiseFailure(Copy_Image(temporary.get(), image));
}

}  // namespace

void storeSums(const float* sums, std::uint16_t* to, int n, std::ptrdiff_t next) {
    storePixels(sums, to, n, next);
}

void storeSums(const float* sums, float* to, int n, std::ptrdiff_t /*next*/) {
    std::memcpy(to, sums, static_cast<std::size_t>(n) * sizeof *to);
}

int Convol_ImageF(Image source, FImage destination, FImage kernel) {
    return guarded([&] {
        checkAll(source, destination, kernel);
        convolve(asSource(viewOf(source)), viewOf(destination), weightsOf(kernel), nothing);
    });
}

}  // namespace lumo

extern "C" int Convol_Image(Image source, Image destination, FImage kernel) {
    using namespace lumo;
    return guarded([&] {
        checkAll(source, destination, kernel);
        if (viewOf(source).count() == 0) return;
        if (source.data == destination.data) return convolveInPlace(source, kernel);
        convolve(asSource(viewOf(source)), viewOf(destination), weightsOf(kernel), nothing);
    });
}
