// Reading of filter parameters: key search, numbers, names. Locale-independent.
#include "scripts/parameters.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>

namespace lumo {
namespace {

/// What follows the key; without a data pointer when the key is absent.
std::string_view valueOf(std::string_view command, const char* key) {
    const std::size_t at = command.find(key);
    return at == std::string_view::npos ? std::string_view{}
                                        : command.substr(at + std::strlen(key));
}

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Removes a sign; true for a minus.
bool takeSign(std::string_view& text) {
    const bool sign = !text.empty() && (text.front() == '-' || text.front() == '+');
    const bool minus = sign && text.front() == '-';
    if (sign) text.remove_prefix(1);
    return minus;
}

/// Separates too large from too small for a number that does not fit: the position of its first
/// significant digit before (positive) or behind the decimal point, its exponent added.
bool isLarge(std::string_view number) {
    const std::size_t letter = std::min(number.find_first_of("eE"), number.size());
    const std::string_view mantissa = number.substr(0, letter);
    const auto point = static_cast<std::ptrdiff_t>(std::min(mantissa.find('.'), mantissa.size()));
    const auto digit = static_cast<std::ptrdiff_t>(mantissa.find_first_of("123456789"));
    std::string_view exponent = number.substr(std::min(letter + 1, number.size()));
    const bool minus = takeSign(exponent);
    int power = exponent.empty() ? 0 : INT_MAX;  // stays if it has too many digits
    std::from_chars(exponent.data(), exponent.data() + exponent.size(), power);
    return point - digit + std::ptrdiff_t{minus ? -1 : 1} * power > 0;
}

/// The number at the start of an unsigned text; infinite when too large.
double readDouble(std::string_view text) {
    const bool digitFirst = !text.empty() && (isDigit(text.front()) || text.front() == '.');
    if (!digitFirst) return 0.0;  // also "inf" and "nan"
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc::result_out_of_range) return value;
    const std::string_view number(text.data(), static_cast<std::size_t>(end - text.data()));
    return isLarge(number) ? std::numeric_limits<double>::infinity() : 0.0;
}

}  // namespace

std::string Get_ParamString(const std::string& command, const char* key, const char* fallback) {
    const std::string_view value = valueOf(command, key);
    if (value.data() == nullptr) return fallback;
    return std::string(value.substr(0, std::min(value.find_first_of(" \t\r\n"), longestName)));
}

double Get_ParamDouble(const std::string& command, const char* key, double fallback, double limit) {
    std::string_view value = valueOf(command, key);
    if (value.data() == nullptr) return fallback;
    const bool minus = takeSign(value);
    const double number = readDouble(value);
    if (number > limit) return fallback;
    return minus ? -number : number;
}

int Get_ParamInt(const std::string& command, const char* key, int fallback) {
    std::string_view value = valueOf(command, key);
    if (value.data() == nullptr) return fallback;
    const bool minus = takeSign(value);
    int base = 10;
    if (value.starts_with("0x")) {
        base = 16;
        value.remove_prefix(2);
    } else if (value.starts_with('0')) {
        base = 8;
    }
    std::uint64_t number = 0;
    const auto [end, error] =
        std::from_chars(value.data(), value.data() + value.size(), number, base);
    if (error == std::errc::result_out_of_range) number = UINT64_MAX;
    const std::uint64_t largest = std::uint64_t{INT_MAX} + (minus ? 1U : 0U);
    const auto held = static_cast<std::int64_t>(std::min(number, largest));
    return static_cast<int>(minus ? -held : held);
}

int toInt(double value) {
    if (std::isnan(value)) return 0;
    return static_cast<int>(std::clamp(value, double{INT_MIN}, double{INT_MAX}));
}

}  // namespace lumo
