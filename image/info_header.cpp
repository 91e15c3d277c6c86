// The header's codec: one list of fields serves both ways; and the ranges that readers accept.
#include "image/info_header.h"

#include <iterator>

#include "frame/bytes.h"
#include "platform/file.h"

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
