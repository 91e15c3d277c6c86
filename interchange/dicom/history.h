// The processing history among a picture's entries, and what of it changed the picture how.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "interchange/picture.h"

namespace lumo::interchange::dicom {

inline constexpr char historySection[] = "PerformedSteps";

/// The steps in the order of their numbers.
[[nodiscard]] std::vector<std::string> stepsOf(const std::vector<Entry>& entries);

/// Whether the step moved pixels or left some out.
[[nodiscard]] bool isGeometric(std::string_view step);

}  // namespace lumo::interchange::dicom
