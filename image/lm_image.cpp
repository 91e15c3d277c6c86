// Life cycle of the image record: creating, resizing, exchanging the raster, destroying.
#include "image/lm_image.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

#include "frame/call_frame.h"
#include "frame/time_stamp.h"
#include "image/png_write_state.h"

namespace lumo {
namespace {

/// A record with the empty metadata text and nothing else. Raises -8.
lmImage* newRecord() {
    auto* image = new (std::nothrow) lmImage{};
    char* text = static_cast<char*>(std::calloc(1, 1));
    if (image == nullptr || text == nullptr) {
        std::free(text);
        delete image;
        raise(LumoErrorMemory);
    }
    image->metaData = text;
    image->metaSize = 1;
    image->pixelsizeX = image->pixelsizeY = 100000;
    image->equivHigh = UINT16_MAX;
    return image;
}

void setCreationTime(lmImage& image) {
    char stamp[timeStampSize];
    CurrentTimeStamp(stamp);
    ini2 store(&image.metaData, &image.metaSize);
    store.set("Image", "Creation Time", stamp, nullptr);
    store.finish();
}

void createImage(lmImage** place, std::uint16_t width, std::uint16_t height) {
    if (place == nullptr) raise(LumoErrorMemory);
    if (*place != nullptr) LumoDestroyImage(place);
    *place = newRecord();
    const int code = guarded([&] { setCreationTime(**place); });
    if (code != LumoOk) LumoDestroyImage(place);
    raiseFailure(code);
    if (width != 0 && height != 0) raiseFailure(LumoResizeImageBuf(place, width, height));
}

void resizeRaster(lmImage& image, std::uint16_t width, std::uint16_t height) {
    const std::uint64_t size = std::uint64_t{width} * height * sizeof *image.data;
    if (size == 0) raise(LumoErrorImage);
    if (size > UINT32_MAX) raise(LumoErrorMemory);
    void* data = std::realloc(image.data, size);
    if (data == nullptr) raise(LumoErrorMemory);
    image.data = static_cast<std::uint16_t*>(data);
    image.width = width;
    image.height = height;
    releaseRowPointers(image);
}

void resizeImage(lmImage** place, std::uint16_t width, std::uint16_t height) {
    if (place == nullptr || *place == nullptr) raise(LumoErrorImage);
    const int code = guarded([&] { resizeRaster(**place, width, height); });
    if (code != LumoOk) LumoDestroyImage(place);
    raiseFailure(code);
}

void destroyRecord(lmImage* image) noexcept {
    delete image->pngWriter;
    std::free(image->data);
    std::free(image->metaData);
    releaseRowPointers(*image);
    delete image;
}

}  // namespace

void replaceMetaData(lmImage& image, ini2& store) {
    const std::size_t size = std::size_t{store.getSize()} + 1;
    if (size > INT32_MAX) raise(LumoErrorMemory);
    const char* text = store.getBuffer();
    auto* copy = static_cast<char*>(std::malloc(size));
    if (copy == nullptr) raise(LumoErrorMemory);
    std::memcpy(copy, text, size);
    std::free(image.metaData);
    image.metaData = copy;
    image.metaSize = static_cast<std::int32_t>(size);
}

void releaseRowPointers(lmImage& image) noexcept {
    std::free(image.rowPointers);
    image.rowPointers = nullptr;
}

void buildRowPointers(lmImage& image) {
    auto* rows =
        static_cast<std::uint16_t**>(std::malloc(image.height * sizeof *image.rowPointers));
    if (rows == nullptr) raise(LumoErrorMemory);
    for (std::size_t y = 0; y < image.height; ++y) rows[y] = image.data + y * image.width;
    releaseRowPointers(image);
    image.rowPointers = rows;
}

}  // namespace lumo

extern "C" {

int LumoCreateImage(lmImage** place, uint16_t width, uint16_t height) {
    return lumo::callFrame("LumoCreateImage", [=] { lumo::createImage(place, width, height); });
}

int LumoResizeImageBuf(lmImage** place, uint16_t width, uint16_t height) {
    slog(8, "LumoResizeImageBuf entry");
    const int code =
        lumo::reporting("LumoResizeImageBuf", [=] { lumo::resizeImage(place, width, height); });
    slog(7, "LumoResizeImageBuf width=%d height=%d return %d", width, height, code);
    return code;
}

int LumoChangeDataBuffer(lmImage* image, uint16_t* data) {
    if (image == nullptr || data == nullptr) return LumoErrorParameter;
    if (data != image->data) std::free(image->data);
    lumo::releaseRowPointers(*image);
    image->data = data;
    return LumoOk;
}

int LumoDestroyImage(lmImage** place) {
    slog(8, "LumoDestroyImage entry");
    if (place != nullptr && *place == nullptr) return LumoOk;
    const int code = lumo::reporting("LumoDestroyImage", [=] {
        if (place == nullptr) lumo::raise(LumoErrorImage);
        lumo::destroyRecord(*place);
        *place = nullptr;
    });
    slog(7, "LumoDestroyImage return %d", code);
    return code;
}

}  // extern "C"
