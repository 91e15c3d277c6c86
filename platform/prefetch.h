// Asking for memory before it is needed.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/cpu_level.h"

namespace lumo {

/// Asks for memory that is read soon. One pass over a large raster is bound by memory, and the
/// processor's own prefetcher follows late. The address may lie beyond the raster.
/// @param distance  bytes
LUMO_INLINE void prefetchAhead(const void* place, std::ptrdiff_t distance = 2048) {
    const auto address =
        reinterpret_cast<std::uintptr_t>(place) + static_cast<std::uintptr_t>(distance);
    // A pointer may not be moved out of its raster; a number may.
    __builtin_prefetch(
        reinterpret_cast<const void*>(address));  // NOLINT(performance-no-int-to-ptr)
}

/// The distance for kernels that are done with a cache line after a few cycles.
constexpr std::ptrdiff_t farAhead = 12288;

/// Calls `work` with the numbers 0 to count - 1 of a run's pixels, and fetches far ahead.
template <class Work>
LUMO_INLINE void forEachPixel(const std::uint16_t* pixels, int count, Work work) {
    constexpr int line = 64 / sizeof *pixels;
    int i = 0;
    for (; i + line <= count; i += line) {
        prefetchAhead(pixels + i, farAhead);
        for (int k = i; k < i + line; ++k) work(k);
    }
    for (; i < count; ++i) work(i);
}

}  // namespace lumo
