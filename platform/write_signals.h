// Keeps the signals that a failing write raises (file too large, broken pipe) out of the host.
#pragma once

#include <csignal>

namespace lumo {

/// While alive, a write beyond the file-size limit or into a closed pipe fails with an error code
/// instead of a signal in this thread. A signal that was pending before stays pending.
class WriteSignalGuard {
public:
    WriteSignalGuard() noexcept;
    ~WriteSignalGuard();
    WriteSignalGuard(const WriteSignalGuard&) = delete;
    WriteSignalGuard& operator=(const WriteSignalGuard&) = delete;

private:
    sigset_t raised_;    ///< the signals of a write that this guard has to swallow
    sigset_t previous_;  ///< the thread's mask before
};

}  // namespace lumo
