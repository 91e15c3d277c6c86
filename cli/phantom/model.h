// The synthetic radiograph: a hand, a step wedge, a wire mesh and a marker in a collimated field.
#pragma once

#include <cstdint>

namespace lumo::cli {

/// Renders the raster, row by row from the top; the same on every machine for the same arguments.
/// Larger values are denser parts, as on a radiograph made for reading; the variance of the noise
/// is proportional to the value.
void renderPhantom(std::uint16_t* raster, int width, int height, std::uint64_t seed);

/// The same scene as it leaves a detector: larger values are less dense parts, and each pixel has a
/// gain of its own, which the seed decides. A few do not answer, answer weakly or too strongly.
void renderExposure(std::uint16_t* raster, int width, int height, std::uint64_t seed);

/// What that detector sees of the open beam alone, the mean of many exposures.
void renderFlatField(std::uint16_t* raster, int width, int height, std::uint64_t seed);

}  // namespace lumo::cli
