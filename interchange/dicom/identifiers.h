// Unique identifiers: making them, and whether a text is one.
#pragma once

#include <string>
#include <string_view>

namespace lumo::interchange::dicom {

/// "2.25." and a random UUID as a decimal number: unique without a registered root.
[[nodiscard]] std::string newIdentifier();

/// Digits in parts between dots, none with a zero in front, at most 64 characters.
[[nodiscard]] bool isIdentifier(std::string_view text);

}  // namespace lumo::interchange::dicom
