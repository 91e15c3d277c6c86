// The band filter: a low-pass, a high-pass and a band term in the two-dimensional Fourier domain.
#pragma once

#include <cstddef>
#include <memory>

#include "image/view.h"
#include "lumo_legacy.h"

namespace lumo {

/// Frequencies in cycles per millimetre; amplitudes are plain factors. With these values the filter
/// changes nothing.
struct BandParameters {
    double al0 = 1.0, al1 = 1.0, ftp = 10.0;             ///< low-pass: al1 at 0, al0 far from it
    double ah0 = 1.0, ah1 = 1.0, fhp = 10.0;             ///< high-pass: ah0 at 0, ah1 far from it
    double ab0 = 1.0, ab1 = 1.0, fbp0 = 5.0, fbp = 2.0;  ///< band: ab1 at fbp0, ab0 far from it
    bool preserveZeroFrequency = false;
};

/// Geometry of one run. The image lies transposed in the buffer: row x holds image column x.
struct FftLayout {
    int width, height;              ///< the image's
    int paddedWidth, paddedHeight;  ///< the transform's
    int rowStride;                  ///< floats per row: room for paddedHeight / 2 + 1 coefficients

    [[nodiscard]] std::ptrdiff_t floats() const { return std::ptrdiff_t{paddedWidth} * rowStride; }
    [[nodiscard]] float* row(float* buffer, int x) const {
        return buffer + std::ptrdiff_t{x} * rowStride;
    }
};
[[nodiscard]] FftLayout layoutOf(int width, int height);

/// The smallest number not below n (at least 1) without a prime factor above 7.
[[nodiscard]] int Next_FftSize(int n);

struct FftRelease {
    void operator()(float* buffer) const noexcept;
};
using FftBuffer = std::unique_ptr<float[], FftRelease>;

/// The image as floats, its edge pixels repeated in the padding; empty without memory.
[[nodiscard]] FftBuffer Make_FftBuffer(Source source, FftLayout* layout);

/// Stores the buffer's image times `scale`; a scale of 0 spreads the range between its darkest and
/// brightest per cent over 0..65535. Clamps and truncates; NaN gives 0.
void fftw_real2LUMO(Target destination, const float* buffer, const FftLayout& layout, float scale);

/// What one worker does: multiplies the coefficients of the y frequencies [first, end).
struct FreqFilterJob {
    int first, end;
    float* buffer;
    FftLayout layout;
    int pixelsizeX, pixelsizeY;  ///< nanometres
    BandParameters parameters;
};
void Filter_FreqColumns(const FreqFilterJob& job);

/// Sets the threads that the planner may count on, a setting of the whole process: as many as there
/// are processors, which in a forked child run in turn. Called with the lock of platform/fork.h
/// held.
void Init_FftThreads();

/// Filters the source into the destination, which may be the same raster.
/// @param automaticWindow  spread the result's range, or keep the image's own scale
/// @return 0; -2 if ftp * fhp * fbp is 0; -8 without memory. A failure leaves the destination.
[[nodiscard]] int bandFilter(Source source, Target destination, int pixelsizeX, int pixelsizeY,
                             const BandParameters& parameters, bool automaticWindow);

/// Largest of the y frequencies that worker `worker` of `workers` stops before, of `count` in all.
[[nodiscard]] int chunkEnd(int worker, int workers, int count);

}  // namespace lumo
