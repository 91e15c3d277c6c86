// The words of a step's text: separated by blanks, in quotes where they hold some.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumo {

/// Splits a text into its words; a '#' at the start of a word begins a comment. Nothing if a quote
/// is not closed or an escape in it is none.
[[nodiscard]] std::optional<std::vector<std::string>> splitWords(std::string_view text);

/// The word as it stands in a text: in double quotes if it is empty or holds what would end it. The
/// result is one line of UTF-8 without control characters, whatever the word holds.
[[nodiscard]] std::string quotedWord(std::string_view word);

/// The items of a list that blanks separate, as the table of steps holds them.
[[nodiscard]] std::vector<std::string_view> itemsOf(std::string_view list);

/// The name that a mistyped one was meant to be; empty if none is near.
[[nodiscard]] std::string_view nearest(std::string_view typed,
                                       const std::vector<std::string_view>& names);

}  // namespace lumo
