// The value of an element as text.
#include "interchange/dicom/element_text.h"

#include <algorithm>

#include "interchange/dicom/numbers.h"

namespace lumo::interchange::dicom {

namespace {

/// Value representations whose text is in the file's character set; all others are ASCII.
bool isText(std::string_view vr) {
    constexpr std::string_view texts[] = {"LO", "SH", "PN", "ST", "LT", "UC", "UT"};
    return std::ranges::find(texts, vr) != std::end(texts);
}

bool isPlain(std::string_view bytes) {
    return std::ranges::all_of(bytes, [](char c) {
        return (0x20 <= c && c < 0x7F) || c == '\n' || c == '\r' || c == '\t' || c == '\f';
    });
}

/// Length of the UTF-8 character that the bytes begin with; 0 if they begin with none.
std::size_t characterLength(std::string_view bytes) {
    const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(bytes[i]); };
    const std::uint8_t first = byte(0);
    if (first < 0x80) return isPlain(bytes.substr(0, 1)) ? 1 : 0;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || bytes.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0) != 0x80) return 0;
    const bool overlong = (first == 0xE0 && byte(1) < 0xA0) || (first == 0xF0 && byte(1) < 0x90);
    const bool beyond = (first == 0xED && byte(1) > 0x9F) || (first == 0xF4 && byte(1) > 0x8F);
    return overlong || beyond ? 0 : length;
}

/// Bytes that are no characters as <E4>; the others stay if `utf8` says that they may be
/// characters.
std::string escaped(std::string_view bytes, bool utf8, bool& any) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string text;
    while (!bytes.empty()) {
        const auto byte = static_cast<std::uint8_t>(bytes.front());
        const std::size_t length = utf8 || byte < 0x80 ? characterLength(bytes) : 0;
        if (length == 0) {
            text += {'<', digits[byte >> 4], digits[byte & 15], '>'};
            any = true;
        } else {
            text += bytes.substr(0, length);
        }
        bytes.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return text;
}

std::string withoutPadding(std::string text) {
    const std::size_t last = text.find_last_not_of(std::string_view(" \0", 2));
    text.resize(last == std::string::npos ? 0 : last + 1);
    return text;
}

/// The bytes of a value whose representation the file does not give, or gives wrongly.
std::optional<std::string> fromBytes(DcmElement& element, std::string_view vr) {
    Uint8* bytes = nullptr;
    if (element.getUint8Array(bytes).bad() || bytes == nullptr) return std::nullopt;
    const std::size_t count = element.getLength();
    if (vr == "US" || vr == "SS" || vr == "xs") {
        if (count != 2) return std::nullopt;
        const int word = bytes[0] | bytes[1] << 8;
        return std::to_string(vr == "SS" && word >= 0x8000 ? word - 0x10000 : word);
    }
    if (vr == "FL" || vr == "FD" || vr == "SQ") return std::nullopt;
    return std::string(bytes, bytes + count);
}

std::optional<std::string> rawText(DcmElement& element, std::string_view vr) {
    switch (element.ident()) {
        case EVR_SQ:
        case EVR_pixelSQ:
        case EVR_PixelData:
            return std::nullopt;
        case EVR_UN:
        case EVR_OB:
        case EVR_OW:
        case EVR_ox:
        case EVR_UNKNOWN:
        case EVR_UNKNOWN2B:
            return fromBytes(element, vr);
        default:
            break;
    }
    if (element.isaString()) {
        char* text = nullptr;
        Uint32 length = 0;
        if (element.getString(text, length).bad() || text == nullptr) return std::nullopt;
        return std::string(text, length);
    }
    OFString text;
    if (element.getOFStringArray(text).bad()) return std::nullopt;
    return std::string(text.c_str(), text.size());
}

}  // namespace

std::string plainText(DcmElement& element) {
    Uint8* bytes = nullptr;
    char* text = nullptr;
    Uint32 length = 0;
    if (element.isaString() && element.getString(text, length).good() && text != nullptr)
        return std::string(trimmed({text, length}));
    if (element.isaString() || element.getUint8Array(bytes).bad() || bytes == nullptr) return "";
    return std::string(trimmed(std::string(bytes, bytes + element.getLength())));
}

std::string plainText(DcmItem& dataset, const DcmTagKey& tag) {
    DcmElement* element = nullptr;
    if (dataset.findAndGetElement(tag, element).bad() || element == nullptr) return "";
    return plainText(*element);
}

std::string escapedText(std::string_view text) {
    bool any = false;
    return escaped(text, true, any);
}

std::string ElementText::converted(std::string bytes, bool isName) {
    if (!selected_) {
        selected_ = true;
        selectable_ = converter_.selectCharacterSet(dataset_).good();
    }
    OFString text;
    const OFString source(bytes.data(), bytes.size());
    bool any = false;
    if (!selectable_ || converter_.convertString(source, text, isName ? "\\^=" : "\\").bad())
        bytes = escaped(bytes, false, any);
    else
        bytes = escaped({text.data(), text.size()}, true, any);
    if (any) ++escaped_;
    return bytes;
}

std::optional<std::string> ElementText::of(DcmElement& element, const Attribute& attribute) {
    const std::string_view vr = attribute.vr;
    std::optional<std::string> raw = rawText(element, vr);
    if (!raw) return std::nullopt;
    std::string text = withoutPadding(std::move(*raw));
    if (isPlain(text)) return text;
    if (isText(vr)) return converted(std::move(text), vr == "PN");
    bool any = false;
    text = escaped(text, false, any);
    if (any) ++escaped_;
    return text;
}

std::string ElementText::of(const Attribute& attribute) {
    DcmElement* element = nullptr;
    const DcmTagKey tag(attribute.group, attribute.element);
    if (dataset_.findAndGetElement(tag, element).bad() || element == nullptr) return "";
    return of(*element, attribute).value_or("");
}

std::string ElementText::of(const char* technicalKeyword) {
    const Attribute* const attribute = findAttribute(technicalSection, technicalKeyword);
    return attribute == nullptr ? "" : of(*attribute);
}

std::optional<std::int64_t> ElementText::number(const char* technicalKeyword) {
    return integer(of(technicalKeyword));
}

}  // namespace lumo::interchange::dicom
