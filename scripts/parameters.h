// Parameters in a filter command: pairs of key and value anywhere in a text.
#pragma once

#include <cstddef>
#include <string>

namespace lumo {

/// Values longer than this are cut.
constexpr std::size_t longestName = 63;

/// The text after the first occurrence of the key (which ends in '='), up to a blank, tab or line
/// break, at most longestName characters; the fallback when the key is absent.
[[nodiscard]] std::string Get_ParamString(const std::string& command, const char* key,
                                          const char* fallback);

/// The decimal number directly after the key, in any locale: 0 if none begins there; the fallback
/// when the key is absent or the number is beyond `limit` in size.
[[nodiscard]] double Get_ParamDouble(const std::string& command, const char* key, double fallback,
                                     double limit = 0x1.fffffffffffffp1023);

/// The integer directly after the key: 0x begins a hexadecimal, 0 an octal number; 0 if none begins
/// there; held to the range of int; the fallback when the key is absent.
[[nodiscard]] int Get_ParamInt(const std::string& command, const char* key, int fallback);

/// Truncates toward zero, held to the range of int; NaN gives 0.
[[nodiscard]] int toInt(double value);

}  // namespace lumo
