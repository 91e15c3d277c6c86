// The processing history of an image, read through the library.
#pragma once

#include <string>
#include <vector>

#include "lumo.h"

namespace lumo::cli {

/// An entry; the fields are those of LumoHistoryStep.
struct HistoryStep {
    unsigned long number;
    unsigned flags;
    std::string recorded, text, reason;
};

/// The steps by their numbers, which may have gaps. `file` is only named in errors.
[[nodiscard]] std::vector<HistoryStep> readHistory(lmImage* image, const std::string& file);

}  // namespace lumo::cli
