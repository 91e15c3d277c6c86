// The value of one option: checked strictly, and brought into its normal form.
#include "steps/values.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "steps/step.h"
#include "steps/words.h"

namespace lumo {
namespace {

/// A value as it was typed.
struct Typed {
    const StepOption& option;
    std::string_view text;
    const std::string& what;
    LumoStepReport& report;

    [[noreturn]] void refuse(const std::string& reason) const {
        lumo::refuse(report, LumoErrorParameter, what + quotedWord(text) + ": " + reason);
    }
    [[noreturn]] void refuseRange() const {
        refuse("outside " + exactText(option.least) + " to " + exactText(option.largest));
    }
};

std::string lowerCase(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return lower;
}

/// A '+' is allowed, as people write it.
std::string_view withoutPlus(std::string_view text) {
    const bool plus = text.size() > 1 && text.front() == '+' && text[1] != '-';
    return plus ? text.substr(1) : text;
}

/// All of the text as a number of the type; else the result code says what is wrong.
template <class Number>
std::errc readAll(std::string_view text, Number& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc()) return error;
    return end == text.data() + text.size() ? std::errc() : std::errc::invalid_argument;
}

/// Octal to some and decimal to others.
bool hasLeadingZero(std::string_view digits) {
    if (digits.starts_with('-')) digits.remove_prefix(1);
    return digits.size() > 1 && digits.front() == '0';
}

bool isWhole(std::string_view digits) {
    if (digits.starts_with('-')) digits.remove_prefix(1);
    return !digits.empty() && digits.find_first_not_of("0123456789") == std::string_view::npos;
}

std::string wholeNumber(const Typed& typed, std::string_view text) {
    const std::string_view digits = withoutPlus(text);
    if (!isWhole(digits)) typed.refuse("no whole number");
    if (hasLeadingZero(digits)) typed.refuse("begins with a 0, which has two meanings");
    std::uint64_t large = 0;
    std::int64_t small = 0;
    const bool minus = digits.starts_with('-');
    const std::errc error = minus ? readAll(digits, small) : readAll(digits, large);
    const double number = minus ? static_cast<double>(small) : static_cast<double>(large);
    if (error != std::errc() || number < typed.option.least || number > typed.option.largest)
        typed.refuseRange();
    return minus ? std::to_string(small) : std::to_string(large);
}

std::string realNumber(const Typed& typed) {
    double number = 0;
    const std::errc error = readAll(withoutPlus(typed.text), number);
    if (error == std::errc::result_out_of_range) typed.refuse("too large or too small a number");
    if (error != std::errc() && typed.text.find(',') != std::string_view::npos)
        typed.refuse("no number; it is written with a decimal point");
    if (error != std::errc() || !std::isfinite(number)) typed.refuse("no number");
    if (number < typed.option.least || number > typed.option.largest) typed.refuseRange();
    return exactText(number);
}

std::string oneWord(const Typed& typed) {
    const std::vector<std::string_view> choices = itemsOf(typed.option.choices);
    std::string word = lowerCase(typed.text);
    std::string list;
    for (const std::string_view choice : choices) {
        if (choice == word) return word;
        list += (list.empty() ? "" : ", ") + std::string(choice);
    }
    const std::string_view meant = nearest(word, choices);
    typed.refuse("none of " + list +
                 (meant.empty() ? "" : "; did you mean " + std::string(meant) + '?'));
}

std::string wholeNumbers(const Typed& typed) {
    std::string all;
    std::string_view rest = typed.text;
    if (std::ranges::count(rest, ',') + 1 != typed.option.count)
        typed.refuse("not " + std::to_string(typed.option.count) +
                     " whole numbers separated by commas");
    for (int i = 0; i < typed.option.count; ++i) {
        const std::size_t end = std::min(rest.find(','), rest.size());
        if (i > 0) all += ',';
        all += wholeNumber(typed, rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return all;
}

}  // namespace

std::string normalValue(const StepOption& option, std::string_view text, const std::string& what,
                        LumoStepReport& report) {
    const Typed typed{option, text, what, report};
    switch (option.type) {
        case LumoOptionInteger:
            return wholeNumber(typed, text);
        case LumoOptionReal:
            return realNumber(typed);
        case LumoOptionChoice:
            return oneWord(typed);
        case LumoOptionIntegers:
            return wholeNumbers(typed);
        default:
            break;
    }
    if (text.empty()) typed.refuse("empty");
    return std::string(text);
}

}  // namespace lumo
