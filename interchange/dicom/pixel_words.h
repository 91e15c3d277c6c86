// The grey values in the words of a DICOM file: right-aligned, masked, and without a sign.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lumo::interchange::dicom {

/// Where a value lies in its word. `highBit` < 16, 1 <= `bits` <= `highBit` + 1.
struct WordLayout {
    int bits = 16, highBit = 15;
    bool isSigned = false;

    [[nodiscard]] std::uint16_t largest() const {
        return static_cast<std::uint16_t>((1U << bits) - 1);
    }
    /// What is added to a signed value, whatever the values are, so that none is below 0.
    [[nodiscard]] std::uint16_t offset() const {
        return isSigned ? static_cast<std::uint16_t>(1U << (bits - 1)) : std::uint16_t{0};
    }
};

/// Puts values in the place of words. Returns whether bits outside the values were set to anything
/// but copies of the sign.
[[nodiscard]] bool extractValues(std::uint16_t* words, std::size_t count, const WordLayout& layout);

/// The words of values, right-aligned; signed ones have copies of their sign above.
void storeSigned(std::uint16_t* values, std::size_t count, int bits);

/// Turns small into large values and back.
void turnValues(std::uint16_t* values, std::size_t count, std::uint16_t largest);

}  // namespace lumo::interchange::dicom
