// Exact sums over runs of pixels: plain, and with AVX2 at the speed of memory. Multiplying and
// adding pairs is one instruction that no plain form gives, so these are intrinsics.
#include "measure/sums.h"

#include <algorithm>
#include <numeric>

#include "platform/cpu_level.h"
#include "platform/prefetch.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace lumo {
namespace {

LUMO_INLINE void addPlain(const std::uint16_t* pixels, std::size_t count, Sums& sums) {
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t pixel = pixels[i];
        sums.smallest = std::min(sums.smallest, pixels[i]);
        sums.largest = std::max(sums.largest, pixels[i]);
        sums.sum += pixel;
        sums.squares += pixel * pixel;
    }
}

std::uint32_t sumPlain(const std::uint16_t* pixels, std::size_t count) {
    return std::accumulate(pixels, pixels + count, std::uint32_t{0});
}

#if defined(__x86_64__)

constexpr std::size_t lanes = 16;
/// Vectors whose sums stay within 32 bits a lane.
constexpr std::size_t blockVectors = 16384;

LUMO_TARGET_AVX2 __m256i load(const std::uint16_t* pixels) {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(pixels));
}

/// The elements of a vector.
template <class Element>
struct Elements {
    alignas(32) Element values[32 / sizeof(Element)];
    LUMO_TARGET_AVX2 explicit Elements(__m256i vector) {
        _mm256_store_si256(reinterpret_cast<__m256i*>(values), vector);
    }
};

/// Adds at most blockVectors vectors. Pixels are taken as signed numbers d = v - 32768, whose
/// squares are added in pairs: modulo 2^32, and once more without their low 16 bits. The second sum
/// falls short by less than 2^32, so that both give the exact one.
LUMO_TARGET_AVX2 void addVectors(const std::uint16_t* pixels, std::size_t vectors, Sums& sums) {
    const __m256i center = _mm256_set1_epi16(-32768), ones = _mm256_set1_epi16(1);
    __m256i smallest = _mm256_set1_epi16(-1), largest = _mm256_setzero_si256();
    __m256i sum = largest, low = largest, high = largest;
    for (std::size_t i = 0; i < vectors; ++i) {
        prefetchAhead(pixels + lanes * i, farAhead);
        const __m256i pixel = load(pixels + lanes * i);
        smallest = _mm256_min_epu16(smallest, pixel);
        largest = _mm256_max_epu16(largest, pixel);
        const __m256i d = _mm256_xor_si256(pixel, center);
        sum = _mm256_add_epi32(sum, _mm256_madd_epi16(d, ones));
        const __m256i squares = _mm256_madd_epi16(d, d);
        low = _mm256_add_epi32(low, squares);
        high = _mm256_add_epi32(high, _mm256_srli_epi32(squares, 16));
    }
    const Elements<std::uint16_t> least(smallest), most(largest);
    sums.smallest = std::min(sums.smallest, *std::ranges::min_element(least.values));
    sums.largest = std::max(sums.largest, *std::ranges::max_element(most.values));
    const Elements<std::int32_t> sumOfLane(sum);
    const Elements<std::uint32_t> lowOfLane(low), highOfLane(high);
    std::int64_t linear = 0, squared = 0;
    for (std::size_t lane = 0; lane < std::size(sumOfLane.values); ++lane) {
        const std::uint64_t least32 = std::uint64_t{highOfLane.values[lane]} << 16;
        const std::uint32_t rest = lowOfLane.values[lane] - static_cast<std::uint32_t>(least32);
        squared += static_cast<std::int64_t>(least32 + rest);
        linear += sumOfLane.values[lane];
    }
    // v = d + 2^15, v^2 = d^2 + 2^16 d + 2^30.
    const auto count = static_cast<std::int64_t>(lanes * vectors);
    sums.sum += static_cast<std::uint64_t>(linear + count * 32768);
    sums.squares += static_cast<std::uint64_t>(squared + linear * 65536 + count * (1 << 30));
}

LUMO_TARGET_AVX2 void addWithVectors(const std::uint16_t* pixels, std::size_t count, Sums& sums) {
    std::size_t done = 0;
    while (count - done >= lanes) {
        const std::size_t vectors = std::min(blockVectors, (count - done) / lanes);
        addVectors(pixels + done, vectors, sums);
        done += lanes * vectors;
    }
    addPlain(pixels + done, count - done, sums);
}

LUMO_TARGET_AVX2 std::uint32_t sumWithVectors(const std::uint16_t* pixels, std::size_t count) {
    const __m256i center = _mm256_set1_epi16(-32768), ones = _mm256_set1_epi16(1);
    __m256i sum = _mm256_setzero_si256();
    const std::size_t vectors = count / lanes;
    for (std::size_t i = 0; i < vectors; ++i) {
        prefetchAhead(pixels + lanes * i, farAhead);
        const __m256i d = _mm256_xor_si256(load(pixels + lanes * i), center);
        sum = _mm256_add_epi32(sum, _mm256_madd_epi16(d, ones));
    }
    const Elements<std::uint32_t> sumOfLane(sum);
    const auto inVectors = static_cast<std::uint32_t>(lanes * vectors);
    return std::accumulate(std::begin(sumOfLane.values), std::end(sumOfLane.values),
                           inVectors * 32768) +
           sumPlain(pixels + inVectors, count - inVectors);
}

#endif

template <int bytes>
LUMO_INLINE void addBody(const std::uint16_t* pixels, std::size_t count, Sums& sums) {
#if defined(__x86_64__)
    if constexpr (bytes > baselineBytes) return addWithVectors(pixels, count, sums);
#endif
    addPlain(pixels, count, sums);
}
LUMO_LEVELS(void, addStatistics, addBody<bytes>,
            (const std::uint16_t* pixels, std::size_t count, Sums& sums), (pixels, count, sums))

template <int bytes>
LUMO_INLINE std::uint32_t sumBody(const std::uint16_t* pixels, std::size_t count) {
#if defined(__x86_64__)
    if constexpr (bytes > baselineBytes) return sumWithVectors(pixels, count);
#endif
    return sumPlain(pixels, count);
}
LUMO_LEVELS(std::uint32_t, sumRow, sumBody<bytes>, (const std::uint16_t* pixels, std::size_t count),
            (pixels, count))

}  // namespace

void addPixels(const std::uint16_t* pixels, std::size_t count, Sums& sums) {
    addStatistics(pixels, count, sums);
}

std::uint32_t sumOf(const std::uint16_t* pixels, std::size_t count) {
    return sumRow(pixels, count);
}

}  // namespace lumo
