// The values that a step's text gives for its options.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

struct LumoStepReport;

namespace lumo {

struct Step;
struct StepOption;

/// Values in their normal form, checked one by one; an option that is not given has its default.
class StepArguments {
public:
    explicit StepArguments(const Step& step) : step_(&step) {}

    [[nodiscard]] const Step& step() const { return *step_; }
    [[nodiscard]] bool has(std::string_view name) const;
    /// Empty without value and default.
    [[nodiscard]] std::string text(std::string_view name) const;
    [[nodiscard]] double real(std::string_view name) const;
    [[nodiscard]] int integer(std::string_view name) const;
    [[nodiscard]] std::vector<std::int32_t> integers(std::string_view name) const;

    /// The step's text: the options in the table's order, with their defaults but for keys.
    [[nodiscard]] std::string normalForm() const;
    /// ::LumoStepFlag of the step with these very arguments.
    [[nodiscard]] std::uint32_t flags() const;
    /// The arguments with other values, in normal form.
    [[nodiscard]] StepArguments with(std::string_view name, std::string value) const;
    [[nodiscard]] StepArguments without(std::string_view name) const;

    /// Takes a value as it was typed; refuses what is not allowed there.
    void give(const StepOption& option, std::string_view typed, LumoStepReport& report);
    /// Refuses what is missing, or does not go together.
    void requireComplete(LumoStepReport& report) const;

private:
    [[nodiscard]] const StepOption& find(std::string_view name) const;
    [[nodiscard]] bool applies(const StepOption& option) const;
    [[nodiscard]] bool belongs(const StepOption& option) const;
    void requireCompany(const StepOption& option, LumoStepReport& report) const;

    const Step* step_;
    std::map<std::string, std::string, std::less<>> values_;  // by the options' names
};

/// Reads a text; refuses what is not allowed.
[[nodiscard]] StepArguments parseStep(std::string_view text, LumoStepReport& report);

/// The option as it is written: "--lo", "size=", "TABLE".
[[nodiscard]] std::string shownName(const StepOption& option);

/// As few digits as give the same number back.
[[nodiscard]] std::string exactText(double number);

}  // namespace lumo
