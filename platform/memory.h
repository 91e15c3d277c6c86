// Blocks from malloc() that are freed with their owner.
#pragma once

#include <cstdlib>
#include <memory>

namespace lumo {

struct FreeDeleter {
    void operator()(void* block) const noexcept { std::free(block); }
};
/// A block from malloc().
template <class Element>
using MallocPtr = std::unique_ptr<Element[], FreeDeleter>;

/// The bytes that a block from malloc() takes: what was asked for and what the allocator added.
[[nodiscard]] std::size_t blockSize(void* block) noexcept;

}  // namespace lumo
