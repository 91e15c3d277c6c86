// Handlers that the system runs around each fork, registered when the library is loaded.
#include "platform/fork.h"

#include <pthread.h>

#include <atomic>

namespace lumo {
namespace {

constinit std::mutex lock;
constinit std::atomic<bool> forked{false};

void beforeFork() {
    lock.lock();
}

void inParent() {
    lock.unlock();
}

void inChild() {
    forked = true;
    lock.unlock();
}

/// Unloading the library takes the handlers back.
[[maybe_unused]] const int registered = pthread_atfork(beforeFork, inParent, inChild);

}  // namespace

bool isForked() noexcept {
    return forked;
}

std::mutex& forkSafeLock() noexcept {
    return lock;
}

}  // namespace lumo
