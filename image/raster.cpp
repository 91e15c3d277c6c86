// The plain records Image and FImage: allocating and releasing their rasters.
#include <cstdint>
#include <cstdlib>

#include "frame/call_frame.h"
#include "lumo_legacy.h"

namespace {

template <class Record>
int createRaster(std::uint16_t width, std::uint16_t height, Record* record) {
    if (record == nullptr) return LumoErrorParameter;
    const std::size_t size = std::size_t{width} * height * sizeof *record->data;
    // One byte for zero pixels, so that the raster is never null.
    void* data = std::malloc(size > 0 ? size : 1);
    record->data = static_cast<decltype(record->data)>(data);
    record->width = data != nullptr ? width : std::uint16_t{0};
    record->height = data != nullptr ? height : std::uint16_t{0};
    return data != nullptr ? LumoOk : LumoErrorMemory;
}

template <class Record>
int destroyRaster(Record* record) {
    if (record == nullptr) return LumoErrorParameter;
    std::free(record->data);
    *record = {};
    return LumoOk;
}

}  // namespace

extern "C" {

int Create_Image(uint16_t width, uint16_t height, Image* image) {
    slog(8, "Create_Image entry");
    const int code = createRaster(width, height, image);
    slog(7, "Create_Image return %d", code);
    return code;
}

int Destroy_Image(Image* image) {
    return destroyRaster(image);
}

int Create_FImage(uint16_t width, uint16_t height, FImage* image) {
    return createRaster(width, height, image);
}

int Destroy_FImage(FImage* image) {
    return destroyRaster(image);
}

}  // extern "C"
