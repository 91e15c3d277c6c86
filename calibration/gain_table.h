// The calibration file: a header of 20 bytes and one 16-bit gain code per pixel, little-endian.
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "image/view.h"

namespace lumo {

/// Codes are read and written as they lie in memory.
static_assert(std::endian::native == std::endian::little);

/// The gains that codes 0 and 65535 stand for; the others lie evenly between.
struct GainRange {
    float lowest, highest;
    GainRange(std::uint16_t minPercent, std::uint16_t maxPercent)
        : lowest(static_cast<float>(minPercent) / 100.0F),
          highest(static_cast<float>(maxPercent) / 100.0F) {}
    /// The difference, which is not rounded to single precision.
    [[nodiscard]] double span() const {
        return static_cast<double>(highest) - static_cast<double>(lowest);
    }
};

struct CalibrationHeader {
    static constexpr std::size_t size = 20;

    std::uint16_t version = 1, width = 0, height = 0;
    std::uint16_t length = size;  ///< of the header: where the gain codes begin
    std::uint32_t pixelsizeX = 0, pixelsizeY = 0;
    std::uint16_t minPercent = 0, maxPercent = 0;

    [[nodiscard]] std::array<std::uint8_t, size> bytes() const;
    /// Reads the header from the start of a file; nothing if the file is too short.
    [[nodiscard]] static std::optional<CalibrationHeader> read(std::FILE* file);
};

/// The codes of `count` pixels whose gain brings them to the mean.
void gainCodes(const std::uint16_t* pixels, float mean, GainRange range, std::uint16_t* codes,
               int count);

/// Multiplies `count` pixels by the gains that the codes stand for.
void applyGains(std::uint16_t* pixels, GainRange range, const std::uint16_t* codes, int count);

/// Mean of the smoothed reference without 15 % on each side.
[[nodiscard]] float centralMean(Source reference);

}  // namespace lumo
