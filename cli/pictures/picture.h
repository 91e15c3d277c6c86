// 8-bit greyscale pictures for people: scaling, a window of grey values, and a PNG file.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/command.h"
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

/// The grey values that a picture shows as black and as white.
struct Window {
    int black, white;

    /// The window that holds both.
    [[nodiscard]] Window with(const Window& other) const {
        return {std::min(black, other.black), std::max(white, other.white)};
    }
};

/// How a window is found, or which one it is.
struct WindowOptions {
    std::string limits = "1000,1000";
    std::optional<int> lo, hi;
    bool squareRoot = false;  ///< lifts dark parts

    /// Throws a usage error.
    void check() const;
    /// That of an image: --lo and --hi, and for an end that is not given the limits.
    [[nodiscard]] Window of(const Image& image, const std::string& file) const;
};

/// Declares --lo, --hi, --limits and --sqrt.
void addWindowOptions(CLI::App& verb, WindowOptions& options);

/// The window as the 256 steps of a picture.
[[nodiscard]] std::vector<std::uint8_t> pictureOf(const Image& raster, const Window& window,
                                                  bool squareRoot);

/// Throws a usage error unless the file's name ends in .png.
void requirePictureName(const std::string& file);

/// Writes pixels as a PNG picture. Throws a CommandError if the file exists (unless `force`) or
/// cannot be written.
void writePicture(const std::vector<std::uint8_t>& pixels, int width, int height,
                  const std::string& file, bool force);

}  // namespace lumo::cli
