// What a verb of the program is. To add one: a file in verbs/ with its set-up function, declared in
// verbs/verbs.h, and its row in the table of verbs/verbs.cpp.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "cli/error.h"

namespace lumo::cli {

/// A verb's work, done once its command line has been read.
using Work = std::function<Status()>;

/// A verb. `setUp` declares arguments and options and returns the work; what the two share lives in
/// a std::shared_ptr that the work holds.
struct Verb {
    const char* name;
    const char* summary;
    Work (*setUp)(CLI::App& verb);
    const char* examples;  ///< command lines, one a line, without the program's name
};

}  // namespace lumo::cli
