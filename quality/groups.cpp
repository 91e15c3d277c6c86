// Sums of groups of 20 neighbours, exact for whole grey values, and their medians. Shading along a
// region and single pixels move few groups, so the medians do not follow them.
#include "quality/groups.h"

#include <algorithm>
#include <cmath>

#include "measure/region.h"
#include "measure/sums.h"
#include "platform/cpu_level.h"
#include "quality/median.h"
#include "quality/record.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace lumo {
namespace {

void groupSumsPlain(const std::uint16_t* pixels, int groups, double* sums, double* spreads) {
    for (int group = 0; group < groups; ++group, pixels += groupSize) {
        std::uint64_t sum = 0, squares = 0;
        for (int i = 0; i < groupSize; ++i) {
            sum += pixels[i];
            squares += std::uint64_t{pixels[i]} * pixels[i];
        }
        sums[group] = static_cast<double>(sum);
        spreads[group] = static_cast<double>(groupSize * squares - sum * sum);
    }
}

#if defined(__x86_64__)

/// Pixels as signed numbers d = v - 32768, which have the same spread. The 10 sums of two squares
/// fit 32 bits without a sign and are added in 64.
LUMO_TARGET_AVX2 void groupSumsVector(const std::uint16_t* pixels, int groups, double* sums,
                                      double* spreads) {
    const __m128i center = _mm_set1_epi16(-32768), ones = _mm_set1_epi16(1);
    const __m128i low32 = _mm_set1_epi64x(0xFFFFFFFF);
    for (int group = 0; group < groups; ++group, pixels += groupSize) {
        prefetchAhead(pixels, farAhead);
        const auto* place = reinterpret_cast<const __m128i*>(pixels);
        const __m128i a = _mm_xor_si128(_mm_loadu_si128(place), center);
        const __m128i b = _mm_xor_si128(_mm_loadu_si128(place + 1), center);
        // The upper half is 0 after the exclusive or as well.
        const __m128i c = _mm_xor_si128(_mm_loadl_epi64(place + 2), _mm_move_epi64(center));
        const __m128i sum4 =
            _mm_add_epi32(_mm_madd_epi16(a, ones),
                          _mm_add_epi32(_mm_madd_epi16(b, ones), _mm_madd_epi16(c, ones)));
        const __m128i aa = _mm_madd_epi16(a, a), bb = _mm_madd_epi16(b, b),
                      cc = _mm_madd_epi16(c, c);
        const __m128i lows =
            _mm_add_epi64(_mm_and_si128(aa, low32),
                          _mm_add_epi64(_mm_and_si128(bb, low32), _mm_and_si128(cc, low32)));
        const __m128i highs = _mm_add_epi64(
            _mm_srli_epi64(aa, 32), _mm_add_epi64(_mm_srli_epi64(bb, 32), _mm_srli_epi64(cc, 32)));
        const __m128i squares2 = _mm_add_epi64(lows, highs);
        const __m128i sum2 = _mm_add_epi32(sum4, _mm_shuffle_epi32(sum4, 0x4E));
        const std::int64_t sum = _mm_cvtsi128_si32(sum2) + std::int64_t{_mm_extract_epi32(sum2, 1)};
        const std::int64_t squares = _mm_cvtsi128_si64(squares2) + _mm_extract_epi64(squares2, 1);
        sums[group] = static_cast<double>(sum + groupSize * 32768);
        spreads[group] = static_cast<double>(groupSize * squares - sum * sum);
    }
}

#endif

LUMO_VECTOR_LEVELS(void, groupSumsByLevel, groupSumsPlain, groupSumsVector,
                   (const std::uint16_t* pixels, int groups, double* sums, double* spreads),
                   (pixels, groups, sums, spreads))

/// Sums of groups of 20 rows, column by column.
LUMO_INLINE void columnSumsBody(const std::uint16_t* pixels, std::ptrdiff_t stride, int columns,
                                double* sums, double* spreads) {
    for (int x = 0; x < columns; ++x) {
        std::uint32_t sum = 0;
        std::uint64_t squares = 0;
        for (int i = 0; i < groupSize; ++i) {
            const std::uint32_t pixel = pixels[i * stride + x];
            sum += pixel;
            squares += pixel * pixel;
        }
        sums[x] = sum;
        spreads[x] = static_cast<double>(
            static_cast<std::int64_t>(groupSize * squares - std::uint64_t{sum} * sum));
    }
}
LUMO_LEVELS(void, columnSums, columnSumsBody,
            (const std::uint16_t* pixels, std::ptrdiff_t stride, int columns, double* sums,
             double* spreads),
            (pixels, stride, columns, sums, spreads))

/// The groups of a region and sums over all its pixels.
struct Groups {
    std::vector<double> sums, spreads;
    double mean, sigma;
};

/// Of grey values, in whole numbers.
Groups groupsOfPixels(const Image& image, const Roi& region, bool alongColumns, std::size_t count) {
    Groups groups{std::vector<double>(count), std::vector<double>(count), 0, 0};
    double *sums = groups.sums.data(), *spreads = groups.spreads.data();
    const Runs runs = runsOf(image, region);
    const int width = static_cast<int>(runs.length), inRow = width / groupSize;
    Sums all;
    for (std::size_t y = 0; y < runs.rows; ++y) {
        if (!alongColumns) {
            groupSums(runs.row(y), inRow, sums, spreads);
            sums += inRow, spreads += inRow;
        } else if (y % groupSize == 0 && y + groupSize <= runs.rows) {
            columnSums(runs.row(y), static_cast<std::ptrdiff_t>(runs.stride), width, sums, spreads);
            sums += width, spreads += width;
        }
        addPixels(runs.row(y), runs.length, all);
    }
    __extension__ using Wide = unsigned __int128;
    const auto pixels = static_cast<double>(runs.count());
    groups.mean = static_cast<double>(all.sum) / pixels;
    const Wide spread = Wide{runs.count()} * all.squares - Wide{all.sum} * all.sum;
    groups.sigma = std::sqrt(static_cast<double>(spread) / (pixels * (pixels - 1)));
    return groups;
}

/// The sum and the spread of a group of signals, about their mean.
void addGroup(const double* values, std::ptrdiff_t stride, double*& sums, double*& spreads) {
    double sum = 0, squares = 0;
    for (int i = 0; i < groupSize; ++i) sum += values[i * stride];
    const double mean = sum / groupSize;
    for (int i = 0; i < groupSize; ++i) {
        const double off = values[i * stride] - mean;
        squares += off * off;
    }
    *sums++ = sum;
    *spreads++ = groupSize * squares;
}

/// Of any signal, 20 rows at a time.
Groups groupsOfSignal(const Signal& signal, const std::vector<Run>& runs, bool alongColumns,
                      std::size_t count) {
    Groups groups{std::vector<double>(count), std::vector<double>(count), 0, 0};
    double *sums = groups.sums.data(), *spreads = groups.spreads.data();
    const int width = runs.front().count;
    std::vector<double> rows(static_cast<std::size_t>(width) * groupSize);
    double origin = 0, sum = 0, squares = 0, pixels = 0;
    for (std::size_t y = 0; y < runs.size(); ++y) {
        double* row = rows.data() + (y % groupSize) * static_cast<std::size_t>(width);
        signal.read(runs[y], row);
        if (y == 0) origin = row[0];
        for (int x = 0; x < width; ++x) {
            sum += row[x] - origin;
            squares += (row[x] - origin) * (row[x] - origin);
        }
        pixels += width;
        if (!alongColumns)
            for (int x = 0; x + groupSize <= width; x += groupSize)
                addGroup(row + x, 1, sums, spreads);
        else if (y % groupSize == groupSize - 1)
            for (int x = 0; x < width; ++x) addGroup(rows.data() + x, width, sums, spreads);
    }
    groups.mean = origin + sum / pixels;
    groups.sigma = std::sqrt(std::max(squares - sum * sum / pixels, 0.0) / (pixels - 1));
    return groups;
}

}  // namespace

void groupSums(const std::uint16_t* pixels, int groups, double* sums, double* spreads) {
    groupSumsByLevel(pixels, groups, sums, spreads);
}

Uniform measureUniform(const Image& image, Roi region, std::uint32_t along,
                       const LumoSignal* signal) {
    constexpr std::size_t leastGroups = 55;
    /// The median of the deviations of 20 normal numbers falls short of theirs by this factor.
    constexpr double deviationOfMedian = 1.0179;
    if (along > 1) raise(LumoErrorParameter);
    const std::vector<Run> runs = runsIn(image, region);
    const Signal values(image, signal);
    const auto width = static_cast<std::size_t>(runs.front().count), height = runs.size();
    const std::size_t count = along == 0 ? width / groupSize * height : height / groupSize * width;
    if (count < leastGroups) refuse(LumoReasonRegionSmall);
    refuseClipped(image, runs);

    Groups groups = values.isShift() ? groupsOfPixels(image, region, along == 1, count)
                                     : groupsOfSignal(values, runs, along == 1, count);
    const double shift = values.isShift() ? values.offset() : 0;
    const Middle spread = middleOf(groups.spreads);
    const auto deviation = [](double s) { return std::sqrt(s / (groupSize * (groupSize - 1))); };
    Uniform uniform;
    uniform.groups = static_cast<std::uint32_t>(count);
    uniform.mean = medianOf(groups.sums) / groupSize - shift;
    uniform.sigma = deviationOfMedian * (deviation(spread.lower) + deviation(spread.upper)) / 2;
    uniform.plainMean = groups.mean - shift;
    uniform.plainSigma = groups.sigma;
    if (!(uniform.mean > 0)) refuse(LumoReasonNoSignal);
    if (!(uniform.sigma > 0)) refuse(LumoReasonNoNoise);
    return uniform;
}

}  // namespace lumo
