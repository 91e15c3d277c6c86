// Access to the image record: pixels, geometry, metadata, dose-equivalent values.
#include <algorithm>
#include <cstring>
#include <string>
#include <string_view>

#include "frame/call_frame.h"
#include "frame/history.h"
#include "frame/ini2.h"
#include "frame/ini2_document.h"
#include "frame/ini2_lookup.h"
#include "lumo.h"

namespace {

constexpr char extendedHeaderSection[] = "Image_XHEAD";
constexpr std::size_t longestValue = 1023;  ///< that LumoGetMetaEntry() hands out

bool holdsPixel(const lmImage* image, unsigned x, unsigned y) {
    return image != nullptr && x < image->width && y < image->height && image->data != nullptr;
}

std::uint16_t& pixelAt(lmImage* image, unsigned x, unsigned y) {
    return image->data[std::size_t{y} * image->width + x];
}

/// Hands out at most `*size` bytes of a text of `needed` bytes, and the count.
void handOut(const char* text, std::int32_t needed, char* target, std::int32_t* size) {
    const std::int32_t count = std::min(*size, needed);
    *size = count;
    if (count <= 0) return;
    const auto bytes = static_cast<std::size_t>(count);
    const std::size_t length = strnlen(text, bytes);
    std::memcpy(target, text, length);
    std::memset(target + length, 0, bytes - length);
}

std::string_view metaText(const lmImage& image) {
    if (image.metaData == nullptr || image.metaSize <= 0) return {};
    return {image.metaData, strnlen(image.metaData, static_cast<std::size_t>(image.metaSize))};
}

/// Runs the change on a store bound to the metadata; without memory the text stays as it was.
template <class Change>
int changeMetaData(lmImage* image, Change change) {
    return lumo::guarded([&] {
        ini2 store(&image->metaData, &image->metaSize);
        change(store);
        store.finish();
    });
}

}  // namespace

extern "C" {

int LumoSetPixel(lmImage* image, uint16_t x, uint16_t y, uint16_t value) {
    if (!holdsPixel(image, x, y)) return LumoErrorAccess;
    pixelAt(image, x, y) = value;
    return LumoOk;
}

int LumoGetPixel(lmImage* image, uint16_t x, uint16_t y, uint16_t* value) {
    if (!holdsPixel(image, x, y)) return LumoErrorAccess;
    if (value == nullptr) return LumoErrorParameter;
    *value = pixelAt(image, x, y);
    return LumoOk;
}

int LumoGetGeometry(lmImage* image, uint32_t* width, uint32_t* height, uint32_t* pixelsizeX,
                    uint32_t* pixelsizeY) {
    if (image == nullptr) return LumoErrorImage;
    if (!width || !height || !pixelsizeX || !pixelsizeY) return LumoErrorParameter;
    *width = image->width;
    *height = image->height;
    *pixelsizeX = image->pixelsizeX;
    *pixelsizeY = image->pixelsizeY;
    return LumoOk;
}

int LumoGetBufferAddress(lmImage* image, uint16_t** data) {
    if (image == nullptr) return LumoErrorImage;
    if (data == nullptr) return LumoErrorParameter;
    *data = image->data;
    return LumoOk;
}

int LumoGetMetaData(lmImage* image, char* text, int32_t* size) {
    if (image == nullptr) return LumoErrorImage;
    if (size == nullptr) return LumoErrorParameter;
    const bool empty = image->metaData == nullptr;
    const std::int32_t needed = empty ? 1 : image->metaSize;
    if (text == nullptr || *size == 0)
        *size = needed;
    else
        handOut(empty ? "" : image->metaData, needed, text, size);
    return LumoOk;
}

int LumoGetMetaEntry(lmImage* image, const char* section, const char* key, char* value,
                     int32_t* size) {
    if (image == nullptr) return LumoErrorImage;
    if (section == nullptr || key == nullptr) return LumoErrorAccess;
    if (size == nullptr) return LumoErrorParameter;
    return lumo::guarded([=] {
        std::string entry = lumo::ini::findValue(metaText(*image), section, key).value_or("");
        if (entry.size() > longestValue) entry.resize(longestValue);
        const auto needed = static_cast<std::int32_t>(std::strlen(entry.c_str()) + 1);
        if (value == nullptr || *size == 0)
            *size = needed;
        else
            handOut(entry.c_str(), needed, value, size);
    });
}

int LumoForEachMetaEntry(lmImage* image, LumoMetaVisitor visitor, void* user) {
    if (image == nullptr) return LumoErrorImage;
    if (visitor == nullptr) return LumoErrorParameter;
    return lumo::guarded([=] {
        // The walk works on a copy, so that the visitor may change the image.
        lumo::ini::Document document(metaText(*image));
        std::string sectionText, keyText;
        document.visitEntries([&](std::string_view section, std::string_view key,
                                  const std::string& value) {
            const bool isNamable = section.find('\0') == section.npos && key.find('\0') == key.npos;
            if (section == extendedHeaderSection || !isNamable) return true;
            sectionText = section;
            keyText = key;
            return visitor(sectionText.c_str(), keyText.c_str(), value.c_str(), user) == 0;
        });
    });
}

int LumoSetMetaEntry(lmImage* image, const char* section, const char* key, const char* value) {
    if (image == nullptr) return LumoErrorImage;
    if (section == nullptr || key == nullptr) return LumoErrorAccess;
    return changeMetaData(image, [=](ini2& store) {
        if (value != nullptr)
            store.set(section, key, value, nullptr);
        else
            store.remove(section, key);
    });
}

int LumoAddPerformedStep(lmImage* image, const char* step) {
    if (image == nullptr) return LumoErrorImage;
    if (step == nullptr) return LumoErrorParameter;
    return changeMetaData(image, [=](ini2& store) { lumo::AddPerformedStep(step, &store); });
}

int LumoGetExtHeader(lmImage* image, char* body, int32_t* size) {
    if (image == nullptr) return LumoErrorImage;
    if (size == nullptr) return LumoErrorParameter;
    int result = LumoOk;
    const int code = lumo::guarded([&] {
        ini2 store(&image->metaData, &image->metaSize);
        result = store.getBody(extendedHeaderSection, body, size);
    });
    return code != LumoOk ? code : result;
}

int LumoGetDoseEquiv(lmImage* image, uint16_t* avgPix, uint16_t* maxPix, uint16_t* equivLow,
                     uint16_t* equivHigh) {
    if (image == nullptr) return LumoErrorImage;
    if (!avgPix || !maxPix || !equivLow || !equivHigh) return LumoErrorParameter;
    *avgPix = image->avgPix;
    *maxPix = image->maxPix;
    *equivLow = image->equivLow;
    *equivHigh = image->equivHigh;
    return LumoOk;
}

}  // extern "C"
