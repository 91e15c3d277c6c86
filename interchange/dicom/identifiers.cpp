// Unique identifiers: making them, and whether a text is one.
#include "interchange/dicom/identifiers.h"

#include <algorithm>
#include <array>
#include <cstdint>

#include "interchange/system.h"

namespace lumo::interchange::dicom {

namespace {

using Uuid = std::array<std::uint8_t, 16>;

/// Of version 4: all random but six bits.
Uuid randomUuid() {
    Uuid uuid{};
    fillRandomly(uuid.data(), uuid.size());
    uuid[6] = static_cast<std::uint8_t>((uuid[6] & 0x0F) | 0x40);
    uuid[8] = static_cast<std::uint8_t>((uuid[8] & 0x3F) | 0x80);
    return uuid;
}

/// Divides the number by ten and returns the rest.
int divideByTen(Uuid& number) {
    int rest = 0;
    for (std::uint8_t& digit : number) {
        const int value = rest * 256 + digit;
        digit = static_cast<std::uint8_t>(value / 10);
        rest = value % 10;
    }
    return rest;
}

}  // namespace

std::string newIdentifier() {
    Uuid number = randomUuid();
    std::string digits;
    while (std::ranges::any_of(number, [](std::uint8_t digit) { return digit != 0; }))
        digits += static_cast<char>('0' + divideByTen(number));
    std::ranges::reverse(digits);
    return "2.25." + digits;
}

bool isIdentifier(std::string_view text) {
    constexpr std::size_t longest = 64;
    if (text.empty() || text.size() > longest) return false;
    std::size_t begin = 0;
    while (true) {
        const std::size_t end = std::min(text.find('.', begin), text.size());
        const std::string_view part = text.substr(begin, end - begin);
        const bool digits = !part.empty() && part.find_first_not_of("0123456789") == part.npos;
        if (!digits || (part.size() > 1 && part.front() == '0')) return false;
        if (end == text.size()) return true;
        begin = end + 1;
    }
}

}  // namespace lumo::interchange::dicom
