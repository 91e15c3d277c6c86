// Rows in order of preference, and what a host may ask about them.
#include "io/formats.h"

#include <algorithm>
#include <cstring>

#include "frame/call_frame.h"
#include "io/codecs.h"
#include "platform/text.h"

namespace lumo {
namespace {

using namespace std::string_view_literals;

int readXyz16(lmImage** place, FilePtr file, const char* fileName) {
    return LumoReadImageXYZ(place, std::move(file), fileName, 0);
}
int readXyz8(lmImage** place, FilePtr file, const char* fileName) {
    return LumoReadImageXYZ(place, std::move(file), fileName, 1);
}
int readPng(lmImage** place, FilePtr file, const char*) {
    return LumoReadImagePNG(place, std::move(file));
}
int writeXyz16(lmImage* image, const char* fileName) {
    return LumoWriteImageXYZ(image, fileName, 0);
}
int writeXyz8(lmImage* image, const char* fileName) {
    return LumoWriteImageXYZ(image, fileName, 1);
}

constexpr auto pngSignature = "\x89PNG\r\n\x1A\n"sv;
static_assert(pngSignature.size() <= longestSignature);

/// "xyz" in any case means the 16-bit form when writing. What is no image is handed to the XYZ
/// reader all the same, as whatever has no signature is; it answers.
constexpr Format formats[] = {
    {FormatPng, {pngSignature}, "png", readPng, LumoWriteImagePNG, "PNG", true, true},
    {FormatGif, {"GIF89a"sv, "GIF87a"sv}, "gif", readXyz16, nullptr, "GIF", false, true},
    {FormatXyz, {}, "xyz", readXyz16, writeXyz16, "XYZ, 16-bit", true, false},
    {FormatXyz8, {"\xFF\xFF\0\0"sv}, "xyz", readXyz8, writeXyz8, "XYZ, 8-bit", true, false},
    {FormatRaw, {"\0\0\0\0"sv}, "raw", readXyz16, writeXyz16, "raw", true, false},
    {FormatTxt, {}, "txt", readXyz16, writeXyz16, "XYZ information", false, false},
};

template <class Condition>
const Format* find(Condition condition) noexcept {
    const auto* row = std::ranges::find_if(formats, condition);
    return row != std::end(formats) ? row : nullptr;
}

}  // namespace

const Format& formatOfStart(std::span<const char> start) noexcept {
    const std::string_view bytes(start.data(), start.size());
    const Format* row = find([=](const Format& format) {
        return std::ranges::any_of(format.signatures, [=](std::string_view signature) {
            return !signature.empty() && bytes.starts_with(signature);
        });
    });
    return row != nullptr ? *row : *formatOfNumber(FormatXyz);
}

const Format* formatOfExtension(const char* extension) noexcept {
    return find(
        [=](const Format& format) { return equalIgnoringCase(format.extension, extension); });
}

const Format* formatOfNumber(int number) noexcept {
    return find([=](const Format& format) { return format.number == number; });
}

}  // namespace lumo

extern "C" {

int LumoFormatOfFile(const char* fileName, int* format) {
    if (format == nullptr) return LumoErrorParameter;
    const lumo::FilePtr file = lumo::openRegularFile(fileName);
    if (!file) return LumoErrorOpen;
    char start[lumo::longestSignature];
    const std::size_t count = lumo::readBytes(file.get(), start, sizeof start);
    *format = lumo::formatOfStart({start, count}).number;
    return LumoOk;
}

int LumoFormatOfName(const char* fileName) {
    const char* dot = fileName != nullptr ? std::strrchr(fileName, '.') : nullptr;
    const lumo::Format* row = dot != nullptr ? lumo::formatOfExtension(dot + 1) : nullptr;
    return row != nullptr ? row->number : FormatAuto;
}

const char* LumoFormatName(int format) {
    const lumo::Format* row = lumo::formatOfNumber(format);
    return row != nullptr ? row->name : "";
}

const char* LumoFormatExtension(int format) {
    const lumo::Format* row = lumo::formatOfNumber(format);
    return row != nullptr ? row->extension : "";
}

int LumoFormatIsImage(int format) {
    const lumo::Format* row = lumo::formatOfNumber(format);
    return row != nullptr && row->isImage ? 1 : 0;
}

}  // extern "C"
