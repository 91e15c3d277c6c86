// A picture on its way between the program and a helper: what is known of it, and its raster.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace lumo::interchange {

/// An entry of the image's metadata.
struct Entry {
    std::string section, key, value;
    bool operator==(const Entry&) const = default;
};

inline constexpr std::uint32_t assumedPitch = 100'000;        // nanometres, where a file tells none
inline constexpr std::uint32_t largestPitch = 1'000'000'000;  // nanometres, here and in PNG

/// Marks in section Import that the program turns into a processing step of the image and drops:
/// the values were turned (by monochrome2), or shifted (signed ones).
inline constexpr const char *turnedMark = "Turned", *shiftedMark = "Shifted";
/// Import/PitchFrom of a file that tells none; the program adds the note, unless the user tells it.
inline constexpr const char* pitchAssumed = "assumed";

/// Everything but the raster.
struct Description {
    std::uint32_t width = 0, height = 0;                         ///< pixels, 1 to 65535
    std::uint32_t pitchX = assumedPitch, pitchY = assumedPitch;  ///< nanometres, 1 to largestPitch
    std::uint8_t bits = 16;  ///< that the values were stored in, 1 to 16; right-aligned
    std::vector<Entry> entries = {};
    std::vector<std::string> notes =
        {};  ///< for the user, a line each: what was assumed or left out

    [[nodiscard]] std::uint64_t pixelCount() const { return std::uint64_t{width} * height; }
    [[nodiscard]] std::uint64_t rasterBytes() const { return pixelCount() * 2; }

    void add(std::string section, std::string key, std::string value) {
        entries.push_back({std::move(section), std::move(key), std::move(value)});
    }
    void note(std::string text) { notes.push_back(std::move(text)); }
};

/// Room for so many values, undefined at first.
[[nodiscard]] std::unique_ptr<std::uint16_t[]> newRaster(std::uint64_t count);

/// As a helper holds it: width x height values, row by row from the top.
struct Picture : Description {
    std::unique_ptr<std::uint16_t[]> raster;

    /// Makes room for the raster, with undefined values.
    void allocate() { raster = newRaster(pixelCount()); }
};

}  // namespace lumo::interchange
