// What a forked child needs: to know that it is one, and no lock that a lost thread holds.
#pragma once

#include <mutex>

namespace lumo {

/// Whether this process was forked since the library was loaded: of its parent's threads it has
/// only the one that forked.
[[nodiscard]] bool isForked() noexcept;

/// A lock that a fork waits for, so that a child always finds it free. Nothing is logged under it:
/// a line has such a lock of its own, and two are never held together.
[[nodiscard]] std::mutex& forkSafeLock() noexcept;

}  // namespace lumo
