// A program that runs beside this one for a single task, with descriptors handed over and a limit
// to its silence.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstddef>
#include <string>
#include <vector>

#include "cli/system/descriptor.h"

namespace lumo::cli {

/// The folder that the running program lies in, with its slash; empty if the system does not say.
[[nodiscard]] std::string programFolder();
/// Whether there is a program of this name.
[[nodiscard]] bool isProgram(const std::string& file);

/// How a child ended.
struct Ending {
    int signal = 0;         ///< that ended it; 0 if it ended by itself
    int status = 0;         ///< its exit status
    bool overTime = false;  ///< it used up its processor time, or was silent for too long
};

/// A descriptor of ours, and the number that it shall have in the child.
struct Handover {
    int ours, theirs;
};

/// The child's standard output comes here, and what is sent goes to its standard input unless that
/// is handed over; its standard error goes nowhere. Killed, if it still runs, with the object.
class Child {
public:
    /// Throws std::system_error if the program cannot be started.
    Child(const std::string& program, const std::vector<std::string>& arguments,
          const std::vector<Handover>& handovers, std::chrono::milliseconds longestSilence);
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    /// What the child writes, up to the count; fewer at its end, or if it was silent for too long.
    [[nodiscard]] std::size_t read(void* to, std::size_t count);
    /// Sends bytes; false if the child does not take them.
    [[nodiscard]] bool send(const void* from, std::size_t count);
    /// Ends what is sent.
    void endInput() { input_.close(); }

    /// Whether the child's output has ended, or it was silent for too long.
    [[nodiscard]] bool finished() const { return finished_; }
    /// Stops a child that has more to say than expected.
    void kill();
    /// Waits for the end of a child whose output has ended, not longer than for its silence.
    Ending wait();

private:
    bool ready(const Descriptor& descriptor, short event);

    std::chrono::milliseconds longestSilence_;
    Descriptor input_, output_;
    pid_t process_ = -1;
    bool silent_ = false, finished_ = false;
};

}  // namespace lumo::cli
