// Any numbers as a dump's layout, any bytes as the dump and as its sidecar: refused in words, or as
// many bytes as the layout says, and the pixels that the words hold by a decoder of its own.
#include "cli/files/dump.h"
#include "interchange/metadata_text.h"
#include "support.h"

namespace {

using namespace lumo::fuzz;
using namespace lumo::cli;

/// A word's value from its bits one by one, signed ones from below; -1 for bits that are no
/// value's.
std::int64_t valueOf(const DumpLayout& layout, std::uint32_t word) {
    const std::uint32_t low = layout.highBit + 1 - layout.bits;
    const std::uint32_t above = word >> (layout.highBit + 1);
    const std::uint32_t allAbove = (1U << (8 * layout.wordSize() - layout.highBit - 1)) - 1;
    const bool negative = layout.isSigned && (word >> layout.highBit & 1) != 0;
    if (above != 0 && !(negative && above == allAbove)) return -1;
    std::int64_t value = 0;
    for (std::uint32_t bit = 0; bit <= layout.highBit; ++bit) {
        if ((word >> bit & 1) == 0) continue;
        if (bit < low) return -1;
        value += std::int64_t{1} << (bit - low);
    }
    if (!layout.isSigned) return value;
    const std::int64_t half = std::int64_t{1} << (layout.bits - 1);
    return negative ? value - half : value + half;
}

void requireDecoded(const DumpLayout& layout, const Bytes& file, std::uint64_t place,
                    const lmImage& image) {
    for (std::uint64_t y = 0; y < layout.height; ++y)
        for (std::uint64_t x = 0; x < layout.width; ++x) {
            const std::size_t at = place + y * layout.stride + x * layout.wordSize();
            std::uint32_t word = littleEndian(file, at, layout.wordSize());
            if (layout.bigEndian && layout.wordSize() == 2) word = (word >> 8 | word << 8) & 0xFFFF;
            require(valueOf(layout, word) == image.data[y * layout.width + x],
                    "a pixel is its word's value");
        }
}

DumpSettings settingsFrom(Input& in) {
    constexpr const char* words[] = {"", "big", "little", "yes", "no", "x"};
    DumpSettings settings;
    for (const char* name : {"width", "height"}) settings[name] = std::to_string(in.byte());
    for (const char* name : {"bits", "high-bit", "offset"}) {
        const std::uint8_t number = in.byte();
        if (number > 0) settings[name] = std::to_string(number - 1);
    }
    const std::uint16_t stride = in.word();
    if (stride > 0) settings["stride"] = std::to_string(stride);
    settings["endian"] = in.oneOf(words);
    settings["signed"] = in.oneOf(words);
    if (in.byte() % 8 == 0) settings[in.text(10)] = in.text(30);
    return settings;
}

void importDump(Input& in) {
    const std::uint64_t frame = in.byte() % 4 + 1U;
    const std::string suffix = in.text(20);
    const DumpSettings settings = settingsFrom(in);
    const Bytes bytes = in.rest();
    const DumpLayout layout = parseLayout(settings, "--", failed);
    (void)proposalFor(layout, bytes.size(), suffix);
    if (layout.width == 0 || layout.height == 0) return;
    const std::uint64_t frames = framesIn(layout, bytes.size(), "a");
    const std::uint64_t expected = layout.offset + frames * layout.frameBytes();
    require(frames > 0 && (bytes.size() == expected ||
                           bytes.size() == expected - (layout.stride - layout.rowBytes())),
            "frames fill the file");
    if (frame > frames) return;
    const std::string name = fileNamed("a.bin");
    writeFile(name, bytes);
    const ImageHandle image = readDumpFrame(layout, openRegular(name), frame, "a");
    requireDecoded(layout, bytes, layout.offset + (frame - 1) * layout.frameBytes(), *image);
}

void takeSidecar(Input& in) {
    const Bytes text = in.rest();
    const auto entries =
        lumo::interchange::parseMetadata({reinterpret_cast<const char*>(text.data()), text.size()});
    require(lumo::interchange::parseMetadata(lumo::interchange::metadataText(entries)) == entries,
            "entries come back from their text");
    const std::string name = fileNamed("a.ini");
    writeFile(name, text);
    (void)parseLayout(readSidecar(name).settings, name, failed);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    try {
        if (in.byte() % 4 == 0)
            takeSidecar(in);
        else
            importDump(in);
    } catch (const CommandError& error) {
        require(*error.what() != '\0', "a refusal says why");
    }
    return 0;
}
