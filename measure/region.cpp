// Corners come in any order; what is valid is said of ordered ones.
#include "measure/region.h"

#include <algorithm>
#include <utility>

namespace lumo {

void Normalize_Roi(Roi& region) {
    if (region.y1 > region.y2) std::swap(region.y1, region.y2);
    if (region.x1 > region.x2) std::swap(region.x1, region.x2);
}

int Check_Roi(const Image& image, const Roi& region) {
    const bool inside = 0 <= region.x1 && region.x1 <= region.x2 && region.x2 < image.width &&
                        0 <= region.y1 && region.y1 <= region.y2 && region.y2 < image.height;
    return inside ? LumoOk : LumoErrorImage;
}

Roi Clip_Roi(const Image& image, Roi region) {
    const std::int32_t lastX = image.width - 1, lastY = image.height - 1;
    if (region.x1 > lastX || region.y1 > lastY) return {lastX, lastY, lastX, lastY};
    return {std::max(region.x1, 0), std::max(region.y1, 0), std::clamp(region.x2, 0, lastX),
            std::clamp(region.y2, 0, lastY)};
}

Runs runsOf(const Image& image) {
    return {image.data, std::size_t{image.width} * image.height, 1, 0};
}

Runs runsOf(const Image& image, const Roi& region) {
    return {viewOf(image).row(region.y1) + region.x1,
            static_cast<std::size_t>(region.x2 - region.x1 + 1),
            static_cast<std::size_t>(region.y2 - region.y1 + 1), image.width};
}

int pixelRuns(const Image& image, Runs& runs) {
    if (image.width == 0 || image.height == 0 || image.data == nullptr) return LumoErrorImage;
    runs = runsOf(image);
    return LumoOk;
}

int regionRuns(const Image& image, Roi region, Runs& runs) {
    if (image.data == nullptr) return LumoErrorImage;
    Normalize_Roi(region);
    const int code = Check_Roi(image, region);
    if (code == LumoOk) runs = runsOf(image, region);
    return code;
}

}  // namespace lumo
