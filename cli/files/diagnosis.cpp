// Looks at the bytes of a file that is refused: its beginning, and the chunks of a PNG file.
#include "cli/files/diagnosis.h"

#include <zlib.h>

#include <algorithm>

#include "cli/files/formats.h"
#include "cli/files/names.h"
#include "cli/library.h"
#include "cli/messages.h"

namespace lumo::cli {

namespace {

CommandError refusal(int code, const std::string& file, const std::string& reason) {
    return CommandError(shownName(file) + ": " + std::to_string(code) + ' ' + reason, failed, code);
}

std::uint32_t bigEndian(const std::string& bytes) {
    std::uint32_t value = 0;
    for (const char byte : bytes) value = value << 8 | static_cast<std::uint8_t>(byte);
    return value;
}

/// The CRC-32 of a stretch of the file.
std::uint32_t crcOf(const InputFile& input, std::uint64_t from, std::uint64_t size) {
    constexpr std::uint64_t most = 1 << 20;
    uLong crc = 0;
    for (std::uint64_t done = 0; done < size; done += most) {
        const auto count = static_cast<std::size_t>(std::min(most, size - done));
        const std::string bytes = input.read(from + done, count);
        const void* data = bytes.data();
        crc = crc32_z(crc, static_cast<const Bytef*>(data), bytes.size());
    }
    return static_cast<std::uint32_t>(crc);
}

/// Walks through the chunks: length, name, content, checksum of name and content.
std::string pngFault(const InputFile& input) {
    constexpr std::uint64_t signature = 8, frame = 12;
    for (std::uint64_t at = signature;;) {
        const std::string head = input.read(at, 8);
        if (head.size() < 8) return "cut short: the file ends before its last chunk";
        const std::uint64_t length = bigEndian(head.substr(0, 4));
        const std::string name = printable(head.substr(4));
        if (at + frame + length > input.size()) return "cut short: the file ends in chunk " + name;
        if (bigEndian(input.read(at + 8 + length, 4)) != crcOf(input, at + 4, length + 4))
            return "damaged: bad checksum in chunk " + name;
        if (name == "IEND")
            return "damaged: the image data is not sound, or not all of it is there";
        at += frame + length;
    }
}

std::string infoName(const std::string& file) {
    return file.substr(0, file.rfind('.') + 1) + "txt";
}

}  // namespace

void refuseHopeless(const InputFile& input, const std::string& file) {
    const std::string start = input.read(0, recognisedBytes);
    if (start.empty()) throw refusal(LumoErrorImage, file, "the file is empty");
    if (formatOf(start) == FormatPng) return;
    const auto layout = xyzLayout(start);
    if (layout && layout->width != 0 && layout->height != 0 && input.size() >= layout->size) return;
    if (const char* name = foreignFormat(start))
        throw refusal(LumoErrorImage, file,
                      std::string("not an image format that lumo reads (") + name + ')');
    const bool namedXyz = hasExtension(file, "xyz") || hasExtension(file, "raw");
    if (!namedXyz && input.isNamed())
        throw refusal(LumoErrorImage, file, "not an image format that lumo reads");
    if (!layout) throw refusal(LumoErrorImage, file, "cut short: the file ends in its header");
    const std::string sides =
        std::to_string(layout->width) + " x " + std::to_string(layout->height) + " pixels";
    if (layout->width == 0 || layout->height == 0)
        throw refusal(LumoErrorImage, file, "an image of " + sides);
    throw refusal(LumoErrorImage, file,
                  "cut short, or no image: " + std::to_string(input.size()) + " bytes of the " +
                      std::to_string(layout->size) + " that " + sides + " take");
}

CommandError readingError(int code, const InputFile& input, const std::string& file) {
    const bool png = formatOf(input.read(0, recognisedBytes)) == FormatPng;
    if (png && code == LumoErrorFile) return refusal(code, file, pngFault(input));
    if (code == LumoErrorInfoMissing || code == LumoErrorInfoInvalid)
        return CommandError(libraryError(code, file).what() + (" (" + infoName(file) + ')'), failed,
                            code);
    return libraryError(code, shownName(file));
}

}  // namespace lumo::cli
