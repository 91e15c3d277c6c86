// Pixels of headerless dumps, read and written.
#include "cli/files/dump.h"

#include <algorithm>
#include <bit>
#include <system_error>

#include "interchange/metadata_text.h"

namespace lumo::cli {

namespace {

constexpr std::size_t blockSize = 256 << 10;     // bytes; stays in the cache while it is decoded
constexpr std::size_t largestSidecar = 8 << 20;  // bytes

/// Where a value lies in its word.
struct Field {
    std::uint32_t shift, mask, above, below, sign;

    explicit Field(const DumpLayout& layout)
        : shift(layout.highBit + 1 - layout.bits),
          mask((1U << layout.bits) - 1),
          above((1U << (8 * layout.wordSize())) - (1U << (layout.highBit + 1))),
          below((1U << shift) - 1),
          sign(layout.signOffset()) {}

    [[nodiscard]] std::uint32_t value(std::uint32_t word) const {
        return ((word >> shift) & mask) ^ sign;
    }
    /// Bits that belong to no value. A negative one may fill those above it with its sign.
    [[nodiscard]] std::uint32_t strange(std::uint32_t word) const {
        const bool negative = (word >> shift & sign) != 0;
        const std::uint32_t expected = negative && (word & above) == above ? above : 0;
        return (word ^ expected) & (above | below);
    }
};

/// The first column with strange bits; `count` without one.
template <class Fetch>
std::size_t decode(const Field& field, std::size_t count, std::uint16_t* to, Fetch fetch) {
    std::uint32_t strange = 0;
    for (std::size_t x = 0; x < count; ++x) {
        const std::uint32_t word = fetch(x);
        strange |= field.strange(word);
        to[x] = static_cast<std::uint16_t>(field.value(word));
    }
    if (strange == 0) return count;
    std::size_t x = 0;
    while (field.strange(fetch(x)) == 0) ++x;
    return x;
}

/// Whether words are in the file as they will be in memory, if they hold nothing but their value.
bool isRaster(const DumpLayout& layout) {
    constexpr bool littleMachine = std::endian::native == std::endian::little;
    return littleMachine && layout.bits > 8 && layout.highBit + 1 == layout.bits &&
           !layout.bigEndian && !layout.isSigned && layout.stride == layout.rowBytes();
}

[[noreturn]] void endsEarly(const std::string& file) {
    throw CommandError(file + ": ends early; it was cut while it was read");
}

[[noreturn]] void refuseValue(const DumpLayout& layout, std::uint64_t x, std::uint64_t y,
                              const std::string& file) {
    throw CommandError(file + ": the value in column " + std::to_string(x) + ", row " +
                       std::to_string(y) + " has bits outside its " + std::to_string(layout.bits) +
                       " up to bit " + std::to_string(layout.highBit));
}

/// Reads where the pixels shall be, and looks at them there while they are in the cache.
void readRaster(const DumpLayout& layout, const Descriptor& input, std::uint64_t place,
                lmImage& image, const std::string& file) {
    const std::size_t count = std::size_t{image.width} * image.height;
    const std::uint32_t strange = 0xFFFFU << layout.bits;
    constexpr std::size_t pixelsInBlock = blockSize / sizeof(std::uint16_t);
    for (std::size_t begin = 0; begin < count; begin += pixelsInBlock) {
        const std::size_t part = std::min(pixelsInBlock, count - begin);
        std::uint16_t* const pixels = image.data + begin;
        if (readAt(input, pixels, part * sizeof *pixels, place + begin * sizeof *pixels) !=
            part * sizeof *pixels)
            endsEarly(file);
        std::uint16_t all = 0;
        for (std::size_t i = 0; i < part; ++i) all |= pixels[i];
        if ((all & strange) == 0) continue;
        std::size_t i = 0;
        while ((pixels[i] & strange) == 0) ++i;
        refuseValue(layout, (begin + i) % image.width, (begin + i) / image.width, file);
    }
}

void decodeFrame(const DumpLayout& layout, const Descriptor& input, std::uint64_t place,
                 lmImage& image, const std::string& file) {
    const std::uint64_t rowsInBlock = std::max<std::uint64_t>(blockSize / layout.stride, 1);
    // Of a block's last row the rest is not read: it need not exist, and a stride may be huge.
    std::vector<std::uint8_t> block((rowsInBlock - 1) * layout.stride + layout.rowBytes());
    for (std::uint64_t top = 0; top < layout.height; top += rowsInBlock) {
        const std::uint64_t rows = std::min(rowsInBlock, layout.height - top);
        const std::size_t bytes = (rows - 1) * layout.stride + layout.rowBytes();
        if (readAt(input, block.data(), bytes, place + top * layout.stride) != bytes)
            endsEarly(file);
        for (std::uint64_t y = 0; y < rows; ++y) {
            std::uint16_t* const to = image.data + (top + y) * layout.width;
            const std::size_t x = decodeRow(layout, block.data() + y * layout.stride, to);
            if (x < layout.width) refuseValue(layout, x, top + y, file);
        }
    }
}

}  // namespace

std::size_t decodeRow(const DumpLayout& layout, const std::uint8_t* row, std::uint16_t* to) {
    const Field field(layout);
    if (layout.wordSize() == 1)
        return decode(field, layout.width, to,
                      [row](std::size_t x) { return std::uint32_t{row[x]}; });
    if (layout.bigEndian)
        return decode(field, layout.width, to, [row](std::size_t x) {
            return std::uint32_t{row[2 * x]} << 8 | row[2 * x + 1];
        });
    return decode(field, layout.width, to,
                  [row](std::size_t x) { return std::uint32_t{row[2 * x + 1]} << 8 | row[2 * x]; });
}

ImageHandle readDumpFrame(const DumpLayout& layout, const Descriptor& input, std::uint64_t frame,
                          const std::string& file) {
    const std::uint64_t place = layout.offset + (frame - 1) * layout.frameBytes();
    ImageHandle image =
        createImage(static_cast<int>(layout.width), static_cast<int>(layout.height), file);
    try {
        if (isRaster(layout))
            readRaster(layout, input, place, *image, file);
        else
            decodeFrame(layout, input, place, *image, file);
    } catch (const std::system_error& error) {
        throw CommandError(file + ": " + error.code().message());
    }
    return image;
}

Sidecar readSidecar(const std::string& file) {
    const Descriptor input = openRegular(file);
    if (!input.valid())
        throw CommandError(file + ": cannot be opened (" + std::generic_category().message(errno) +
                           ')');
    if (sizeOf(input) > largestSidecar) throw CommandError(file + ": too long for a sidecar file");
    std::string text(sizeOf(input), '\0');
    text.resize(readAt(input, text.data(), text.size(), 0));
    Sidecar sidecar;
    bool described = false;
    for (interchange::Entry& entry : interchange::parseMetadata(text)) {
        const bool isDump = entry.section == "Dump";
        described |= isDump;
        if (isDump)
            sidecar.settings.emplace(entry.key, entry.value);  // the first counts, as everywhere
        else if (text.find('\0') == std::string::npos)
            sidecar.entries.push_back(std::move(entry));
    }
    if (!described) throw CommandError(file + ": has no section [Dump]");
    return sidecar;
}

std::string sidecarText(const lmImage& image, std::uint32_t bits,
                        const std::vector<interchange::Entry>& entries) {
    std::vector<interchange::Entry> all = {
        {"Dump", "width", std::to_string(image.width)},
        {"Dump", "height", std::to_string(image.height)},
        {"Dump", "bits", std::to_string(bits <= 8 ? 16 : bits)},
        {"Dump", "endian", "little"},
        {"Dump", "pitch",
         std::to_string(image.pixelsizeX) + ',' + std::to_string(image.pixelsizeY)}};
    for (const interchange::Entry& entry : entries)
        if (entry.section != "Dump") all.push_back(entry);
    return interchange::metadataText(all);
}

void writeDump(const lmImage& image, const Descriptor& output, const std::string& file) {
    const std::size_t count = std::size_t{image.width} * image.height;
    try {
        if (std::endian::native == std::endian::little) {
            writeAll(output, image.data, count * sizeof(std::uint16_t));
            return;
        }
        std::vector<std::uint8_t> row(std::size_t{image.width} * 2);
        for (std::size_t i = 0; i < count;) {
            for (std::size_t x = 0; x < image.width; ++x, ++i) {
                row[2 * x] = static_cast<std::uint8_t>(image.data[i]);
                row[2 * x + 1] = static_cast<std::uint8_t>(image.data[i] >> 8);
            }
            writeAll(output, row.data(), row.size());
        }
    } catch (const std::system_error& error) {
        throw CommandError(libraryError(LumoErrorWrite, file).what() +
                           (" (" + error.code().message() + ')'));
    }
}

}  // namespace lumo::cli
