// A tile's pixels as ranks among the grey values that occur in it.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "image/view.h"

namespace lumo {

/// The pixels of a tile, column by column, each replaced by the number of smaller grey values in
/// the tile: few and dense, whatever the image holds.
class TileRanks {
public:
    TileRanks(int mostColumns, int mostRows);
    void read(Source source, int x, int y, int columns, int rows);

    /// The ranks of a column, from the top.
    [[nodiscard]] const std::uint16_t* column(int x) const {
        return ranks_.data() + std::ptrdiff_t{x} * rows_;
    }
    /// Number of different grey values.
    [[nodiscard]] int count() const { return count_; }
    [[nodiscard]] std::uint16_t greyValue(int rank) const {
        return greyValues_[static_cast<std::size_t>(rank)];
    }

private:
    void numberGreyValues();

    int rows_ = 0, count_ = 0;
    std::vector<std::uint16_t> ranks_, greyValues_, rankOf_;
    std::vector<std::uint8_t> occurs_;
};

}  // namespace lumo
