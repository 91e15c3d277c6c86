// Values that occur are marked, numbered in order, and looked up for each pixel.
#include "filters/tile_ranks.h"

#include <algorithm>

#include "image/pixel.h"

namespace lumo {

TileRanks::TileRanks(int mostColumns, int mostRows)
    : ranks_(static_cast<std::size_t>(mostColumns) * static_cast<std::size_t>(mostRows)),
      greyValues_(greyValues),
      rankOf_(greyValues),
      occurs_(greyValues) {}

void TileRanks::read(Source source, int x, int y, int columns, int rows) {
    rows_ = rows;
    std::ranges::fill(occurs_, std::uint8_t{0});
    for (int j = 0; j < rows; ++j) {
        const std::uint16_t* row = source.row(y + j) + x;
        for (int i = 0; i < columns; ++i) occurs_[row[i]] = 1;
    }
    numberGreyValues();
    for (int j = 0; j < rows; ++j) {
        const std::uint16_t* row = source.row(y + j) + x;
        std::uint16_t* to = ranks_.data() + j;
        for (int i = 0; i < columns; ++i, to += rows) *to = rankOf_[row[i]];
    }
}

void TileRanks::numberGreyValues() {
    count_ = 0;
    for (std::size_t v = 0; v < occurs_.size(); ++v) {
        // Written for absent values too, and then overwritten by the next: no branch.
        greyValues_[static_cast<std::size_t>(count_)] = static_cast<std::uint16_t>(v);
        rankOf_[v] = static_cast<std::uint16_t>(count_);
        count_ += occurs_[v];
    }
}

}  // namespace lumo
