// 8-bit greyscale pictures for people: scaling, coding and PNG file.
#pragma once

#include <string>
#include <vector>

#include "lumo_legacy.h"

namespace lumo::cli {

/// An image no wider than asked for, whose pixels are means of blocks that differ by one in size
/// where the sides do not divide. Refers to the source where nothing is to be scaled.
class ScaledDown {
public:
    ScaledDown(const Image& source, int mostWidth);
    ScaledDown(const ScaledDown&) = delete;
    ScaledDown& operator=(const ScaledDown&) = delete;

    [[nodiscard]] Image image() const { return image_; }

private:
    Image image_;
    std::vector<std::uint16_t> pixels_;
};

/// How grey values become the 256 steps of a picture.
enum class Coding {
    linear,         ///< as programs show 16-bit images: 65535 is white
    linearStretch,  ///< the largest value below 65535 is white
    squareRoot      ///< the same, and dark parts are lifted
};

/// Throws a usage error unless the file's name ends in .png.
void requirePictureName(const std::string& file);

/// Writes a PNG picture. Throws a CommandError if the file exists (unless `force`) or cannot be
/// written.
void writePicture(const Image& raster, Coding coding, const std::string& file, bool force);

}  // namespace lumo::cli
