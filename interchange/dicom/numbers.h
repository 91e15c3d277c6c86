// Numbers in the texts of a DICOM file, the same in every locale.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::interchange::dicom {

/// The text without the blanks and zeros at its ends.
[[nodiscard]] std::string_view trimmed(std::string_view text);

/// The values between backslashes, trimmed.
[[nodiscard]] std::vector<std::string_view> valuesOf(std::string_view text);

/// A decimal number with blanks around it and perhaps a leading '+'; none for anything else, for
/// what is not finite, too.
[[nodiscard]] std::optional<double> decimal(std::string_view text);
[[nodiscard]] std::optional<std::int64_t> integer(std::string_view text);

/// "1 element", "2 elements".
[[nodiscard]] std::string counted(std::uint64_t count, const char* noun);

/// At most 16 characters, the most that a decimal string may have, and no more digits than needed.
[[nodiscard]] std::string decimalText(double value);

}  // namespace lumo::interchange::dicom
