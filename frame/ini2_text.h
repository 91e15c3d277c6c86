// The text form of the settings store: what a line is, and the escapes by which any name, value or
// body line survives in it. An escape begins with our own mark, so foreign text is never mistaken.
#pragma once

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

/// Cuts the first line, with its line end if it has one, off the text.
inline std::string_view takeLine(std::string_view& text) {
    const std::string_view line = text.substr(0, text.find('\n'));
    const std::string_view taken(line.data(), line.size() + (line.size() < text.size()));
    text.remove_prefix(taken.size());
    return taken;
}

/// The line's text without its line end.
std::string_view withoutEnd(std::string_view line);

/// An escaped line without line end, which may stand only at the end of a section.
bool isOpenLine(std::string_view line);

/// Where the next section header begins, seen from a line start; npos if there is none.
std::size_t findHeader(std::string_view text, std::size_t from);

/// The name in a header line, as it stands there.
std::string_view headerName(std::string_view header);

/// The meaning of a key, value or name; the scratch holds it if it was escaped.
std::string_view plain(std::string_view coded, std::string& scratch);

/// Reads a line as an entry; the scratch holds its text if the line was escaped.
bool readEntry(std::string_view line, std::string& scratch, Entry& entry);

/// The line of the first entry with this key, or an empty view.
std::string_view findEntry(std::string_view text, std::string_view key);

/// False for most lines whose key does not begin with these characters.
bool mayBegin(std::string_view line, std::string_view key);

BodyLine decodeLine(std::string_view line);
void encodeLine(std::string& text, std::string_view bytes, bool ended);

std::string entryLine(std::string_view key, std::string_view value);
std::string commentLine(std::string_view comment);
std::string headerLine(std::string_view name, const char* comment);

}  // namespace lumo::ini
