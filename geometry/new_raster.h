// The raster that a turn by any angle makes: checked arguments, one way to allocate and hand over.
#pragma once

#include <cmath>

#include "frame/call_frame.h"
#include "image/view.h"
#include "lumo_legacy.h"
#include "platform/huge_pages.h"

namespace lumo {

/// Allocates a raster, fills it and hands it over; without memory the target stays as it is.
template <class Fill>
[[nodiscard]] int makeTarget(Image* target, int width, int height, Fill fill) {
    if (width > UINT16_MAX || height > UINT16_MAX) return LumoErrorImage;
    Image made = {};
    const int code =
        Create_Image(static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), &made);
    if (code != LumoOk) return code;
    const Target pixels = viewOf(made);
    preferHugePages(pixels.pixels, pixels.count() * sizeof *pixels.pixels);
    const int filled = guarded([&] { fill(pixels); });
    if (filled != LumoOk) {
        Destroy_Image(&made);
        return filled;
    }
    *target = made;
    return LumoOk;
}

/// What every such turn asks for: a place, a finite angle, pixels.
[[nodiscard]] inline int checkArguments(const Image& image, const Image* target, double angle) {
    if (target == nullptr || !std::isfinite(angle)) return LumoErrorParameter;
    const bool pixels = image.data != nullptr && image.width != 0 && image.height != 0;
    return pixels ? LumoOk : LumoErrorImage;
}

}  // namespace lumo
