// Lines, marks and percent escapes of the settings store's text.
#include "frame/ini2_text.h"

#include <algorithm>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace lumo::ini {
namespace {

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool isControl(char c) {
    const auto code = static_cast<unsigned char>(c);
    return code < 0x20 || code == 0x7F;
}

std::string_view trim(std::string_view text) {
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    return text;
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
    const std::string_view inner = trim(plainText);
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
    return !text.starts_with(mark) && trim(text).size() == text.size() &&
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

void Lines::searchOn() {
    block_ = searched_;
    const char* const bytes = text_.data() + block_;
    const std::size_t count = std::min<std::size_t>(text_.size() - block_, 64);
    searched_ += count;
#ifdef __SSE2__  // a memchr for each line takes twice as long: lines are short
    if (count == 64) {
        for (int i = 0; i < 4; ++i) {
            const __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes) + i);
            const int equal = _mm_movemask_epi8(_mm_cmpeq_epi8(part, _mm_set1_epi8('\n')));
            ends_ |= static_cast<std::uint64_t>(equal) << 16 * i;
        }
        return;
    }
#endif
    for (std::size_t i = 0; i < count; ++i) ends_ |= std::uint64_t{bytes[i] == '\n'} << i;
}

std::string_view firstLine(std::string_view text) {
    const std::size_t end = text.find('\n');
    return end == text.npos ? text : text.substr(0, end + 1);
}

Header findHeader(std::string_view text, std::size_t from) {
    for (std::size_t at = from; (at = text.find('[', at)) != text.npos; ++at) {
        if (at > 0 && text[at - 1] != '\n') continue;
        std::size_t end = at;
        while (end < text.size() && text[end] != ']' && text[end] != '\n') ++end;
        if (end < text.size() && text[end] == ']')
            return {at, trim(text.substr(at + 1, end - at - 1))};
        at = end;
    }
    return {text.size(), {}};
}

std::string_view plain(std::string_view coded, std::string& scratch) {
    if (!coded.starts_with(mark)) return coded;
    scratch.clear();
    unescape(scratch, coded.substr(mark.size()));
    return scratch;
}

bool readEntry(std::string_view line, std::string& scratch, Entry& entry) {
    if (line.starts_with(lineMark)) {
        scratch = decodeLine(line).bytes;
        line = scratch;
    }
    line = trim(line);
    if (line.empty() || line[0] == ';' || line[0] == '#') return false;
    const std::size_t equals = line.find('=');
    if (equals == line.npos) return false;
    entry = {trim(line.substr(0, equals)), trim(line.substr(equals + 1))};
    return !entry.key.empty();
}

std::string_view findEntry(std::string_view text, std::string_view section, std::string_view key) {
    std::string scratch;
    for (Header header = findHeader(text, 0); header.at < text.size();) {
        if (plain(header.name, scratch) == section) {
            const std::size_t begin = header.at + firstLine(text.substr(header.at)).size();
            header = findHeader(text, begin);
            const std::string_view line = findEntry(text.substr(begin, header.at - begin), key);
            if (!line.empty()) return line;
        } else {
            header = findHeader(text, header.at + 1);
        }
    }
    return {};
}

bool mayBegin(std::string_view line, std::string_view key) {
    const char first = line[0];
    if (first == ';' || first == '%' || isBlank(first)) return true;
    if (key.empty()) return true;
    // Numbered keys differ at their ends: looking there first saves most calls.
    return key.size() <= line.size() && line[key.size() - 1] == key.back() && line.starts_with(key);
}

std::string_view findEntry(std::string_view text, std::string_view key) {
    std::string lineScratch, keyScratch;
    Entry entry;
    std::string_view line;
    for (Lines lines(text); lines.next(line);) {
        if (mayBegin(line, key) && readEntry(line, lineScratch, entry) &&
            plain(entry.key, keyScratch) == key)
            return line;
    }
    return {};
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
