// The options of a step on the command line, declared and explained from the library's table.
#include "cli/steps/options.h"

#include <sstream>

#include "cli/steps/applying.h"

namespace lumo::cli {
namespace {

bool isPositional(const LumoOptionInfo& option) {
    return (option.flags & LumoOptionPositional) != 0;
}

bool isNumber(const LumoOptionInfo& option) {
    return option.type == LumoOptionInteger || option.type == LumoOptionReal ||
           option.type == LumoOptionIntegers;
}

/// As short as it goes: "0.000001", "65535".
std::string shortNumber(double number) {
    std::ostringstream text;
    text.precision(10);
    text << number;
    return text.str();
}

/// "a b" as "--a, --b".
std::string optionNames(const std::string& list) {
    std::string names;
    std::istringstream words(list);
    for (std::string word; words >> word;) names += (names.empty() ? "--" : ", --") + word;
    return names;
}

std::string commas(std::string list) {
    for (std::size_t at = 0; (at = list.find(' ', at)) != std::string::npos; at += 2)
        list.replace(at, 1, ", ");
    return list;
}

/// Takes the lines off a text one by one.
std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

}  // namespace

StepDescription::StepDescription(const std::string& name) {
    for (int i = 0; i < LumoCountSteps(); ++i) {
        info_.size = sizeof info_;
        LumoDescribeStep(i, &info_);
        if (info_.name != name) continue;
        options_.resize(static_cast<std::size_t>(info_.optionCount));
        for (int k = 0; k < info_.optionCount; ++k) {
            LumoOptionInfo& option = options_[static_cast<std::size_t>(k)];
            option.size = sizeof option;
            LumoDescribeStepOption(i, k, &option);
        }
        return;
    }
    throw CommandError("lumo: the library knows no step " + name);
}

std::string StepDescription::examples(const std::string& verb, const std::string& files) const {
    std::string text = "Examples:";
    for (const std::string& line : linesOf(info_.examples)) {
        const std::size_t blank = std::min(line.find(' '), line.size());
        text += "\n  lumo " + verb + ' ' + files + line.substr(blank);
    }
    return text;
}

std::vector<LumoStepInfo> stepsOfTable() {
    std::vector<LumoStepInfo> steps;
    for (int i = 0; i < LumoCountSteps(); ++i) {
        LumoStepInfo info{};
        info.size = sizeof info;
        LumoDescribeStep(i, &info);
        if ((info.flags & LumoStepSource) == 0) steps.push_back(info);
    }
    return steps;
}

std::string detailsOf(const LumoOptionInfo& option) {
    std::vector<std::string> details;
    if (*option.unit != '\0') details.emplace_back(option.unit);
    if (isNumber(option))
        details.push_back(shortNumber(option.least) + " to " + shortNumber(option.largest));
    if (*option.choices != '\0') details.push_back(commas(option.choices));
    if (*option.standard != '\0') details.push_back(std::string("default ") + option.standard);
    if ((option.flags & LumoOptionRequired) != 0) details.emplace_back("required");
    if (*option.needs != '\0') details.push_back("with " + optionNames(option.needs));
    if (*option.excludes != '\0') details.push_back("not with " + optionNames(option.excludes));
    std::string text;
    for (const std::string& detail : details) text += (text.empty() ? "" : "; ") + detail;
    return text.empty() ? "" : " (" + text + ')';
}

void StepOptions::declare(CLI::App& verb) {
    for (const LumoOptionInfo& option : step_.options()) {
        Value& value = values_.emplace_back(Value{&option, nullptr, {}});
        const std::string text = option.summary + detailsOf(option);
        const std::string name = (isPositional(option) ? "" : "--") + std::string(option.name);
        if (option.type == LumoOptionFlag) {
            value.given = verb.add_flag(name, text);
            continue;
        }
        value.given = verb.add_option(name, value.text, text)->type_name(option.value);
        if (isPositional(option)) value.given->required();
    }
}

std::string StepOptions::text() const {
    std::string text = step_.info().name;
    for (const auto& [option, given, value] : values_) {
        if (given->count() == 0) continue;
        if (!isPositional(*option)) text += std::string(" --") + option->name;
        if (option->type == LumoOptionFlag) continue;
        // An '=' keeps a value from being taken for an option.
        text += (isPositional(*option) ? " " : "=") + quotedWord(value);
    }
    return text;
}

}  // namespace lumo::cli
