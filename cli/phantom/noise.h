// Random numbers that depend on nothing but their counter, the same on every machine.
#pragma once

#include <cstdint>

namespace lumo::cli {

/// A well mixed number for each counter value (splitmix64).
inline std::uint64_t mixed(std::uint64_t counter) {
    std::uint64_t value = counter * 0x9E3779B97F4A7C15U;
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9U;
    value = (value ^ value >> 27) * 0x94D049BB133111EBU;
    return value ^ value >> 31;
}

/// Near-normal deviate of mean 0 and variance 1: the sum of four uniform ones.
inline double deviate(std::uint64_t bits) {
    const auto sum = static_cast<double>((bits & 0xFFFF) + (bits >> 16 & 0xFFFF) +
                                         (bits >> 32 & 0xFFFF) + (bits >> 48));
    constexpr double mean = 2 * 65535.0, deviation = 37837.2;  // 65536 / sqrt(3)
    return (sum - mean) / deviation;
}

}  // namespace lumo::cli
