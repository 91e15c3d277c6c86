// Binning: a smaller image of the means of blocks of pixels.
#include <algorithm>
#include <cstring>

#include "measure/region.h"
#include "platform/cpu_level.h"
#include "platform/prefetch.h"

namespace {

using lumo::Source;
using lumo::Target;

/// Sums made at once: they stay in the nearest cache.
constexpr int mostSums = 4096;

LUMO_INLINE std::uint32_t pairSum(const std::uint16_t* pixels) {
    std::uint32_t pair = 0;
    std::memcpy(&pair, pixels, sizeof pair);
    return (pair & 65535) + (pair >> 16);
}

/// Calls `sum` with the number of each of a row's sums, of `pixels` each, and fetches what the row
/// brings later.
template <int pixels, class Sum>
LUMO_INLINE void sumRow(const std::uint16_t* row, int count, Sum sum) {
    constexpr int line = 64 / sizeof *row;
    int x = 0;
    for (; x + line <= count; x += line, row += pixels * line) {
        for (int i = 0; i < pixels; ++i) lumo::prefetchAhead(row + i * line, lumo::farAhead);
        for (int i = x; i < x + line; ++i) sum(i);
    }
    for (; x < count; ++x) sum(x);
}

/// Sums over `factorY` rows of pairs of columns.
LUMO_INLINE void sumPairsBody(const std::uint16_t* first, std::ptrdiff_t stride, int factorY,
                              int pairs, std::uint32_t* __restrict sums) {
    sumRow<2>(first, pairs, [=](int x) { sums[x] = pairSum(first + 2 * x); });
    for (int y = 1; y < factorY; ++y) {
        const std::uint16_t* row = first + y * stride;
        sumRow<2>(row, pairs, [=](int x) { sums[x] += pairSum(row + 2 * x); });
    }
}
LUMO_LEVELS(void, sumPairs, sumPairsBody,
            (const std::uint16_t* first, std::ptrdiff_t stride, int factorY, int pairs,
             std::uint32_t* sums),
            (first, stride, factorY, pairs, sums))

/// The same of single columns.
LUMO_INLINE void sumColumnsBody(const std::uint16_t* first, std::ptrdiff_t stride, int factorY,
                                int columns, std::uint32_t* __restrict sums) {
    sumRow<1>(first, columns, [=](int x) { sums[x] = first[x]; });
    for (int y = 1; y < factorY; ++y) {
        const std::uint16_t* row = first + y * stride;
        sumRow<1>(row, columns, [=](int x) { sums[x] += row[x]; });
    }
}
LUMO_LEVELS(void, sumColumns, sumColumnsBody,
            (const std::uint16_t* first, std::ptrdiff_t stride, int factorY, int columns,
             std::uint32_t* sums),
            (first, stride, factorY, columns, sums))

/// Means of `step` sums each. Numbers known to the compiler make straight code without a division.
template <int knownStep, int knownArea>
LUMO_INLINE void meansOf(const std::uint32_t* sums, int width, int step, std::uint32_t area,
                         std::uint16_t* to) {
    const int length = knownStep > 0 ? knownStep : step;
    const std::uint32_t divisor = knownArea > 0 ? std::uint32_t{knownArea} : area;
    for (int x = 0; x < width; ++x) {
        std::uint32_t sum = 0;
        for (int i = 0; i < length; ++i) sum += sums[x * length + i];
        to[x] = static_cast<std::uint16_t>(sum / divisor);
    }
}

LUMO_INLINE void averageBody(const std::uint32_t* sums, int width, int step, std::uint32_t area,
                             std::uint16_t* to) {
    if (step == 1 && area == 4) return meansOf<1, 4>(sums, width, step, area, to);
    if (step == 3 && area == 9) return meansOf<3, 9>(sums, width, step, area, to);
    if (step == 2 && area == 16) return meansOf<2, 16>(sums, width, step, area, to);
    meansOf<0, 0>(sums, width, step, area, to);
}
LUMO_LEVELS(void, average, averageBody,
            (const std::uint32_t* sums, int width, int step, std::uint32_t area, std::uint16_t* to),
            (sums, width, step, area, to))

/// Blocks are whole: what remains at the right and at the bottom belongs to none. Columns are added
/// first, in pairs where the factor allows it.
void bin(Source source, Target target, int factorX, int factorY) {
    const auto area = static_cast<std::uint32_t>(factorX * factorY);
    const bool inPairs = factorX % 2 == 0;
    const int step = inPairs ? factorX / 2 : factorX;
    const int mostAtOnce = mostSums / step;
    std::uint32_t sums[mostSums];
    for (int y = 0; y < target.height; ++y)
        for (int x = 0; x < target.width; x += mostAtOnce) {
            const int width = std::min(mostAtOnce, target.width - x);
            (inPairs ? sumPairs : sumColumns)(source.row(y * factorY) + x * factorX, source.width,
                                              factorY, width * step, sums);
            average(sums, width, step, area, target.row(y) + x);
        }
}

}  // namespace

extern "C" {

int Bin_Image(Image source, Image* destination, uint8_t factorX, uint8_t factorY) {
    if (source.data == nullptr) return LumoErrorImage;
    if (destination == nullptr || factorX == 0 || factorY == 0) return LumoErrorParameter;
    const int code = Create_Image(static_cast<std::uint16_t>(source.width / factorX),
                                  static_cast<std::uint16_t>(source.height / factorY), destination);
    if (code != LumoOk) return code;
    bin(lumo::asSource(lumo::viewOf(source)), lumo::viewOf(*destination), factorX, factorY);
    return LumoOk;
}

}  // extern "C"
