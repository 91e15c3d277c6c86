// The processing history of an image, and how the program's filter commands stand in it.
#pragma once

#include <map>
#include <string>

#include "lumo.h"

namespace lumo::cli {

constexpr const char filterStepPrefix[] = "filter ";

/// The steps by their numbers, which may have gaps. `file` is only named in errors.
[[nodiscard]] std::map<unsigned long, std::string> readHistory(lmImage* image,
                                                               const std::string& file);

}  // namespace lumo::cli
