// The text form of the settings store: the escapes by which any name, key, value or body line
// survives in INI text. An escape begins with our own mark, so foreign text is never mistaken.
#pragma once

#include <string>
#include <string_view>

#include "platform/ini_lines.h"

namespace lumo::ini {

/// Begins an escaped key, value or section name.
inline constexpr std::string_view mark = "%lumo:";
/// Begins an escaped line of a section body; a comment to every other reader of INI text.
inline constexpr std::string_view lineMark = ";%lumo:";
/// Begins a comment that was given to a set and that a later set may replace.
inline constexpr std::string_view commentMark = ";: ";

/// A line of a section body without its escape.
struct BodyLine {
    std::string bytes;
    bool ended;  ///< has a line end; only the last line of a body may lack it
};

/// The line's text without its line end.
std::string_view withoutEnd(std::string_view line);

/// An escaped line without line end, which may stand only at the end of a section.
bool isOpenLine(std::string_view line);

/// The meaning of a key, value or name; the scratch holds it if it was escaped.
std::string_view plain(std::string_view coded, std::string& scratch);

/// Reads a line as an entry; the scratch holds its text if the line was escaped.
bool readEntry(std::string_view line, std::string& scratch, Entry& entry);

BodyLine decodeLine(std::string_view line);
void encodeLine(std::string& text, std::string_view bytes, bool ended);

/// The bytes that the text of a section's body stands for, and the other way round.
std::string decodeBody(std::string_view text);
std::string encodeBody(std::string_view bytes);

std::string entryLine(std::string_view key, std::string_view value);
std::string commentLine(std::string_view comment);
std::string headerLine(std::string_view name, const char* comment);

}  // namespace lumo::ini
