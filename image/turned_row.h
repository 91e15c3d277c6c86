// Rows of a raster as they are after a quarter turn, some at a time, without a turned copy.
#pragma once

#include <algorithm>

#include "image/view.h"

namespace lumo {

enum class QuarterTurn { None, CounterClockwise, Half, Clockwise };

/// The turn of an angle in degrees; no turn for an angle that is none of the six listed.
[[nodiscard]] constexpr QuarterTurn quarterTurn(int degrees) {
    switch (degrees) {
        case 90:
        case -270:
            return QuarterTurn::CounterClockwise;
        case 180:
        case -180:
            return QuarterTurn::Half;
        case 270:
        case -90:
            return QuarterTurn::Clockwise;
        default:
            return QuarterTurn::None;
    }
}

[[nodiscard]] constexpr bool swapsSides(QuarterTurn turn) {
    return turn == QuarterTurn::CounterClockwise || turn == QuarterTurn::Clockwise;
}

/// Writes rows `first` to `first + count - 1` of the turned raster, one behind the other. A band of
/// rows reads whole stretches of the source where a single row would read one pixel of each.
template <class Pixel>
void turnedRows(View<const Pixel> source, QuarterTurn turn, int first, int count, Pixel* rows) {
    const int lastX = source.width - 1, lastY = source.height - 1;
    if (!swapsSides(turn)) {
        for (int y = 0; y < count; ++y) {
            const Pixel* from =
                source.row(turn == QuarterTurn::Half ? lastY - first - y : first + y);
            Pixel* to = rows + std::ptrdiff_t{y} * source.width;
            if (turn == QuarterTurn::Half)
                std::reverse_copy(from, from + source.width, to);
            else
                std::copy(from, from + source.width, to);
        }
        return;
    }
    const bool clockwise = turn == QuarterTurn::Clockwise;
    for (int x = 0; x < source.height; ++x) {
        const Pixel* from = source.row(clockwise ? lastY - x : x);
        for (int y = 0; y < count; ++y)
            rows[std::ptrdiff_t{y} * source.height + x] =
                from[clockwise ? first + y : lastX - first - y];
    }
}

}  // namespace lumo
