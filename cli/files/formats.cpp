// Signatures of formats, ours and others'.
#include "cli/files/formats.h"

#include <algorithm>

#include "cli/files/names.h"

namespace lumo::cli {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view pngSignature = "\x89PNG\r\n\x1A\n"sv;
constexpr std::string_view xyz8Signature = "\xFF\xFF\0\0"sv;
constexpr std::size_t xyz16Header = 4, xyz8Header = 10;

constexpr const char* extensions[] = {"png", "xyz", "raw", "tif", "tiff", "dcm", "dicom", "ima"};

constexpr struct {
    std::size_t offset;
    std::string_view signature;
    const char* name;
} foreign[] = {
    {0, "\xFF\xD8\xFF"sv, "JPEG"},
    {0, "II*\0"sv, "TIFF"},
    {0, "MM\0*"sv, "TIFF"},
    {0, "II+\0"sv, "TIFF"},
    {0, "MM\0+"sv, "TIFF"},
    {128, "DICM"sv, "DICOM"},
    {0, "GIF87a"sv, "GIF"},
    {0, "GIF89a"sv, "GIF"},
    {0, "BM"sv, "BMP"},
    {0, "RIFF"sv, "RIFF, such as WebP"},
    {0, "\0\0\0\x0CjP  \r\n\x87\n"sv, "JPEG 2000"},
    {0, "\xFF\x4F\xFF\x51"sv, "JPEG 2000"},
    {0, "SIMPLE  ="sv, "FITS"},
    {0, "P5"sv, "PGM"},
    {0, "P2"sv, "PGM"},
    {0, "%PDF-"sv, "PDF"},
    {0, "PK\x03\x04"sv, "ZIP"},
    {0, "\x1F\x8B"sv, "gzip"},
    {0, "\x89HDF\r\n\x1A\n"sv, "HDF5"},
};

std::uint32_t number16(std::string_view bytes, std::size_t at) {
    return static_cast<std::uint8_t>(bytes[at]) |
           static_cast<std::uint32_t>(static_cast<std::uint8_t>(bytes[at + 1])) << 8;
}

}  // namespace

std::optional<XyzLayout> xyzLayout(std::string_view start) {
    const bool eightBit = start.starts_with(xyz8Signature);
    const std::size_t header = eightBit ? xyz8Header : xyz16Header;
    if (start.size() < header) return {};
    const std::size_t sides = eightBit ? xyz16Header : 0;
    XyzLayout layout{number16(start, sides), number16(start, sides + 2), eightBit, header};
    layout.size += std::uint64_t{layout.width} * layout.height * (eightBit ? 1 : 2);
    return layout;
}

ImageFormat formatOf(std::string_view start) {
    if (start.starts_with(pngSignature)) return FormatPng;
    return start.starts_with(xyz8Signature) ? FormatXyz8 : FormatXyz;
}

const char* nameOf(ImageFormat format) {
    if (format == FormatPng) return "PNG";
    return format == FormatXyz8 ? "XYZ, 8-bit" : "XYZ, 16-bit";
}

const char* foreignFormat(std::string_view start) {
    const auto* found = std::ranges::find_if(foreign, [&](const auto& row) {
        return start.size() > row.offset && start.substr(row.offset).starts_with(row.signature);
    });
    return found != std::end(foreign) ? found->name : nullptr;
}

bool isImageName(const std::string& name) {
    return std::ranges::any_of(
        extensions, [&](const char* extension) { return hasExtension(name, extension); });
}

}  // namespace lumo::cli
