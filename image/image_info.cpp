// The information file of an XYZ image: codec, checks, and the older functions on the record.
#include "image/image_info.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "frame/bytes.h"
#include "frame/file.h"
#include "image/info_name.h"

namespace lumo {
namespace {

/// Visits the fields in file order; one list serves reading and writing.
template <class Info, class Number, class Characters>
void forEachField(Info& info, Number number, Characters characters) {
    number(info.headerSize);
    number(info.width);
    number(info.height);
    number(info.resX);
    number(info.resY);
    number(info.bits);
    number(info.offsetX);
    number(info.slotMask);
    number(info.year);
    number(info.month);
    number(info.day);
    number(info.hour);
    number(info.minute);
    number(info.second);
    characters(info.source);
    characters(info.reserved);
    number(info.reserved2);
    number(info.rotation);
    number(info.pixelsize);
    number(info.scale);
    number(info.maxPix);
    number(info.avgPix);
    number(info.modeUuid);
    number(info.maxPixValue);
    number(info.extHeaderSize);
}

constexpr bool within(std::int64_t value, std::int64_t lowest, std::int64_t highest) {
    return lowest <= value && value <= highest;
}

/// The process's one kept extended header.
struct KeptHeader {
    MallocPtr<char> block;
    std::uint32_t size = 0;
} keptHeader;

/// The information file of an image with its position at the extended header, and the bytes of it
/// that can be delivered: what the header claims and the file holds.
struct ExtendedHeaderFile {
    FilePtr file;
    std::size_t size = 0;
};

ExtendedHeaderFile openExtendedHeader(const char* imageFileName) {
    if (imageFileName == nullptr) return {};
    ExtendedHeaderFile found{openFile(infoNameForWriting(imageFileName).text, "rb")};
    ImageInfo info{};
    if (!found.file || readInfoHeader(found.file.get(), info) < infoHeaderItems) return {};
    const std::uint64_t held = fileSize(found.file.get()).value_or(0);
    if (held > infoHeaderSize && info.extHeaderSize > 0)
        found.size = std::min<std::uint64_t>(held - infoHeaderSize,
                                             static_cast<std::uint32_t>(info.extHeaderSize));
    return found;
}

}  // namespace

int decodeInfoHeader(std::span<const std::uint8_t> bytes, ImageInfo& info) {
    ByteReader reader(bytes);
    std::size_t items = 0;
    forEachField(
        info, [&](auto& field) { items += reader.take(field) ? 1U : 0U; },
        [&](auto& field) { items += reader.take(field, std::size(field)); });
    return static_cast<int>(items);
}

std::array<std::uint8_t, infoHeaderSize> encodeInfoHeader(const ImageInfo& info) {
    std::array<std::uint8_t, infoHeaderSize> bytes;
    ByteWriter writer(bytes);
    forEachField(
        info, [&](const auto& field) { writer.put(field); },
        [&](const auto& field) { writer.put(field, std::size(field)); });
    return bytes;
}

int readInfoHeader(std::FILE* file, ImageInfo& info) {
    std::array<std::uint8_t, infoHeaderSize> bytes;
    const std::size_t count = readBytes(file, bytes.data(), bytes.size());
    return decodeInfoHeader(std::span(bytes).first(count), info);
}

bool isValid(const ImageInfo& info) {
    constexpr std::int64_t longestSide = 65535, finest = 1000, coarsest = 1000000;
    return within(info.width, 1, longestSide) && within(info.height, 1, longestSide) &&
           within(info.resX, finest, coarsest) && within(info.resY, finest, coarsest) &&
           info.offsetX >= 0 && info.year >= 1997 && info.month <= 12 && info.day <= 31 &&
           info.hour <= 23 && info.minute <= 59 && info.second <= 59;
}

}  // namespace lumo

extern "C" {

int Get_ImageInfo(ImageInfo* info, const char* imageFileName) {
    if (info == nullptr) return LumoErrorParameter;
    if (!lumo::openFile(imageFileName, "rb")) return LumoErrorOpen;
    const lumo::FilePtr file = lumo::openFile(lumo::infoNameForWriting(imageFileName).text, "rb");
    if (!file) return LumoErrorOpen;
    const bool whole = lumo::readInfoHeader(file.get(), *info) == lumo::infoHeaderItems;
    return whole && lumo::isValid(*info) ? LumoOk : LumoErrorOpen;
}

int Get_ImageExtraHeader(const char* imageFileName, void* block) {
    if (block == nullptr) return 0;
    const lumo::ExtendedHeaderFile header = lumo::openExtendedHeader(imageFileName);
    if (header.size == 0) return 0;
    return static_cast<int>(lumo::readBytes(header.file.get(), block, header.size));
}

int Get_ImageExtraHeaderSize(const char* imageFileName) {
    return static_cast<int>(lumo::openExtendedHeader(imageFileName).size);
}

int Set_ImageExtraHeader(uint32_t size, const void* block) {
    lumo::keptHeader = {};
    if (size == 0 || block == nullptr) return LumoOk;
    lumo::keptHeader.block.reset(static_cast<char*>(std::malloc(size)));
    if (!lumo::keptHeader.block) return LumoErrorMemory;
    std::memcpy(lumo::keptHeader.block.get(), block, size);
    lumo::keptHeader.size = size;
    return LumoOk;
}

}  // extern "C"

int WriteImageInfo(ImageInfo info, const char* infoFileName) {
    lumo::FilePtr file = lumo::openFile(infoFileName, "wb");
    if (!file) return LumoErrorOpen;
    const auto bytes = lumo::encodeInfoHeader(info);
    const bool written = lumo::writeBytes(file.get(), bytes.data(), bytes.size());
    const bool closed = lumo::closeWritten(std::move(file));
    return written && closed ? LumoOk : LumoErrorWrite;
}
