// A running stack of frames: exact sums, so that any number takes the memory of a few.
#pragma once

#include <cstdint>
#include <vector>

#include "lumo_quality.h"

/// Sums stay in 32 bits for as many frames as they can; wide ones take over what was added.
struct LumoStack {
    std::uint16_t width, height;
    std::uint32_t frames = 0;
    std::uint32_t framesInSums = 0;  ///< those that `sums` holds
    std::vector<std::uint32_t> sums;
    std::vector<std::uint64_t> wideSums;  ///< earlier frames'; empty while there are none
    std::vector<std::uint64_t> squares;   ///< empty unless deviations are wanted

    [[nodiscard]] std::size_t count() const { return std::size_t{width} * height; }
    [[nodiscard]] std::uint64_t sum(std::size_t i) const {
        return sums[i] + (wideSums.empty() ? 0 : wideSums[i]);
    }
    [[nodiscard]] double mean(std::size_t i) const { return static_cast<double>(sum(i)) / frames; }
    /// Each pixel's variance over the frames (n - 1). There are squares and two frames or more.
    [[nodiscard]] double variance(std::size_t i) const {
        __extension__ using Wide = unsigned __int128;
        const Wide spread = Wide{frames} * squares[i] - Wide{sum(i)} * sum(i);
        return static_cast<double>(spread) / (static_cast<double>(frames) * (frames - 1.0));
    }
};
