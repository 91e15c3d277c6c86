// The words of a step's text: separated by blanks, in quotes where they hold some.
#include "steps/words.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <numeric>
#include <utility>

namespace lumo {
namespace {

constexpr std::string_view blanks = " \t\r\n";

bool isBlank(char c) {
    return blanks.find(c) != std::string_view::npos;
}

/// Takes what follows a backslash in double quotes.
bool takeEscape(std::string_view& text, std::string& word) {
    if (text.empty()) return false;
    const char letter = text.front();
    text.remove_prefix(1);
    if (letter == '"' || letter == '\\') return word += letter, true;
    if (letter == 'n') return word += '\n', true;
    if (letter == 't') return word += '\t', true;
    if (letter != 'x' || text.size() < 2) return false;
    unsigned byte = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + 2, byte, 16);
    if (error != std::errc() || end != text.data() + 2 || byte == 0) return false;
    text.remove_prefix(2);
    word += static_cast<char>(byte);
    return true;
}

/// Takes the rest of a quoted part, its end included.
bool takeQuoted(std::string_view& text, char quote, std::string& word) {
    while (!text.empty()) {
        const char letter = text.front();
        text.remove_prefix(1);
        if (letter == quote) return true;
        if (letter != '\\' || quote == '\'')
            word += letter;
        else if (!takeEscape(text, word))
            return false;
    }
    return false;
}

bool takeWord(std::string_view& text, std::string& word) {
    while (!text.empty() && !isBlank(text.front())) {
        const char letter = text.front();
        text.remove_prefix(1);
        if (letter != '"' && letter != '\'')
            word += letter;
        else if (!takeQuoted(text, letter, word))
            return false;
    }
    return true;
}

/// Bytes of the printable UTF-8 character that the text begins with; 0 if it begins with none.
std::size_t printableLength(std::string_view text) {
    const auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned first = byte(0);
    if (first < 0x80) return first >= ' ' && first != 0x7F ? 1 : 0;
    const std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || text.size() < length) return 0;
    for (std::size_t i = 1; i < length; ++i)
        if ((byte(i) & 0xC0U) != 0x80) return 0;
    const unsigned second = byte(1);
    const bool control = first == 0xC2 && second < 0xA0;
    const bool overlong = (first == 0xE0 && second < 0xA0) || (first == 0xF0 && second < 0x90);
    const bool noLetter = (first == 0xED && second >= 0xA0) || (first == 0xF4 && second >= 0x90);
    return control || overlong || noLetter ? 0 : length;
}

bool isPlain(std::string_view word) {
    if (word.empty() || word.front() == '#') return false;
    if (word.find_first_of(" \"'") != std::string_view::npos) return false;
    for (std::size_t length = 0; !word.empty(); word.remove_prefix(length))
        if ((length = printableLength(word)) == 0) return false;
    return true;
}

/// Letters to change, to add, to leave out or to exchange with their neighbour.
std::size_t distance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> before, above(b.size() + 1), row(b.size() + 1);
    std::iota(above.begin(), above.end(), std::size_t{0});
    for (std::size_t i = 1; i <= a.size(); ++i) {
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            row[j] =
                std::min({above[j] + 1, row[j - 1] + 1, above[j - 1] + (a[i - 1] != b[j - 1])});
            const bool exchanged = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
            if (exchanged) row[j] = std::min(row[j], before[j - 2] + 1);
        }
        before = std::exchange(above, row);
    }
    return above.back();
}

}  // namespace

std::optional<std::vector<std::string>> splitWords(std::string_view text) {
    std::vector<std::string> words;
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
        if (text.empty() || text.front() == '#') return words;
        words.emplace_back();
        if (!takeWord(text, words.back())) return std::nullopt;
    }
}

std::string quotedWord(std::string_view word) {
    if (isPlain(word)) return std::string(word);
    std::string text = "\"";
    for (std::size_t length = 0; !word.empty(); word.remove_prefix(length)) {
        const std::size_t printable = printableLength(word);
        length = std::max(printable, std::size_t{1});
        const char first = word.front();
        if (printable > 0) {
            if (first == '"' || first == '\\') text += '\\';
            text += word.substr(0, length);
        } else if (first == '\n' || first == '\t') {
            text += first == '\n' ? "\\n" : "\\t";
        } else {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02X", static_cast<unsigned char>(first));
            text += escape;
        }
    }
    return text + '"';
}

std::vector<std::string_view> itemsOf(std::string_view list) {
    std::vector<std::string_view> items;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(' '), list.size());
        items.push_back(list.substr(0, end));
        list.remove_prefix(std::min(end + 1, list.size()));
    }
    return items;
}

std::string_view nearest(std::string_view typed, const std::vector<std::string_view>& names) {
    constexpr std::size_t longest = 40;  // nobody mistypes a name into a longer one
    std::string_view best;
    std::size_t least = std::max<std::size_t>(1, (typed.size() + 1) / 3) + 1;
    if (typed.size() > longest) return best;
    for (const std::string_view name : names)
        if (const std::size_t changes = distance(typed, name); changes < least) {
            least = changes;
            best = name;
        }
    return best;
}

}  // namespace lumo
