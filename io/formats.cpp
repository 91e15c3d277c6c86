// The table of formats, and the two entries that read and write image files of all of them.
#include <algorithm>
#include <cstring>
#include <span>

#include "frame/call_frame.h"
#include "io/formats.h"
#include "platform/file.h"
#include "platform/text.h"

namespace lumo {
namespace {

struct FormatRow {
    ImageFormat format;
    std::size_t signatureLength;  ///< 0: no signature, found by extension only
    const char* signature;
    const char* extension;
};

/// In order of preference: "xyz" in any case means the 16-bit form when writing.
constexpr FormatRow formatTable[] = {
    {FormatPng, 8, "\x89PNG\r\n\x1A\n", "png"},
    {FormatGif, 6, "GIF89a", "gif"},
    {FormatGif, 6, "GIF87a", "gif"},
    {FormatXyz, 0, "", "XYZ"},
    {FormatXyz8, 4, "\xFF\xFF\0\0", "xyz"},
    {FormatRaw, 4, "\0\0\0\0", "raw"},
    {FormatTxt, 0, "", "txt"},
};

constexpr std::size_t longestSignature = 8;

ImageFormat formatOfSignature(std::span<const char> start) {
    const auto* row = std::ranges::find_if(formatTable, [&](const FormatRow& candidate) {
        const std::size_t length = candidate.signatureLength;
        return length > 0 && length <= start.size() &&
               std::memcmp(candidate.signature, start.data(), length) == 0;
    });
    return row != std::end(formatTable) ? row->format : FormatXyz;
}

ImageFormat formatOfExtension(const char* extension) {
    const auto* row = std::ranges::find_if(formatTable, [&](const FormatRow& candidate) {
        return equalIgnoringCase(candidate.extension, extension);
    });
    return row != std::end(formatTable) ? row->format : FormatAuto;
}

void queryFormat(const char* fileName, int& format) {
    const FilePtr file = openFile(fileName, "rb");
    if (!file) raise(LumoErrorOpen);
    char start[longestSignature];
    const std::size_t count = readBytes(file.get(), start, sizeof start);
    format = formatOfSignature(std::span(start).first(count));
}

/// Finds a file's format by its first bytes.
int LumoQueryImageFormat(const char* fileName, int* format) noexcept {
    slog(8, "LumoQueryImageFormat entry");
    *format = FormatAuto;
    const int code = reporting("LumoQueryImageFormat", [=] { queryFormat(fileName, *format); });
    slog(7, "LumoQueryImageFormat format=%d return %d", *format, code);
    return code;
}

void readImage(lmImage** place, const char* fileName) {
    int format = FormatAuto;
    raiseFailure(LumoQueryImageFormat(fileName, &format));
    if (format == FormatPng)
        raiseFailure(LumoReadImagePNG(place, fileName));
    else
        raiseFailure(LumoReadImageXYZ(place, fileName, format == FormatXyz8 ? 1 : 0));
}

int writeImage(lmImage* image, const char* fileName, int format) {
    switch (format) {
        case FormatXyz:
        case FormatRaw:
        case FormatTxt:
            return LumoWriteImageXYZ(image, fileName, 0);
        case FormatXyz8:
            return LumoWriteImageXYZ(image, fileName, 1);
        case FormatPng:
            return LumoWriteImagePNG(image, fileName);
        default:
            return LumoOk;
    }
}

/// A file name as the log shows it.
const char* shown(const char* fileName) {
    return fileName != nullptr ? fileName : "";
}

}  // namespace
}  // namespace lumo

extern "C" {

int LumoReadImage(lmImage** place, const char* fileName) {
    slog(7, "LumoReadImage %s entry", lumo::shown(fileName));
    const int code = lumo::reporting("LumoReadImage", [=] { lumo::readImage(place, fileName); });
    slog(7, "LumoReadImage %s return %d", lumo::shown(fileName), code);
    return code;
}

int LumoWriteImage(lmImage* image, const char* fileName, int format) {
    slog(7, "LumoWriteImage %s entry", lumo::shown(fileName));
    const char* dot = std::strrchr(lumo::shown(fileName), '.');
    if (dot == nullptr && format == FormatAuto) {
        slog(3, "LumoWriteImage extension invalid for auto format detect. File =%s",
             lumo::shown(fileName));
        return LumoErrorOpen;
    }
    if (format == FormatAuto) format = lumo::formatOfExtension(dot + 1);
    const int code = lumo::writeImage(image, fileName, format);
    slog(7, "LumoWriteImage %s return=%d", lumo::shown(fileName), code);
    return code;
}

}  // extern "C"
