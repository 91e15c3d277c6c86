// An image's metadata as the one text in which it travels inside files of other formats.
#include "interchange/metadata_text.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace lumo::interchange {

namespace {

/// Begins a text in which %XX stands for a byte, because it would not survive as it is.
constexpr std::string_view mark = "%lumo:";
constexpr std::string_view blanks = " \t\r\n";

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

bool isControl(char c) {
    const auto code = static_cast<std::uint8_t>(c);
    return code < 0x20 || code == 0x7F;
}

/// The text, escaped if it holds control characters, the special ones, or blanks at its ends.
std::string encode(std::string_view text, std::string_view special) {
    constexpr char digits[] = "0123456789ABCDEF";
    const bool survives = !text.starts_with(mark) && trimmed(text).size() == text.size() &&
                          std::ranges::none_of(text, isControl) &&
                          text.find_first_of(special) == std::string_view::npos;
    if (survives) return std::string(text);
    std::string coded(mark);
    for (const char c : text) {
        const auto code = static_cast<std::uint8_t>(c);
        if (isControl(c) || c == '%' || c == ' ' || special.find(c) != std::string_view::npos)
            coded += {'%', digits[code >> 4], digits[code & 15]};
        else
            coded += c;
    }
    return coded;
}

std::string encodeKey(std::string_view key) {
    constexpr std::string_view comments = "[;#";
    const bool strange = key.empty() || comments.find(key.front()) != std::string_view::npos;
    return encode(key, strange ? "=[;#" : "=");
}

std::string decode(std::string_view coded) {
    if (!coded.starts_with(mark)) return std::string(coded);
    coded.remove_prefix(mark.size());
    std::string text;
    while (!coded.empty()) {
        std::uint8_t code = 0;
        const char* const end = coded.data() + std::min<std::size_t>(coded.size(), 3);
        const bool escaped = coded.front() == '%' && coded.size() >= 3 &&
                             std::from_chars(coded.data() + 1, end, code, 16).ptr == end;
        text += escaped ? static_cast<char>(code) : coded.front();
        coded.remove_prefix(escaped ? 3 : 1);
    }
    return text;
}

}  // namespace

std::string metadataText(const std::vector<Entry>& entries) {
    std::string text;
    const std::string* section = nullptr;
    for (const Entry& entry : entries) {
        if (section == nullptr || *section != entry.section)
            text += '[' + encode(entry.section, "]") + "]\n";
        section = &entry.section;
        text += encodeKey(entry.key) + '=' + encode(entry.value, {}) + '\n';
    }
    return text;
}

std::vector<Entry> parseMetadata(std::string_view text) {
    std::vector<Entry> entries;
    std::string section;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = trimmed(text.substr(0, end));
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
        const std::size_t equals = line.find('=');
        if (line.starts_with('[') && line.ends_with(']'))
            section = decode(trimmed(line.substr(1, line.size() - 2)));
        else if (!line.starts_with(';') && !line.starts_with('#') &&
                 equals != std::string_view::npos)
            entries.push_back({section, decode(trimmed(line.substr(0, equals))),
                               decode(trimmed(line.substr(equals + 1)))});
    }
    return entries;
}

}  // namespace lumo::interchange
