// Stores past the caches, for results that are larger than these and not read again soon: the
// memory need not be fetched before it is overwritten.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

#include "platform/cpu_level.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace lumo {

constexpr int lineBytes = 64;  // of a cache line

/// Size of a result from which streaming pays: what was stored first would have left a large shared
/// cache again by the time when the next pass reads it. Below it, a cached result is read back
/// twice as fast.
constexpr std::size_t leastStreamed = std::size_t{16} << 20U;  // bytes

/// Pixels from an address, which is that of a pixel, to the next start of a line.
[[nodiscard]] inline int pixelsToLine(const std::uint16_t* address) {
    const auto over = reinterpret_cast<std::uintptr_t>(address) % lineBytes;
    return static_cast<int>((lineBytes - over) % lineBytes / sizeof *address);
}

/// Stores one whole, aligned cache line.
LUMO_INLINE void streamLine(void* target, const void* source) {
#if defined(__SSE2__)
    auto* to = static_cast<__m128i*>(target);
    const auto* from = static_cast<const __m128i*>(source);
    for (int i = 0; i < 4; ++i) _mm_stream_si128(to + i, _mm_loadu_si128(from + i));
#else
    std::memcpy(target, source, lineBytes);
#endif
}

/// Makes streamed stores visible before later ordinary ones; once after the last.
inline void finishStreaming() {
#if defined(__SSE2__)
    _mm_sfence();
#endif
}

}  // namespace lumo
