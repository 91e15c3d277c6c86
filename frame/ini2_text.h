// The text form of the settings store: what a line is, and the escapes by which any name, value or
// body line survives in it. An escape begins with our own mark, so foreign text is never mistaken.
#pragma once

#include <bit>
#include <cstdint>
#include <string>
#include <string_view>

namespace lumo::ini {

/// Begins an escaped key, value or section name.
inline constexpr std::string_view mark = "%lumo:";
/// Begins an escaped line of a section body; a comment to every other reader of INI text.
inline constexpr std::string_view lineMark = ";%lumo:";
/// Begins a comment that was given to a set and that a later set may replace.
inline constexpr std::string_view commentMark = ";: ";

/// An entry's trimmed parts as they stand in the text; plain() gives what they mean.
struct Entry {
    std::string_view key, value;
};

/// A line of a section body without its escape.
struct BodyLine {
    std::string bytes;
    bool ended;  ///< has a line end; only the last line of a body may lack it
};

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

/// The line's text without its line end.
std::string_view withoutEnd(std::string_view line);

/// An escaped line without line end, which may stand only at the end of a section.
bool isOpenLine(std::string_view line);

/// The first line, with its line end if it has one.
std::string_view firstLine(std::string_view text);

struct Header {
    std::size_t at;         ///< where its line begins; the text's size if there is none
    std::string_view name;  ///< as it stands there, trimmed
};

/// The first section header that begins at `from` or behind it, in a text that begins with a line.
Header findHeader(std::string_view text, std::size_t from);

/// The meaning of a key, value or name; the scratch holds it if it was escaped.
std::string_view plain(std::string_view coded, std::string& scratch);

/// Reads a line as an entry; the scratch holds its text if the line was escaped.
bool readEntry(std::string_view line, std::string& scratch, Entry& entry);

/// The line of the first entry with this key, or an empty view.
std::string_view findEntry(std::string_view text, std::string_view key);
/// The same in the sections of this name.
std::string_view findEntry(std::string_view text, std::string_view section, std::string_view key);

/// False for most lines whose key does not begin with these characters.
bool mayBegin(std::string_view line, std::string_view key);

BodyLine decodeLine(std::string_view line);
void encodeLine(std::string& text, std::string_view bytes, bool ended);

std::string entryLine(std::string_view key, std::string_view value);
std::string commentLine(std::string_view comment);
std::string headerLine(std::string_view name, const char* comment);

}  // namespace lumo::ini
