// The options of a step on the command line, declared and explained from the library's table.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "cli/command.h"
#include "lumo_steps.h"

namespace lumo::cli {

/// A row of the table, found by its name.
class StepDescription {
public:
    explicit StepDescription(const std::string& name);

    [[nodiscard]] const LumoStepInfo& info() const { return info_; }
    [[nodiscard]] const std::vector<LumoOptionInfo>& options() const { return options_; }
    /// Its examples as command lines.
    /// @param files  what stands for the files, such as "in.png out.png"
    [[nodiscard]] std::string examples(const std::string& verb, const std::string& files) const;

private:
    LumoStepInfo info_{};
    std::vector<LumoOptionInfo> options_;
};

/// All steps that change a picture.
[[nodiscard]] std::vector<LumoStepInfo> stepsOfTable();

/// Unit, range, choices, default and company of an option in parentheses; empty if there are none.
[[nodiscard]] std::string detailsOf(const LumoOptionInfo& option);

/// A step's options as a verb's own. What is wrong with them is left to the library to say.
class StepOptions {
public:
    explicit StepOptions(const StepDescription& step) : step_(step) {}
    void declare(CLI::App& verb);
    /// The step's text, once the command line has been read.
    [[nodiscard]] std::string text() const;

private:
    struct Value {
        const LumoOptionInfo* option;
        CLI::Option* given;
        std::string text;
    };

    const StepDescription& step_;
    std::deque<Value> values_;  // whose places stay
};

}  // namespace lumo::cli
