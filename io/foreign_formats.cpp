// A table of marks, most of them at a file's start. A mark that other data may begin with by chance
// has a second one.
#include "io/foreign_formats.h"

#include <algorithm>
#include <string_view>

#include "io/formats.h"

namespace lumo {
namespace {

using namespace std::string_view_literals;

struct Mark {
    std::size_t offset;
    std::string_view bytes;
    [[nodiscard]] constexpr std::size_t end() const { return offset + bytes.size(); }
    [[nodiscard]] bool isIn(std::string_view start) const {
        return end() <= start.size() && start.substr(offset, bytes.size()) == bytes;
    }
};

struct ForeignFormat {
    const char* name;
    Mark first, second{};
};

constexpr ForeignFormat foreignFormats[] = {
    {"DICOM", {128, "DICM"sv}},
    {"TIFF", {0, "II*\0"sv}},
    {"TIFF", {0, "MM\0*"sv}},
    {"BigTIFF", {0, "II+\0"sv}},
    {"BigTIFF", {0, "MM\0+"sv}},
    {"JPEG", {0, "\xFF\xD8\xFF"sv}},
    {"JPEG 2000", {0, "\0\0\0\x0CjP  \r\n\x87\n"sv}},
    {"JPEG 2000", {0, "\xFF\x4F\xFF\x51"sv}},
    {"JPEG XL", {0, "\0\0\0\x0CJXL \r\n\x87\n"sv}},
    {"WebP", {0, "RIFF"sv}, {8, "WEBP"sv}},
    {"HEIF", {4, "ftyphei"sv}},
    {"HEIF", {4, "ftypmif1"sv}},
    {"AVIF", {4, "ftypavif"sv}},
    {"BMP", {0, "BM"sv}, {6, "\0\0\0\0"sv}},
    {"PGM", {0, "P5\n"sv}},
    {"PGM", {0, "P2\n"sv}},
    {"PPM", {0, "P6\n"sv}},
    {"OpenEXR", {0, "\x76\x2F\x31\x01"sv}},
    {"FITS", {0, "SIMPLE  ="sv}},
    {"HDF5", {0, "\x89HDF\r\n\x1A\n"sv}},
    {"NumPy", {0, "\x93NUMPY"sv}},
    {"PDF", {0, "%PDF-"sv}},
    {"PostScript", {0, "%!PS"sv}},
    {"ZIP", {0, "PK\x03\x04"sv}},
    {"gzip", {0, "\x1F\x8B\x08"sv}},
    {"xz",
     {0,
      "\xFD"
      "7zXZ\0"sv}},
    {"7-Zip", {0, "7z\xBC\xAF\x27\x1C"sv}},
    {"RAR", {0, "Rar!\x1A\x07"sv}},
    {"XML", {0, "<?xml"sv}},
    {"SVG", {0, "<svg"sv}},
    {"HTML", {0, "<!DOCTYPE html"sv}},
};
static_assert(std::ranges::all_of(foreignFormats, [](const ForeignFormat& format) {
    return std::max(format.first.end(), format.second.end()) <= longestForeignStart;
}));

}  // namespace

const char* foreignFormat(std::span<const char> start) noexcept {
    const std::string_view bytes(start.data(), start.size());
    const auto* found = std::ranges::find_if(foreignFormats, [=](const ForeignFormat& format) {
        return format.first.isIn(bytes) && format.second.isIn(bytes);
    });
    if (found != std::end(foreignFormats)) return found->name;
    const Format& own = formatOfStart(start);
    return own.isImage ? "" : own.name;
}

}  // namespace lumo

extern "C" const char* LumoForeignFormat(const char* fileName) {
    const lumo::FilePtr file = lumo::openRegularFile(fileName);
    if (!file) return "";
    char start[lumo::longestForeignStart];
    return lumo::foreignFormat({start, lumo::readBytes(file.get(), start, sizeof start)});
}
