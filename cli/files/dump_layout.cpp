// What is said of a headerless dump: numbers checked, sizes compared, a proposal where they differ.
#include <charconv>
#include <limits>
#include <optional>

#include "cli/files/dump.h"

namespace lumo::cli {

namespace {

constexpr std::uint64_t largestSide = 65535;
constexpr std::uint64_t largestOffset = std::numeric_limits<std::int64_t>::max() / 4;
constexpr std::uint64_t largestStride = std::uint64_t{1} << 40;

template <class Number>
bool parseWhole(std::string_view text, Number& value) {
    const auto [rest, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && rest == text.data() + text.size();
}

/// Settings as numbers, with an error that says where they come from.
class Reader {
public:
    Reader(const DumpSettings& settings, const std::string& origin, Status status)
        : settings_(settings), origin_(origin), status_(status) {}

    [[nodiscard]] std::string text(const std::string& name) const {
        const auto found = settings_.find(name);
        return found == settings_.end() ? "" : found->second;
    }
    [[nodiscard]] std::uint64_t number(const std::string& name, std::uint64_t fallback,
                                       std::uint64_t lowest, std::uint64_t highest) const {
        const std::string value = text(name);
        if (value.empty()) return fallback;
        std::uint64_t number = 0;
        if (!parseWhole(value, number) || number < lowest || number > highest)
            fail(name, "not " + std::to_string(lowest) + " to " + std::to_string(highest));
        return number;
    }
    /// Whether the second of two words is given; the first is the default.
    [[nodiscard]] bool choice(const std::string& name, const std::string& no,
                              const std::string& yes) const {
        const std::string value = text(name);
        if (!value.empty() && value != no && value != yes) fail(name, "not " + no + " or " + yes);
        return value == yes;
    }
    [[noreturn]] void fail(const std::string& name, const std::string& what) const {
        throw CommandError(origin_ + name + ' ' + text(name) + ": " + what, status_);
    }

private:
    const DumpSettings& settings_;
    const std::string& origin_;
    Status status_;
};

/// Two numbers of a name with an 'x' between them; none if there is not exactly one such place.
struct Sides {
    std::uint32_t width, height;
};
std::optional<Sides> sidesIn(std::string_view name) {
    constexpr std::string_view digits = "0123456789";
    std::optional<Sides> found;
    for (std::size_t x = name.find('x'); x != std::string_view::npos; x = name.find('x', x + 1)) {
        const std::size_t before = name.find_last_not_of(digits, x == 0 ? 0 : x - 1);
        const std::size_t begin = before == std::string_view::npos ? 0 : before + 1;
        const std::size_t end = std::min(name.find_first_not_of(digits, x + 1), name.size());
        Sides sides{};
        if (begin >= x || !parseWhole(name.substr(begin, x - begin), sides.width) ||
            !parseWhole(name.substr(x + 1, end - x - 1), sides.height))
            continue;
        if (found) return std::nullopt;
        found = sides;
    }
    return found;
}

/// Frames of a file that has exactly as many bytes, the last row's rest perhaps missing; 0 else.
std::uint64_t wholeFrames(const DumpLayout& layout, std::uint64_t fileSize) {
    const std::uint64_t frame = layout.frameBytes(), rest = layout.stride - layout.rowBytes();
    if (fileSize <= layout.offset) return 0;
    const std::uint64_t bytes = fileSize - layout.offset;
    if (bytes % frame == 0) return bytes / frame;
    return (bytes + rest) % frame == 0 ? (bytes + rest) / frame : 0;
}

}  // namespace

bool parseNanometres(const std::string& text, std::uint32_t& x, std::uint32_t& y) {
    const std::size_t comma = text.find(',');
    const std::string_view all = text;
    if (!parseWhole(all.substr(0, comma), x)) return false;
    y = x;
    if (comma != std::string::npos && !parseWhole(all.substr(comma + 1), y)) return false;
    return 1 <= x && x <= interchange::largestPitch && 1 <= y && y <= interchange::largestPitch;
}

DumpLayout parseLayout(const DumpSettings& settings, const std::string& origin, Status status) {
    const Reader from(settings, origin, status);
    DumpLayout layout;
    layout.width = static_cast<std::uint32_t>(from.number("width", 0, 1, largestSide));
    layout.height = static_cast<std::uint32_t>(from.number("height", 0, 1, largestSide));
    layout.bits = static_cast<std::uint32_t>(from.number("bits", 16, 1, 16));
    layout.highBit = static_cast<std::uint32_t>(
        from.number("high-bit", layout.bits - 1, layout.bits - 1, layout.wordSize() * 8 - 1));
    layout.bigEndian = from.choice("endian", "little", "big");
    layout.isSigned = from.choice("signed", "no", "yes");
    layout.offset = from.number("offset", 0, 0, largestOffset);
    layout.stride = from.number("stride", layout.rowBytes(), layout.rowBytes(), largestStride);
    const std::string pitch = from.text("pitch");
    if (!pitch.empty() && !parseNanometres(pitch, layout.pitchX, layout.pitchY))
        from.fail("pitch", "not one or two numbers of nanometres, 1 to 1000000000");
    return layout;
}

std::string DumpLayout::text() const {
    std::string options = "--width " + std::to_string(width) + " --height " +
                          std::to_string(height) + " --bits " + std::to_string(bits);
    if (highBit != bits - 1) options += " --high-bit " + std::to_string(highBit);
    if (bigEndian) options += " --endian big";
    if (offset != 0) options += " --offset " + std::to_string(offset);
    if (stride != rowBytes()) options += " --stride " + std::to_string(stride);
    if (isSigned) options += " --signed";
    return options;
}

std::uint64_t framesIn(const DumpLayout& layout, std::uint64_t fileSize, const std::string& file) {
    const std::uint64_t frames = wholeFrames(layout, fileSize);
    if (frames > 0) return frames;
    const std::uint64_t frame = layout.frameBytes(), bytes = layout.offset + frame;
    const std::string start = file + ": " + std::to_string(bytes) +
                              " bytes expected, the file has " + std::to_string(fileSize) + ": ";
    if (fileSize < bytes) throw CommandError(start + std::to_string(bytes - fileSize) + " fewer");
    const std::uint64_t more = (fileSize - layout.offset) % frame;
    const std::string several =
        fileSize - bytes < frame
            ? ""
            : " than " + std::to_string((fileSize - layout.offset) / frame) + " frames";
    throw CommandError(start + std::to_string(more) + " more" + several + " (a header? --offset " +
                       std::to_string(layout.offset + more) + ')');
}

std::string proposalFor(const DumpLayout& layout, std::uint64_t fileSize, const std::string& file) {
    const std::optional<Sides> sides = sidesIn(file.substr(file.rfind('/') + 1));
    if (!sides || sides->width == 0 || sides->height == 0 || sides->width > largestSide ||
        sides->height > largestSide)
        return "";
    DumpLayout proposed = layout;
    proposed.width = sides->width;
    proposed.height = sides->height;
    proposed.stride = proposed.rowBytes();
    if (wholeFrames(proposed, fileSize) == 0) return "";
    return "; its name and size suggest --width " + std::to_string(sides->width) + " --height " +
           std::to_string(sides->height);
}

}  // namespace lumo::cli
