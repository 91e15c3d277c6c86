// Rows of a raster as they are after a quarter turn, one at a time, without a turned copy.
#pragma once

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

/// Writes row `y` of the turned raster: as many pixels as it is wide.
template <class Pixel>
void turnedRow(View<const Pixel> source, QuarterTurn turn, int y, Pixel* row) {
    const int lastX = source.width - 1, lastY = source.height - 1;
    const int width = swapsSides(turn) ? source.height : source.width;
    for (int x = 0; x < width; ++x) {
        switch (turn) {
            case QuarterTurn::None:
                row[x] = source.row(y)[x];
                break;
            case QuarterTurn::CounterClockwise:
                row[x] = source.row(x)[lastX - y];
                break;
            case QuarterTurn::Half:
                row[x] = source.row(lastY - y)[lastX - x];
                break;
            case QuarterTurn::Clockwise:
                row[x] = source.row(lastY - x)[y];
                break;
        }
    }
}

}  // namespace lumo
