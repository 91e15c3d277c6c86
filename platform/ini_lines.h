// INI text as lines: which of them head a section, which are entries. Pure functions on text, for
// metadata and settings alike.
#pragma once

#include <bit>
#include <cstdint>
#include <optional>
#include <string_view>

namespace lumo::ini {

/// An entry's trimmed parts as they stand in the text.
struct Entry {
    std::string_view key, value;
};

constexpr bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

constexpr std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isBlank(text.back())) text.remove_suffix(1);
    while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
    return text;
}

/// The lines of a text in turn, each with its line end if it has one.
class Lines {
public:
    explicit Lines(std::string_view text) : text_(text) {}
    /// False at the end.
    bool next(std::string_view& line) {
        if (begin_ == text_.size()) return false;
        while (ends_ == 0 && searched_ < text_.size()) searchOn();
        const std::size_t end =
            ends_ ? block_ + static_cast<std::size_t>(std::countr_zero(ends_)) + 1 : text_.size();
        ends_ &= ends_ - 1;
        line = {text_.data() + begin_, end - begin_};
        begin_ = end;
        return true;
    }

private:
    void searchOn();

    std::string_view text_;
    std::size_t begin_ = 0;     // of the next line
    std::size_t block_ = 0;     // where the last 64 searched bytes begin
    std::size_t searched_ = 0;  // and where they end
    std::uint64_t ends_ = 0;  // line ends among them that were not yet reached, a bit for each byte
};

/// The first line, with its line end if it has one.
std::string_view firstLine(std::string_view text);

/// How many bytes of byte order marks the text begins with.
std::size_t byteOrderMarks(std::string_view text);

/// The trimmed name if the line begins with a section's header, "[name]".
std::optional<std::string_view> sectionName(std::string_view line);

struct SectionHeader {
    std::size_t at;         ///< where its line begins; the text's size if there is none
    std::string_view line;  ///< with its line end if it has one
    std::string_view name;
};

/// The first header that begins at `from` or behind it, in a text that begins with a line.
SectionHeader findHeader(std::string_view text, std::size_t from);

/// Takes a line apart as "key = value"; false for an empty line, a comment (';' or '#') and one
/// without '=' or key.
inline bool splitEntry(std::string_view line, Entry& entry) {
    line = trimmed(line);
    if (line.empty() || line[0] == ';' || line[0] == '#') return false;
    const std::size_t equals = line.find('=');
    if (equals == line.npos) return false;
    entry = {trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1))};
    return !entry.key.empty();
}

}  // namespace lumo::ini
