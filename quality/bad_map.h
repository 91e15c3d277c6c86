// A map of bad pixels as those who read it see it.
#pragma once

#include "image/view.h"

namespace lumo {

/// Fewer good neighbours do not suffice to mend a pixel.
constexpr int enoughNeighbours = 5;

struct BadMap : Source {
    /// What lies beyond the border counts as bad.
    [[nodiscard]] bool isBad(int x, int y) const {
        return x < 0 || y < 0 || x >= width || y >= height || row(y)[x] != 0;
    }
    /// Of the eight around a pixel.
    [[nodiscard]] int goodNeighbours(int x, int y) const {
        int good = 0;
        for (int dy = -1; dy <= 1; ++dy)
            for (int dx = -1; dx <= 1; ++dx)
                if ((dx != 0 || dy != 0) && !isBad(x + dx, y + dy)) ++good;
        return good;
    }
};

/// Calls `work` with the columns of a row's bad pixels, from left to right.
template <class Work>
void forEachBad(const std::uint16_t* row, int width, Work work) {
    constexpr int block = 32;
    int x = 0;
    const auto look = [&](int end) {
        for (; x < end; ++x)
            if (row[x] != 0) work(x);
    };
    while (x + block <= width) {
        unsigned any = 0;
        for (int i = 0; i < block; ++i) any |= row[x + i];
        if (any == 0)
            x += block;
        else
            look(x + block);
    }
    look(width);
}

}  // namespace lumo
