// Work on many items side by side, each in a process of its own: one that dies takes no other with
// it.
#pragma once

#include <cstddef>
#include <functional>
#include <string>

namespace lumo::cli {

/// Processors that this process may use.
[[nodiscard]] int processors();

/// How the process of one item ended.
struct Ended {
    std::string result;  ///< what the work returned; in part or empty after a signal
    int signal;          ///< that killed it; 0 for none
};

/// Runs work(0) to work(count - 1) in child processes, at most `jobs` at once, and gives what they
/// returned to `report` in the order of the items. Interrupts go on to the children and end the
/// program when these have ended. Throws std::system_error if no process can be started.
void runSideBySide(std::size_t count, int jobs, const std::function<std::string(std::size_t)>& work,
                   const std::function<void(std::size_t, const Ended&)>& report);

/// The name of a signal for people, such as "Segmentation fault".
[[nodiscard]] std::string signalName(int signal);

}  // namespace lumo::cli
