// The exports that turn plain rasters into new ones.
#include <cmath>

#include "frame/call_frame.h"
#include "geometry/rotate.h"
#include "geometry/shear.h"
#include "lumo_legacy.h"
#include "platform/huge_pages.h"

namespace {

/// Allocates a raster, fills it and hands it over; without memory the target stays as it is.
template <class Fill>
int makeTarget(Image* target, int width, int height, Fill fill) {
    if (width > UINT16_MAX || height > UINT16_MAX) return LumoErrorImage;
    Image made = {};
    const int code =
        Create_Image(static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height), &made);
    if (code != LumoOk) return code;
    const lumo::Target pixels = lumo::viewOf(made);
    lumo::preferHugePages(pixels.pixels, pixels.count() * sizeof *pixels.pixels);
    const int filled = lumo::guarded([&] { fill(pixels); });
    if (filled != LumoOk) {
        Destroy_Image(&made);
        return filled;
    }
    *target = made;
    return LumoOk;
}

int checkArguments(const Image& image, const Image* target, double angle) {
    if (target == nullptr || !std::isfinite(angle)) return LumoErrorParameter;
    const bool pixels = image.data != nullptr && image.width != 0 && image.height != 0;
    return pixels ? LumoOk : LumoErrorImage;
}

}  // namespace

extern "C" {

int RotationNewImage(Image image, Image* target, double angle) {
    const int code = checkArguments(image, target, angle);
    if (code != LumoOk) return code;
    const lumo::Rotation rotation(image.width, image.height, angle);
    return makeTarget(target, rotation.width, rotation.height, [&](lumo::Target to) {
        lumo::rotate(lumo::asSource(lumo::viewOf(image)), rotation, to);
    });
}

int Shear(Image image, Image* target, double angle) {
    const int code = checkArguments(image, target, angle);
    if (code != LumoOk) return code;
    return makeTarget(target, image.width, image.height, [&](lumo::Target to) {
        lumo::shear(lumo::asSource(lumo::viewOf(image)), angle, to);
    });
}

}  // extern "C"
