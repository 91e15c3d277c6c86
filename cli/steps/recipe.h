// Steps in text files: recipes, a step a line, and scripts of filter commands.
#pragma once

#include <string>
#include <vector>

#include "cli/steps/applying.h"

namespace lumo::cli {

/// The steps of a text file, one a line, each with its place; '#' begins a comment.
/// @param before  stands before each line, such as "filter "
[[nodiscard]] std::vector<StepText> readRecipe(const std::string& file,
                                               const std::string& before = "");

}  // namespace lumo::cli
