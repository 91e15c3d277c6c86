// Neighbourhood filters on plain rasters, beside the exported Convol_Image and UnsharpMask.
//
// Sources and destinations are equal in size and belong to the caller; every function checks them
// first (-50) and leaves them as they were when it fails. Rasters of zero pixels: 0, nothing done.
#pragma once

#include "lumo_legacy.h"

namespace lumo {

/// Convol_Image with an unclamped single-precision result; the border holds the source's values.
/// @return 0; -50; -2 kernel without weights; -8
[[nodiscard]] int Convol_ImageF(Image source, FImage destination, FImage kernel);

/// Mean of the n x n window that begins at each pixel, truncated. The last n rows and columns are
/// copies. Works in place.
/// @return 0; -50; -2 unless 1 <= n <= the smaller side; -8
[[nodiscard]] int Mean_Image(Image destination, Image source, int n);

/// Value at position n * n / 2 of the sorted n x n window that begins at each pixel. The last n
/// rows and columns are copies. Works in place.
/// @return 0; -50; -2 unless 1 <= n <= the smaller side and n <= 256; -8
[[nodiscard]] int Median_Image(Image destination, Image source, int n);

/// Sharpens with the difference to the mean of an n x n window, clamps, and smooths the result with
/// the mean of n / 2. Works in place.
/// @return 0; -50; -2 unless 2 <= n <= the smaller side; -8
[[nodiscard]] int UnsharpMask2(Image source, Image destination, int n, float strength);

/// Side of the kernel for a radius in pixels, 2 * trunc(radius) + 1; 0 for a negative radius, one
/// of 32768 and more, or NaN.
[[nodiscard]] int unsharpKernelSide(double radius);

/// Makes a square kernel of equal weights, n = unsharpKernelSide(radius), whose sum in single
/// precision is `total`.
/// @return 0; -2 radius out of range; -8 no memory (the kernel is then empty)
[[nodiscard]] int Make_UnsharpKernel(FImage* kernel, double radius, double total);

/// destination = a * first + b * second, in double, rounded to single precision.
[[nodiscard]] int Blend_FImage(FImage destination, FImage first, Image second, float a, float b);

/// The same rounding, then clamped to 0..65535 and truncated.
[[nodiscard]] int Blend_Image(Image destination, Image first, Image second, float a, float b);

/// Spreads the source's range over 0..65535; a source of one value gives zeros.
[[nodiscard]] int Stretch_FImage(Image destination, FImage source);

}  // namespace lumo
