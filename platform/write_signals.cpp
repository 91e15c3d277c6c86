// Blocks the signals of a failing write in this thread and swallows those that arrived meanwhile.
#include "platform/write_signals.h"

#include <cerrno>
#include <ctime>

namespace lumo {
namespace {

constexpr int writeSignals[] = {SIGXFSZ, SIGPIPE};

}  // namespace

WriteSignalGuard::WriteSignalGuard() noexcept {
    sigset_t pending;
    sigpending(&pending);
    sigemptyset(&raised_);
    for (const int signal : writeSignals)
        if (sigismember(&pending, signal) == 0) sigaddset(&raised_, signal);
    pthread_sigmask(SIG_BLOCK, &raised_, &previous_);
}

WriteSignalGuard::~WriteSignalGuard() {
    const int savedErrno = errno;
    const timespec now{};
    while (sigtimedwait(&raised_, nullptr, &now) > 0) {
    }
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
    errno = savedErrno;
}

}  // namespace lumo
