// Replacing an image's raster.
#include "cli/turned_image.h"

#include <algorithm>

namespace lumo::cli {

void replaceRaster(ImageHandle& image, Image& raster, const std::string& file) {
    const std::unique_ptr<Image, int (*)(Image*)> releasing(&raster, Destroy_Image);
    lmImage* place = image.release();
    const int code = LumoResizeImageBuf(&place, raster.width, raster.height);
    image.reset(place);
    check(code, file);
    std::copy_n(raster.data, std::size_t{raster.width} * raster.height, image->data);
    for (const auto& [key, value] : {std::pair{"Width", raster.width}, {"Height", raster.height}})
        check(LumoSetMetaEntry(image.get(), "Image_X", key, std::to_string(value).c_str()), file);
}

void requireSquarePixels(const lmImage& image, const std::string& file) {
    if (image.pixelsizeX == image.pixelsizeY) return;
    throw CommandError(
        file + ": its pixels are not as wide as high (" + std::to_string(image.pixelsizeX) +
        " and " + std::to_string(image.pixelsizeY) + " nm), so only quarter turns keep it true");
}

}  // namespace lumo::cli
