// PNG's row filters for 16-bit grey rows being written: the choice among the five, and the row
// filtered by the chosen one.
#pragma once

#include <cstdint>
#include <vector>

namespace lumo {

/// Filters rows one after the other, each by the filter that leaves the smallest sum of magnitudes:
/// what differs little from its neighbours compresses well.
class PngFilter {
public:
    explicit PngFilter(int width);

    /// Bytes of a filtered row, its filter's number counted.
    [[nodiscard]] std::size_t rowSize() const { return rowBytes_ + 1; }
    /// Bytes that filter() may write behind a row: vectors are written whole.
    static constexpr std::size_t room = 64;
    /// @param row  `width` pixels
    /// @param to   rowSize() bytes, and room
    void filter(const std::uint16_t* row, std::uint8_t* to);

private:
    std::size_t rowBytes_;
    /// Big-endian rows behind one pixel of 0, which the first pixel has on its left.
    std::vector<std::uint8_t> current_, above_;
};

}  // namespace lumo
