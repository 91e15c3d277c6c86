// Why a file could not be read, in words for people.
#pragma once

#include "cli/error.h"
#include "cli/system/input_file.h"

namespace lumo::cli {

/// Throws a CommandError for a file that no reader need look at: another program's, an empty one,
/// an XYZ file that is shorter than its header says.
void refuseHopeless(const InputFile& input, const std::string& file);

/// The failure of a reader, with what is wrong with the file where that can be seen.
[[nodiscard]] CommandError readingError(int code, const InputFile& input, const std::string& file);

}  // namespace lumo::cli
