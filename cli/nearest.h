// The name that somebody may have meant who mistyped one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace lumo::cli {

/// The nearest of the names by letters left out, added, replaced or exchanged with their neighbour;
/// empty if none is near.
[[nodiscard]] std::string nearest(std::string_view mistyped, const std::vector<std::string>& names);

}  // namespace lumo::cli
