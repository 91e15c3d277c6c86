// Large pages for fresh rasters: a page fault for every 4 KiB costs more than to fill them.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__linux__)
#include <sys/mman.h>
#endif

namespace lumo {

/// Asks for large pages behind a block before it is first written. A wish: it may have no effect.
inline void preferHugePages([[maybe_unused]] void* block, [[maybe_unused]] std::size_t bytes) {
#if defined(__linux__)
    constexpr std::uintptr_t page = 2U << 20U;
    const auto address = reinterpret_cast<std::uintptr_t>(block);
    const std::uintptr_t first = (address + page - 1) / page * page;
    const std::uintptr_t end = (address + bytes) / page * page;
    if (first < end)
        madvise(static_cast<char*>(block) + (first - address), end - first, MADV_HUGEPAGE);
#endif
}

}  // namespace lumo
