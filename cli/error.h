// How a verb ends: exit statuses, and the exception that carries a failure to main().
#pragma once

#include <stdexcept>
#include <string>

namespace lumo::cli {

/// Exit statuses of the program.
enum Status : int { done = 0, failed = 1, wrongCommandLine = 2 };

/// Ends a verb; the text goes to standard error as one line.
class CommandError : public std::runtime_error {
public:
    explicit CommandError(const std::string& text, Status exitStatus = failed, int resultCode = 0)
        : std::runtime_error(text), status(exitStatus), code(resultCode) {}
    Status status;
    int code;  ///< the library's code for it; 0 for a failure that the program found itself
};

/// A command line that is wrong in a way that the option parser cannot see.
inline CommandError usageError(const std::string& text) {
    return CommandError(text, wrongCommandLine);
}

}  // namespace lumo::cli
