// The value of one option: checked strictly, and brought into its normal form.
#pragma once

#include <string>
#include <string_view>

struct LumoStepReport;

namespace lumo {

struct StepOption;

/// The value as the history holds it. Refuses any other, with words behind `what`, which names step
/// and option.
[[nodiscard]] std::string normalValue(const StepOption& option, std::string_view text,
                                      const std::string& what, LumoStepReport& report);

}  // namespace lumo
