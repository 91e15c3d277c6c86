// 8-bit greyscale pictures for people: coding and PNG file.
#include "cli/picture.h"

#include <png.h>

#include <vector>

#include "cli/library.h"

namespace lumo::cli {

void writePicture(const Image& raster, const std::string& file, const std::string& shownAs) {
    std::vector<std::uint8_t> codes(std::size_t{raster.width} * raster.height);
    std::uint16_t white = 0;
    check(Convert_Image16_8(raster.data, codes.data(), raster.width, raster.height, 0, &white),
          shownAs);
    png_image picture{};
    picture.version = PNG_IMAGE_VERSION;
    picture.width = raster.width;
    picture.height = raster.height;
    picture.format = PNG_FORMAT_GRAY;
    if (png_image_write_to_file(&picture, file.c_str(), 0, codes.data(), 0, nullptr) == 0)
        throw CommandError(libraryError(LumoErrorWrite, shownAs).what() +
                           (std::string(" (") + picture.message + ')'));
}

}  // namespace lumo::cli
