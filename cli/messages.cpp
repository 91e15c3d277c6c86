// Control characters and bytes that are not UTF-8 never reach a terminal as they are.
#include "cli/messages.h"

#include <cstdint>
#include <iostream>

#include "cli/system/standard_streams.h"

namespace lumo::cli {

namespace {

/// A UTF-8 character's length, the smallest code point that needs it, and its first byte's mark.
struct Utf8Form {
    std::size_t length;
    char32_t smallest;
    std::uint8_t mask, bits;
};
constexpr Utf8Form utf8Forms[] = {
    {1, 0, 0x80, 0x00}, {2, 0x80, 0xE0, 0xC0}, {3, 0x800, 0xF0, 0xE0}, {4, 0x10000, 0xF8, 0xF0}};

const std::string eraseLine = "\r\x1B[K";
std::vector<Message>* keeper = nullptr;
bool progressShown = false;  // the last line on standard error is not finished

bool isControl(std::string_view character) {
    const auto first = static_cast<std::uint8_t>(character[0]);
    if (character.size() == 1) return first < 0x20 || first == 0x7F;
    // U+0080 to U+009F: terminals take them for control sequences too.
    return first == 0xC2 && static_cast<std::uint8_t>(character[1]) < 0xA0;
}

void appendEscaped(std::string& to, std::string_view bytes) {
    constexpr char digits[] = "0123456789ABCDEF";
    for (const char c : bytes) {
        const auto byte = static_cast<std::uint8_t>(c);
        to += "\\x";
        to += digits[byte >> 4];
        to += digits[byte & 15];
    }
}

}  // namespace

std::size_t utf8Length(std::string_view text) {
    if (text.empty()) return 0;
    const auto first = static_cast<std::uint8_t>(text[0]);
    for (const Utf8Form& form : utf8Forms) {
        if ((first & form.mask) != form.bits) continue;
        if (text.size() < form.length) return 0;
        char32_t code = first & static_cast<std::uint8_t>(~form.mask);
        for (std::size_t i = 1; i < form.length; ++i) {
            const auto next = static_cast<std::uint8_t>(text[i]);
            if ((next & 0xC0) != 0x80) return 0;
            code = code << 6 | (next & 0x3F);
        }
        const bool surrogate = 0xD800 <= code && code <= 0xDFFF;
        return code < form.smallest || code > 0x10FFFF || surrogate ? 0 : form.length;
    }
    return 0;
}

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const std::size_t length = utf8Length(text);
        const std::string_view character = text.substr(0, length == 0 ? 1 : length);
        if (length == 0 || isControl(character))
            appendEscaped(result, character);
        else
            result += character;
        text.remove_prefix(character.size());
    }
    return result;
}

void printMessage(std::string_view text) {
    if (keeper != nullptr) {
        keeper->push_back({"", "", std::string(text)});
        return;
    }
    std::cout.flush();  // keeps data and messages in order where both go to one terminal
    clearProgress();
    std::cerr << printable(text) + '\n';
}

void printNote(const std::string& file, std::string_view kind, const std::string& text) {
    if (keeper == nullptr) return printMessage(file + ": note: " + text);
    keeper->push_back({file, std::string(kind), text});
}

KeptMessages::KeptMessages() {
    keeper = &messages_;
}

KeptMessages::~KeptMessages() {
    keeper = nullptr;
}

void showProgress(std::string_view text) {
    if (!errorsGoToTerminal()) return;
    std::cout.flush();
    std::cerr << eraseLine + printable(text);
    progressShown = true;
}

void clearProgress() {
    if (progressShown) std::cerr << eraseLine;
    progressShown = false;
}

void endProgress() {
    if (progressShown) std::cerr << '\n';
    progressShown = false;
}

}  // namespace lumo::cli
