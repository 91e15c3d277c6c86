// Table application at the speed of one table load a pixel.
#include "image/map_pixels.h"

#include <bit>
#include <cstring>

#include "platform/prefetch.h"
#include "platform/vectors.h"

namespace lumo {
namespace {

using EightPixels = Vector<std::uint16_t, 16>;

/// By two loads and one store.
LUMO_INLINE void mapEight(const std::uint16_t* from, std::uint16_t* to,
                          const std::uint16_t* table) {
    std::uint64_t a = 0, b = 0;
    std::memcpy(&a, from, sizeof a);
    std::memcpy(&b, from + 4, sizeof b);
    const EightPixels mapped = {
        table[a & 65535], table[(a >> 16) & 65535], table[(a >> 32) & 65535], table[a >> 48],
        table[b & 65535], table[(b >> 16) & 65535], table[(b >> 32) & 65535], table[b >> 48]};
    store(mapped, to);
}
static_assert(std::endian::native == std::endian::little);

}  // namespace

void mapPixels(const std::uint16_t* from, std::uint16_t* to, std::size_t count,
               const std::uint16_t* table) {
    constexpr std::size_t eight = 8, line = 64 / sizeof *from;
    std::size_t i = 0;
    for (; i + line <= count; i += line) {
        prefetchAhead(from + i);
        for (std::size_t k = i; k < i + line; k += eight) mapEight(from + k, to + k, table);
    }
    for (; i < count; ++i) to[i] = table[from[i]];
}

}  // namespace lumo
