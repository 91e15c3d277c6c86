// Standard output as a promise: what was printed there arrived, or the program says that it did
// not.
#pragma once

#include <string_view>

namespace lumo::cli {

/// Whether messages go to a terminal.
[[nodiscard]] bool errorsGoToTerminal();

/// Writes a text to standard error, without the help of memory.
void writeToErrors(const char* text) noexcept;

/// Writes bytes to standard output behind what was printed there; false with errno set if that
/// fails.
[[nodiscard]] bool writeToOutput(std::string_view bytes);

/// Flushes standard output; false if anything written there was lost.
[[nodiscard]] bool finishOutput();

}  // namespace lumo::cli
