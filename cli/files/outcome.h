// What became of one file of a batch, as a worker hands it to the program.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "cli/error.h"
#include "cli/messages.h"

namespace lumo::cli {

struct Outcome {
    bool succeeded = true;
    int code = 0;                    ///< of the failure
    std::string error;               ///< its text
    std::string printed;             ///< for standard output
    std::vector<std::string> parts;  ///< of Records
    std::vector<Message> messages;
};

[[nodiscard]] std::string encode(const Outcome& outcome);

/// Nothing if the bytes are not whole: the worker died while it wrote them.
[[nodiscard]] std::optional<Outcome> decode(std::string_view bytes);

}  // namespace lumo::cli
