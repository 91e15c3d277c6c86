// Large pages for large buffers.
#pragma once

#include <cstddef>

namespace lumo {

/// Asks the system for large pages in a buffer that was not touched yet: fewer of them have to be
/// made and looked up. Does nothing where it cannot be had.
void preferHugePages(void* buffer, std::size_t bytes) noexcept;

}  // namespace lumo
