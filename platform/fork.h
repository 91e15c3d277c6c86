// What a forked child needs: to know that it is one, and no lock that a lost thread holds.
#pragma once

#include <mutex>

namespace lumo {

/// Whether this process was forked since the library was loaded: of its parent's threads it has
/// only the one that forked.
[[nodiscard]] bool isForked() noexcept;

/// The library's one lock. A fork waits for it, so that a child always finds it free.
[[nodiscard]] std::mutex& forkSafeLock() noexcept;

}  // namespace lumo
