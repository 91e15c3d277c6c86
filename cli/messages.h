// Messages to standard error, and texts from files made safe for a terminal.
#pragma once

#include <string>
#include <string_view>

namespace lumo::cli {

/// One line on standard error.
void printMessage(std::string_view text);

/// A line that the next one replaces, if standard error is a terminal; nothing else is written
/// there.
void showProgress(std::string_view text);
/// Makes room for data on standard output. Messages do so themselves.
void clearProgress();
/// Ends the line.
void endProgress();

/// The text with control characters, and bytes that are not UTF-8, as \xNN: one line whatever it
/// holds, and nothing that a terminal would obey.
[[nodiscard]] std::string printable(std::string_view text);

/// Length of the UTF-8 character that the text begins with; 0 if it does not begin with one.
[[nodiscard]] std::size_t utf8Length(std::string_view text);

}  // namespace lumo::cli
