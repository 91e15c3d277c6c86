// The processing history of an image as steps.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "lumo.h"
#include "steps/arguments.h"

namespace lumo {

/// An entry as it stands in the metadata.
struct RecordedStep {
    std::uint32_t number;
    std::string text;
};

/// The entries in the order of their numbers, which may have gaps.
[[nodiscard]] std::vector<RecordedStep> recordedSteps(const lmImage& image);

/// The step that an entry stands for, also in the forms of the library's own functions. Nothing if
/// it is none; `reason` says why.
[[nodiscard]] std::optional<StepArguments> stepOf(const std::string& recorded,
                                                  std::string* reason = nullptr);

}  // namespace lumo
