// Regions of interest and the pixels they hold.
#pragma once

#include <cstddef>
#include <cstdint>

#include "image/view.h"
#include "lumo_legacy.h"

namespace lumo {

/// Puts the corners in order: first column and row, last column and row.
void Normalize_Roi(Roi& region);

/// @return 0; -50 unless a region with ordered corners lies inside the image
[[nodiscard]] int Check_Roi(const Image& image, const Roi& region);

/// A region with ordered corners, cut to an image that has pixels. Negative corners become 0; a
/// region that starts beyond the image becomes its bottom-right pixel.
[[nodiscard]] Roi Clip_Roi(const Image& image, Roi region);

/// Pixels as equal runs: `rows` runs of `length` pixels, `stride` apart. A whole raster is one run.
struct Runs {
    const std::uint16_t* first;
    std::size_t length, rows, stride;

    [[nodiscard]] std::size_t count() const { return length * rows; }
    [[nodiscard]] const std::uint16_t* row(std::size_t index) const {
        return first + index * stride;
    }
};

[[nodiscard]] Runs runsOf(const Image& image);
/// The region has ordered corners and lies inside the image.
[[nodiscard]] Runs runsOf(const Image& image, const Roi& region);

/// The pixels of a caller's image.
/// @return 0; -50 if there are none
[[nodiscard]] int pixelRuns(const Image& image, Runs& runs);

/// Puts the corners of a caller's region in order and gives its pixels.
/// @return 0; -50 if the raster is missing or the region leaves the image
[[nodiscard]] int regionRuns(const Image& image, Roi region, Runs& runs);

}  // namespace lumo
