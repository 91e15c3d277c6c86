// The values that a step's text gives for its options.
#include "steps/arguments.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "steps/step.h"
#include "steps/table.h"
#include "steps/values.h"
#include "steps/words.h"

namespace lumo {
namespace {

bool isKey(const StepOption& option) {
    return (option.flags & LumoOptionKey) != 0;
}

bool isPositional(const StepOption& option) {
    return (option.flags & LumoOptionPositional) != 0;
}

bool listHas(const char* list, std::string_view item) {
    return std::ranges::count(itemsOf(list), item) != 0;
}

[[noreturn]] void refuseText(const Step& step, LumoStepReport& report, const std::string& reason) {
    refuse(report, LumoErrorParameter, step.name + (": " + reason));
}

template <class Number>
Number numberIn(std::string_view text) {
    Number number{};
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// "; did you mean --mode?", or nothing.
std::string hint(std::string_view typed, const std::vector<std::string_view>& names,
                 const char* before, const char* behind) {
    const std::string_view meant = nearest(typed, names);
    return meant.empty() ? "" : "; did you mean " + (before + std::string(meant)) + behind + '?';
}

/// Reads the words behind a step's name.
class Reader {
public:
    Reader(const Step& step, std::vector<std::string> words, LumoStepReport& report)
        : words_(std::move(words)), report_(report), arguments_(step) {}

    StepArguments read() {
        const Step& step = arguments_.step();
        const bool hasKeys = !step.options.empty() && isKey(step.options.front());
        if (hasKeys) takeType();
        while (at_ < words_.size()) {
            const std::string& word = words_[at_];
            if (hasKeys)
                takeKey(word);
            else if (word.starts_with("--"))
                takeOption(word);
            else
                takePositional(word);
            ++at_;
        }
        arguments_.requireComplete(report_);
        if (step.check != nullptr) step.check(arguments_, report_);
        return arguments_;
    }

private:
    /// Which keys there are depends on it, wherever it stands.
    void takeType() {
        constexpr std::string_view key = "type=";
        for (const std::string& word : words_)
            if (lowered(word.substr(0, key.size())) == key)
                return arguments_.give(arguments_.step().options.front(), word.substr(key.size()),
                                       report_);
        refuseText(arguments_.step(), report_, "type= is missing");
    }

    void takeKey(const std::string& word) {
        const Step& step = arguments_.step();
        const std::size_t equals = word.find('=');
        const bool blankFollows = equals == std::string::npos && at_ + 1 < words_.size() &&
                                  words_[at_ + 1].starts_with('=');
        if (blankFollows || word.starts_with('=') ||
            (word.back() == '=' && at_ + 1 < words_.size()))
            refuseText(step, report_, quotedWord(word) + ": no blanks may stand around the =");
        if (equals == std::string::npos)
            refuseText(step, report_, quotedWord(word) + ": not of the form key=value");
        const std::string name = lowered(word.substr(0, equals));
        if (name == "type" && !typeTaken_) return void(typeTaken_ = true);
        std::vector<std::string_view> names;
        const std::string type = arguments_.text("type");
        for (const StepOption& option : step.options) {
            if (*option.commands != '\0' && !listHas(option.commands, type)) continue;
            if (option.name == name) return give(option, word.substr(equals + 1));
            names.emplace_back(option.name);
        }
        refuseText(step, report_,
                   type + " has no key " + quotedWord(name) + hint(name, names, "", "="));
    }

    void takeOption(const std::string& word) {
        const Step& step = arguments_.step();
        const std::size_t equals = std::min(word.find('='), word.size());
        const std::string name = word.substr(2, equals - 2);
        std::vector<std::string_view> names;
        for (const StepOption& option : step.options) {
            if (isPositional(option)) continue;
            if (option.name == name) return takeValue(option, word, equals);
            names.emplace_back(option.name);
        }
        refuseText(step, report_,
                   "there is no option " + quotedWord("--" + name) + hint(name, names, "--", ""));
    }

    void takeValue(const StepOption& option, const std::string& word, std::size_t equals) {
        const bool hasValue = equals < word.size();
        if (option.type == LumoOptionFlag) {
            if (hasValue)
                refuseText(arguments_.step(), report_, shownName(option) + " takes no value");
            return give(option, "");
        }
        if (hasValue) return give(option, word.substr(equals + 1));
        if (at_ + 1 == words_.size() || words_[at_ + 1].starts_with("--"))
            refuseText(arguments_.step(), report_, shownName(option) + " has no value");
        give(option, words_[++at_]);
    }

    void takePositional(const std::string& word) {
        for (const StepOption& option : arguments_.step().options)
            if (isPositional(option) && !arguments_.has(option.name)) return give(option, word);
        refuseText(arguments_.step(), report_, "not expected: " + quotedWord(word));
    }

    void give(const StepOption& option, const std::string& typed) {
        if (arguments_.has(option.name))
            refuseText(arguments_.step(), report_, shownName(option) + " is given twice");
        arguments_.give(option, typed, report_);
    }

    static std::string lowered(std::string text) {
        for (char& c : text)
            if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
        return text;
    }

    std::vector<std::string> words_;
    LumoStepReport& report_;
    StepArguments arguments_;
    std::size_t at_ = 1;
    bool typeTaken_ = false;
};

}  // namespace

bool StepArguments::has(std::string_view name) const {
    return values_.contains(name);
}

const StepOption& StepArguments::find(std::string_view name) const {
    return *std::ranges::find_if(step_->options, [&](const StepOption& option) {
        return option.name == name && belongs(option);
    });
}

/// Whether the option has a meaning for the type that is given.
bool StepArguments::belongs(const StepOption& option) const {
    if (*option.commands == '\0') return true;
    const auto type = values_.find("type");
    return type != values_.end() && listHas(option.commands, type->second);
}

std::string StepArguments::text(std::string_view name) const {
    const auto found = values_.find(name);
    return found != values_.end() ? found->second : find(name).standard;
}

double StepArguments::real(std::string_view name) const {
    return numberIn<double>(text(name));
}

int StepArguments::integer(std::string_view name) const {
    return numberIn<int>(text(name));
}

std::vector<std::int32_t> StepArguments::integers(std::string_view name) const {
    std::string all = text(name);
    std::ranges::replace(all, ',', ' ');
    std::vector<std::int32_t> numbers;
    for (const std::string_view item : itemsOf(all)) numbers.push_back(numberIn<int>(item));
    return numbers;
}

bool StepArguments::applies(const StepOption& option) const {
    const auto given = [this](std::string_view name) { return has(name); };
    return *option.standard != '\0' && !isKey(option) &&
           std::ranges::none_of(itemsOf(option.excludes), given) &&
           std::ranges::all_of(itemsOf(option.needs), given);
}

std::string StepArguments::normalForm() const {
    std::string all = step_->name;
    for (const StepOption& option : step_->options) {
        if (!belongs(option) || !(has(option.name) || applies(option))) continue;
        const std::string value = text(option.name);
        all += ' ';
        if (isKey(option))
            all += shownName(option) + value;
        else if (isPositional(option))
            all += quotedWord(value);
        else if (option.type == LumoOptionFlag)
            all += shownName(option);
        else
            all += shownName(option) + ' ' + quotedWord(value);
    }
    return all;
}

StepArguments StepArguments::with(std::string_view name, std::string value) const {
    StepArguments changed = *this;
    changed.values_[std::string(name)] = std::move(value);
    return changed;
}

StepArguments StepArguments::without(std::string_view name) const {
    StepArguments changed = *this;
    changed.values_.erase(std::string(name));
    return changed;
}

void StepArguments::give(const StepOption& option, std::string_view typed, LumoStepReport& report) {
    if (option.type == LumoOptionFlag) return void(values_[option.name]);
    const std::string what =
        std::string(step_->name) + ": " + shownName(option) + (isKey(option) ? "" : " ");
    values_[option.name] = normalValue(option, typed, what, report);
}

void StepArguments::requireCompany(const StepOption& option, LumoStepReport& report) const {
    for (const std::string_view other : itemsOf(option.needs))
        if (!has(other))
            refuseText(*step_, report, shownName(option) + " needs " + shownName(find(other)));
    for (const std::string_view other : itemsOf(option.excludes))
        if (has(other))
            refuseText(*step_, report,
                       shownName(option) + " does not go together with " + shownName(find(other)));
}

void StepArguments::requireComplete(LumoStepReport& report) const {
    for (const StepOption& option : step_->options) {
        if (has(option.name))
            requireCompany(option, report);
        else if ((option.flags & LumoOptionRequired) != 0 && belongs(option))
            refuseText(*step_, report, shownName(option) + " is missing");
    }
    const std::vector<std::string_view> oneOf = itemsOf(step_->oneOf);
    std::string names;
    for (const std::string_view name : oneOf) {
        if (has(name)) return;
        names += (names.empty()          ? ""
                  : name == oneOf.back() ? " or "
                                         : ", ") +
                 shownName(find(name));
    }
    if (!names.empty()) refuseText(*step_, report, names + " is missing");
}

StepArguments parseStep(std::string_view text, LumoStepReport& report) {
    std::optional<std::vector<std::string>> words = splitWords(text);
    if (!words)
        refuse(report, LumoErrorParameter,
               quotedWord(text) +
                   ": a quote that is not closed, or a "
                   "backslash in quotes that stands for no "
                   "byte");
    if (words->empty()) refuse(report, LumoErrorParameter, "there is no step in the text");
    const Step* step = findStep(words->front());
    if (step == nullptr)
        refuse(report, LumoErrorParameter,
               "there is no step " + quotedWord(words->front()) +
                   hint(words->front(), stepNames(), "", ""));
    return Reader(*step, std::move(*words), report).read();
}

std::uint32_t StepArguments::flags() const {
    return step_->flagsOf != nullptr ? step_->flagsOf(*this) : step_->flags;
}

std::string shownName(const StepOption& option) {
    if (isPositional(option)) return option.name;
    return isKey(option) ? std::string(option.name) + '=' : "--" + std::string(option.name);
}

std::string exactText(double number) {
    constexpr double readable = 1e15;  // whole numbers below are written without an exponent
    const bool whole = std::abs(number) < readable && number == std::trunc(number);
    char text[32];
    char* const end = text + sizeof text;
    number += 0.0;  // no "-0"
    return {text, whole ? std::to_chars(text, end, number, std::chars_format::fixed).ptr
                        : std::to_chars(text, end, number).ptr};
}

}  // namespace lumo
