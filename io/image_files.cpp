// Image files of every format: read as their first bytes say, written as their name or the caller
// says.
#include <cstring>

#include "frame/call_frame.h"
#include "io/codecs.h"
#include "io/foreign_formats.h"
#include "io/formats.h"

namespace lumo {
namespace {

/// Opens a file and finds its format by its first bytes.
int LumoQueryImageFormat(const char* fileName, FilePtr& file, const Format*& format) noexcept {
    slog(8, "LumoQueryImageFormat entry");
    const int code = reporting("LumoQueryImageFormat", [&] {
        file = openFile(fileName, "rb");
        if (!file) raise(LumoErrorOpen);
        char start[longestSignature];
        format = &formatOfStart({start, readBytes(file.get(), start, sizeof start)});
    });
    slog(7, "LumoQueryImageFormat format=%d return %d",
         format != nullptr ? format->number : FormatAuto, code);
    return code;
}

void readImage(lmImage** place, const char* fileName) {
    FilePtr file;
    const Format* format = nullptr;
    raiseFailure(LumoQueryImageFormat(fileName, file, format));
    raiseFailure(format->read(place, std::move(file), fileName));
}

/// Reads from a copy of the descriptor. Only a format whose file is all of the image can come so.
void readOpenFile(lmImage** place, int descriptor, const char*& foreign) {
    constexpr std::size_t leastPixelFile = 4;  // a header without pixels
    FilePtr file = openCopy(descriptor);
    if (!file) raise(LumoErrorOpen);
    char start[longestForeignStart];
    std::size_t count = readBytes(file.get(), start, longestSignature);
    const Format& format = formatOfStart({start, count});
    if (format.isImage && format.isWhole)
        return raiseFailure(format.read(place, std::move(file), ""));
    count += readBytes(file.get(), start + count, sizeof start - count);
    foreign = foreignFormat({start, count});
    if (*foreign != '\0' || count < leastPixelFile) raise(LumoErrorImage);
    raise(LumoErrorInfoMissing);
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

int LumoReadImageFd(lmImage** place, int descriptor, const char* shownName, const char** foreign) {
    slog(7, "LumoReadImageFd %s entry", lumo::shown(shownName));
    const char* found = "";
    const int code =
        lumo::reporting("LumoReadImageFd", [&] { lumo::readOpenFile(place, descriptor, found); });
    if (foreign != nullptr) *foreign = found;
    slog(7, "LumoReadImageFd %s return %d", lumo::shown(shownName), code);
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
    const lumo::Format* row =
        format == FormatAuto ? lumo::formatOfExtension(dot + 1) : lumo::formatOfNumber(format);
    const bool written = row != nullptr && row->write != nullptr;
    const int code = written ? row->write(image, fileName) : LumoOk;
    slog(7, "LumoWriteImage %s return=%d", lumo::shown(fileName), code);
    return code;
}

}  // extern "C"
