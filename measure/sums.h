// Exact sums over runs of pixels.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lumo {

struct Sums {
    std::uint16_t smallest = 65535, largest = 0;
    std::uint64_t sum = 0, squares = 0;
};

/// Adds a run of any length.
void addPixels(const std::uint16_t* pixels, std::size_t count, Sums& sums);

/// The sum of a run of at most 65535 pixels.
[[nodiscard]] std::uint32_t sumOf(const std::uint16_t* pixels, std::size_t count);

}  // namespace lumo
