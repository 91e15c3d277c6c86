// Marks and percent escapes of the settings store's text.
#include "frame/ini2_text.h"

#include <algorithm>

namespace lumo::ini {
namespace {

bool isControl(char c) {
    const auto code = static_cast<unsigned char>(c);
    return code < 0x20 || code == 0x7F;
}

int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

void escape(std::string& text, char c) {
    constexpr char digits[] = "0123456789ABCDEF";
    const auto code = static_cast<unsigned char>(c);
    text += {'%', digits[code >> 4], digits[code & 15]};
}

/// Control characters, '%' and the given ones are escaped, blanks only at the ends.
void escapeAll(std::string& text, std::string_view plainText, std::string_view special) {
    const std::string_view inner = trimmed(plainText);
    for (const char& c : plainText) {
        const bool outside = &c < inner.data() || &c >= inner.data() + inner.size();
        const bool escaped =
            isControl(c) || c == '%' || (c == ' ' && outside) || special.find(c) != special.npos;
        if (escaped) {
            escape(text, c);
        } else {
            text.push_back(c);
        }
    }
}

/// A percent sign that begins no escape stands for itself.
void unescape(std::string& text, std::string_view coded) {
    for (std::size_t i = 0; i < coded.size(); ++i) {
        const bool whole = coded[i] == '%' && i + 2 < coded.size();
        const int high = whole ? hexDigit(coded[i + 1]) : -1;
        const int low = whole ? hexDigit(coded[i + 2]) : -1;
        const bool escaped = high >= 0 && low >= 0;
        text.push_back(escaped ? static_cast<char>(high * 16 + low) : coded[i]);
        if (escaped) i += 2;
    }
}

bool survives(std::string_view text) {
    return !text.starts_with(mark) && trimmed(text).size() == text.size() &&
           std::none_of(text.begin(), text.end(), isControl);
}

std::string encode(std::string_view text, std::string_view special) {
    std::string coded(mark);
    escapeAll(coded, text, special);
    return coded;
}

std::string encodeKey(std::string_view key) {
    constexpr std::string_view first = "[;#";
    const bool asIs = !key.empty() && survives(key) && key.find('=') == key.npos &&
                      first.find(key.front()) == first.npos;
    return asIs ? std::string(key) : encode(key, "=");
}

std::string encodeValue(std::string_view value) {
    return survives(value) ? std::string(value) : encode(value, {});
}

std::string encodeName(std::string_view name) {
    const bool asIs = survives(name) && name.find(']') == name.npos;
    return asIs ? std::string(name) : encode(name, "]");
}

}  // namespace

std::string_view withoutEnd(std::string_view line) {
    for (const char end : {'\n', '\r'})
        if (line.ends_with(end)) line.remove_suffix(1);
    return line;
}

bool isOpenLine(std::string_view line) {
    return line.starts_with(lineMark) && withoutEnd(line).ends_with('%');
}

std::string_view plain(std::string_view coded, std::string& scratch) {
    if (!coded.starts_with(mark)) return coded;
    scratch.clear();
    unescape(scratch, coded.substr(mark.size()));
    return scratch;
}

bool readEntry(std::string_view line, std::string& scratch, Entry& entry) {
    if (!line.starts_with(lineMark)) return splitEntry(line, entry);
    scratch = decodeLine(line).bytes;
    return splitEntry(scratch, entry);
}

BodyLine decodeLine(std::string_view line) {
    BodyLine decoded{{}, !isOpenLine(line)};
    line = withoutEnd(line.substr(lineMark.size()));
    if (!decoded.ended) line.remove_suffix(1);
    unescape(decoded.bytes, line);
    return decoded;
}

void encodeLine(std::string& text, std::string_view bytes, bool ended) {
    const bool asIs = ended && !bytes.starts_with('[') && !bytes.starts_with(lineMark) &&
                      bytes.find_first_of(std::string_view("\0\n", 2)) == bytes.npos;
    if (asIs) {
        text.append(bytes);
    } else {
        text.append(lineMark);
        escapeAll(text, bytes, {});
        if (!ended) text.push_back('%');
    }
    text.push_back('\n');
}

std::string decodeBody(std::string_view text) {
    std::string bytes;
    std::string_view line;
    for (Lines lines(text); lines.next(line);) {
        if (!line.starts_with(lineMark)) {
            bytes.append(line);
            continue;
        }
        const BodyLine decoded = decodeLine(line);
        bytes.append(decoded.bytes);
        if (decoded.ended && line.ends_with('\n')) bytes.push_back('\n');
    }
    return bytes;
}

std::string encodeBody(std::string_view bytes) {
    std::string text;
    std::string_view line;
    for (Lines lines(bytes); lines.next(line);) {
        const bool isEnded = line.ends_with('\n');
        if (isEnded) line.remove_suffix(1);
        encodeLine(text, line, isEnded);
    }
    return text;
}

std::string entryLine(std::string_view key, std::string_view value) {
    return encodeKey(key) + '=' + encodeValue(value) + '\n';
}

std::string commentLine(std::string_view comment) {
    if (comment.empty()) return {};
    std::string line(commentMark);
    line.append(comment);
    std::replace_if(line.begin(), line.end(), isControl, ' ');
    return line + '\n';
}

std::string headerLine(std::string_view name, const char* comment) {
    const std::string line = '[' + encodeName(name) + ']';
    return comment && *comment ? line + ' ' + commentLine(comment) : line + '\n';
}

}  // namespace lumo::ini
