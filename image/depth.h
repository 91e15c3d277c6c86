// 8-bit codes of 16-bit pixels by a square-root law. Formulas keep their order of operations: it
// decides the last bit.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace lumo {

/// The 16-bit values of all 256 codes for one white level.
class WideningTable {
public:
    explicit WideningTable(std::uint16_t whiteLevel);
    void widen(const std::uint8_t* codes, std::uint16_t* pixels, std::size_t count) const;

private:
    std::array<std::uint16_t, 256> values_;
    std::uint16_t whiteLevel_;
    /// Whether whole numbers give the values of the formula in double precision, to the last bit:
    /// they do unless a rounded factor pulls a whole value just below itself.
    bool inWholeNumbers_ = true;
};

}  // namespace lumo
