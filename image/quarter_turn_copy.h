// A raster turned by 90 degrees into another one, in blocks that suit the caches.
#pragma once

#include "image/turned_row.h"
#include "image/view.h"

namespace lumo {

/// Writes the source turned by CounterClockwise or Clockwise.
/// @param target  height x width pixels, apart from the source
void quarterTurnCopy(Source source, QuarterTurn turn, std::uint16_t* target);

}  // namespace lumo
