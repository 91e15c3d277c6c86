// Numbers in the texts of a DICOM file, the same in every locale.
#include "interchange/dicom/numbers.h"

#include <charconv>
#include <cmath>

namespace lumo::interchange::dicom {

namespace {

template <class Number>
std::optional<Number> whole(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
    Number value{};
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || rest != end) return std::nullopt;
    return value;
}

}  // namespace

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks(" \t\r\n\0", 5);
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

std::vector<std::string_view> valuesOf(std::string_view text) {
    std::vector<std::string_view> values;
    while (true) {
        const std::size_t end = text.find('\\');
        values.push_back(trimmed(text.substr(0, end)));
        if (end == std::string_view::npos) return values;
        text.remove_prefix(end + 1);
    }
}

std::optional<double> decimal(std::string_view text) {
    const std::optional<double> value = whole<double>(text);
    return value && std::isfinite(*value) ? value : std::nullopt;
}

std::optional<std::int64_t> integer(std::string_view text) {
    return whole<std::int64_t>(text);
}

std::string counted(std::uint64_t count, const char* noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

std::string decimalText(double value) {
    constexpr std::ptrdiff_t longest = 16;
    char text[64];
    const auto [shortest, error] = std::to_chars(text, text + sizeof text, value);
    if (error == std::errc() && shortest - text <= longest) return {text, shortest};
    for (int digits = longest; digits > 0; --digits) {
        const auto [end, tooLong] =
            std::to_chars(text, text + sizeof text, value, std::chars_format::general, digits);
        if (tooLong == std::errc() && end - text <= longest) return {text, end};
    }
    return "0";
}

}  // namespace lumo::interchange::dicom
