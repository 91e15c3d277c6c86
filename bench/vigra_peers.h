// What VIGRA offers beside the slanted edge; no peer where it is not installed.
#pragma once

#include "opencv_peers.h"

namespace lumo::bench {

/// The modulation transfer of an edge that fills an image.
[[nodiscard]] Peers vigraMtf(const Image& image, double timesFaster);

}  // namespace lumo::bench
