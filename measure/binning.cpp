// Binning: a smaller image of the means of blocks of pixels.
#include <algorithm>

#include "measure/region.h"
#include "platform/cpu_level.h"

namespace {

using lumo::Source;
using lumo::Target;

/// Target pixels made at once: their column sums stay in the nearest cache.
constexpr int mostSums = 4096;

/// Sums of `factorY` rows, column by column.
LUMO_INLINE void sumColumnsBody(const std::uint16_t* first, std::ptrdiff_t stride, int factorY,
                                int columns, std::uint32_t* sums) {
    for (int x = 0; x < columns; ++x) sums[x] = first[x];
    for (int y = 1; y < factorY; ++y) {
        const std::uint16_t* row = first + y * stride;
        for (int x = 0; x < columns; ++x) sums[x] += row[x];
    }
}
LUMO_LEVELS(void, sumColumns, sumColumnsBody,
            (const std::uint16_t* first, std::ptrdiff_t stride, int factorY, int columns,
             std::uint32_t* sums),
            (first, stride, factorY, columns, sums))

/// Means from column sums. A factor known to the compiler becomes straight code, and so does the
/// division by the area of a square block.
template <int factorX, int knownArea>
LUMO_INLINE void meansOf(const std::uint32_t* sums, int width, int factor, std::uint32_t area,
                         std::uint16_t* to) {
    const int step = factorX > 0 ? factorX : factor;
    const std::uint32_t divisor = knownArea > 0 ? std::uint32_t{knownArea} : area;
    for (int x = 0; x < width; ++x) {
        std::uint32_t sum = 0;
        for (int dx = 0; dx < step; ++dx) sum += sums[x * step + dx];
        to[x] = static_cast<std::uint16_t>(sum / divisor);
    }
}

LUMO_INLINE void averageBody(const std::uint32_t* sums, int width, int factor, std::uint32_t area,
                             std::uint16_t* to) {
    if (factor == 2 && area == 4) return meansOf<2, 4>(sums, width, factor, area, to);
    if (factor == 3 && area == 9) return meansOf<3, 9>(sums, width, factor, area, to);
    if (factor == 4 && area == 16) return meansOf<4, 16>(sums, width, factor, area, to);
    meansOf<0, 0>(sums, width, factor, area, to);
}
LUMO_LEVELS(void, average, averageBody,
            (const std::uint32_t* sums, int width, int factor, std::uint32_t area,
             std::uint16_t* to),
            (sums, width, factor, area, to))

/// Blocks are whole: what remains at the right and at the bottom belongs to none.
void bin(Source source, Target target, int factorX, int factorY) {
    const auto area = static_cast<std::uint32_t>(factorX * factorY);
    const int mostAtOnce = mostSums / factorX;
    std::uint32_t sums[mostSums];
    for (int y = 0; y < target.height; ++y)
        for (int x = 0; x < target.width; x += mostAtOnce) {
            const int width = std::min(mostAtOnce, target.width - x);
            sumColumns(source.row(y * factorY) + x * factorX, source.width, factorY,
                       width * factorX, sums);
            average(sums, width, factorX, area, target.row(y) + x);
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
