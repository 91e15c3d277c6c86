// Messages to standard error, and texts from files made safe for a terminal.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumo::cli {

/// One line on standard error.
void printMessage(std::string_view text);

/// A remark about a file that was worked on all the same: "FILE: note: TEXT".
/// @param kind  the same for remarks that differ in the file only; of many files in one run, each
///              kind is reported once
void printNote(const std::string& file, std::string_view kind, const std::string& text);

/// What printMessage() (without kind and file) and printNote() were given.
struct Message {
    std::string file, kind, text;
};

/// While it lives, messages are kept instead of printed.
class KeptMessages {
public:
    KeptMessages();
    ~KeptMessages();
    KeptMessages(const KeptMessages&) = delete;
    KeptMessages& operator=(const KeptMessages&) = delete;

    [[nodiscard]] const std::vector<Message>& all() const { return messages_; }

private:
    std::vector<Message> messages_;
};

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
