// Comma-separated values, for spreadsheets.
#pragma once

#include <string>

namespace lumo::cli {

/// A field of a CSV file.
[[nodiscard]] inline std::string csvField(const std::string& text) {
    if (text.find_first_of(",\"\n\r") == std::string::npos) return text;
    std::string quoted = "\"";
    for (const char letter : text)
        quoted += letter == '"' ? std::string("\"\"") : std::string(1, letter);
    return quoted + '"';
}

}  // namespace lumo::cli
