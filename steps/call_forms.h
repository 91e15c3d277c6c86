// Steps in the form of a call: how the library's functions, and earlier programs, stand in a
// history.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lumo {

/// The step's text for a call such as "LumoRotateImage(angle=90)"; nothing for any other text.
[[nodiscard]] std::optional<std::string> stepOfCall(std::string_view recorded);

}  // namespace lumo
