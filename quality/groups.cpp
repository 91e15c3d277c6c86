// Sums of groups of 20 neighbours, exact for whole grey values, and their medians. Shading along a
// region and single pixels move few groups, so the medians do not follow them.
#include "quality/groups.h"

#include <algorithm>
#include <cmath>

#include "measure/region.h"
#include "measure/sums.h"
#include "platform/cpu_level.h"
#include "platform/prefetch.h"
#include "quality/median.h"
#include "quality/record.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace lumo {
namespace {

RowTotals groupSumsPlain(const std::uint16_t* pixels, int groups, double* sums, double* spreads) {
    RowTotals totals;
    for (int group = 0; group < groups; ++group, pixels += groupSize) {
        std::uint64_t sum = 0, squares = 0;
        for (int i = 0; i < groupSize; ++i) {
            sum += pixels[i];
            squares += std::uint64_t{pixels[i]} * pixels[i];
        }
        sums[group] = static_cast<double>(sum);
        spreads[group] = static_cast<double>(groupSize * squares - sum * sum);
        totals.sum += static_cast<double>(sum);
        totals.squares += static_cast<double>(squares);
    }
    return totals;
}

#if defined(__x86_64__)

/// Pixels as signed numbers d = v - 32768, whose squares are added in pairs, as whole 32 bits and
/// without their low 16: both together tell the exact sum. Nothing here rounds.
struct PairSums {
    __m256i sum, low, high;

    LUMO_TARGET_AVX2 explicit PairSums(const std::uint16_t* pixels) {
        const auto* place = reinterpret_cast<const __m256i*>(pixels);
        const __m256i center = _mm256_set1_epi16(-32768), ones = _mm256_set1_epi16(1);
        const __m256i a = _mm256_xor_si256(_mm256_loadu_si256(place), center);
        const __m256i last =
            _mm256_zextsi128_si256(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(pixels + 16)));
        // The other three quarters are 0 and stay so.
        const __m256i b = _mm256_xor_si256(last, _mm256_set_epi64x(0, 0, 0, -0x7FFF7FFF7FFF8000));
        const __m256i aa = _mm256_madd_epi16(a, a), bb = _mm256_madd_epi16(b, b);
        sum = _mm256_add_epi32(_mm256_madd_epi16(a, ones), _mm256_madd_epi16(b, ones));
        low = _mm256_add_epi32(aa, bb);
        high = _mm256_add_epi32(_mm256_srli_epi32(aa, 16), _mm256_srli_epi32(bb, 16));
    }
};

/// The sums of the elements of four vectors.
LUMO_TARGET_AVX2 __m128i sumsOfFour(__m256i a, __m256i b, __m256i c, __m256i d) {
    const __m256i halves = _mm256_hadd_epi32(_mm256_hadd_epi32(a, b), _mm256_hadd_epi32(c, d));
    return _mm_add_epi32(_mm256_castsi256_si128(halves), _mm256_extracti128_si256(halves, 1));
}

LUMO_TARGET_AVX2 RowTotals groupSumsVector(const std::uint16_t* pixels, int groups, double* sums,
                                           double* spreads) {
    constexpr int atOnce = 4;
    const __m256d size = _mm256_set1_pd(groupSize), shift = _mm256_set1_pd(65536);
    const __m256d sumShift = _mm256_set1_pd(groupSize * 32768.0);
    const __m256d squareShift = _mm256_set1_pd(groupSize * 1073741824.0);
    __m256d total = _mm256_setzero_pd(), totalSquares = total;
    int group = 0;
    for (; group + atOnce <= groups; group += atOnce, pixels += atOnce * groupSize) {
        for (int line = 0; line < 3; ++line) prefetchAhead(pixels + 32 * line, farAhead);
        const PairSums a(pixels), b(pixels + groupSize), c(pixels + 2 * groupSize),
            d(pixels + 3 * groupSize);
        const __m128i sum4 = sumsOfFour(a.sum, b.sum, c.sum, d.sum);
        const __m128i low = sumsOfFour(a.low, b.low, c.low, d.low);
        const __m128i high = sumsOfFour(a.high, b.high, c.high, d.high);
        const __m128i rest = _mm_sub_epi32(low, _mm_slli_epi32(high, 16));
        const __m256d sum = _mm256_cvtepi32_pd(sum4);
        const __m256d squares =
            _mm256_add_pd(_mm256_mul_pd(_mm256_cvtepi32_pd(high), shift), _mm256_cvtepi32_pd(rest));
        // v = d + 2^15, v^2 = d^2 + 2^16 d + 2^30.
        const __m256d pixelSum = _mm256_add_pd(sum, sumShift);
        const __m256d pixelSquares =
            _mm256_add_pd(_mm256_add_pd(squares, _mm256_mul_pd(sum, shift)), squareShift);
        _mm256_storeu_pd(sums + group, pixelSum);
        _mm256_storeu_pd(spreads + group,
                         _mm256_sub_pd(_mm256_mul_pd(size, squares), _mm256_mul_pd(sum, sum)));
        total = _mm256_add_pd(total, pixelSum);
        totalSquares = _mm256_add_pd(totalSquares, pixelSquares);
    }
    RowTotals totals = groupSumsPlain(pixels, groups - group, sums + group, spreads + group);
    alignas(32) double lanes[2][atOnce];
    _mm256_store_pd(lanes[0], total);
    _mm256_store_pd(lanes[1], totalSquares);
    for (int lane = 0; lane < atOnce; ++lane) {
        totals.sum += lanes[0][lane];
        totals.squares += lanes[1][lane];
    }
    return totals;
}

#endif

template <int bytes>
LUMO_INLINE RowTotals groupSumsBody(const std::uint16_t* pixels, int groups, double* sums,
                                    double* spreads) {
#if defined(__x86_64__)
    if constexpr (bytes > baselineBytes) return groupSumsVector(pixels, groups, sums, spreads);
#endif
    return groupSumsPlain(pixels, groups, sums, spreads);
}
LUMO_LEVELS(RowTotals, sumGroupsOfRow, groupSumsBody<bytes>,
            (const std::uint16_t* pixels, int groups, double* sums, double* spreads),
            (pixels, groups, sums, spreads))

/// Sums of groups of 20 rows, column by column.
LUMO_INLINE void columnSumsBody(const std::uint16_t* pixels, std::ptrdiff_t stride, int columns,
                                double* sums, double* spreads) {
    constexpr int block = 256;  // whose sums stay in the nearest cache
    std::uint32_t sum[block];
    std::uint64_t squares[block];
    for (int x = 0; x < columns; x += block) {
        const int count = std::min(block, columns - x);
        std::fill_n(sum, count, 0U);
        std::fill_n(squares, count, std::uint64_t{0});
        for (int row = 0; row < groupSize; ++row) {
            const std::uint16_t* from = pixels + row * stride + x;
            for (int i = 0; i < count; ++i) {
                const std::uint32_t pixel = from[i];
                sum[i] += pixel;
                squares[i] += pixel * pixel;
            }
        }
        for (int i = 0; i < count; ++i) {
            sums[x + i] = sum[i];
            spreads[x + i] = static_cast<double>(
                static_cast<std::int64_t>(groupSize * squares[i] - std::uint64_t{sum[i]} * sum[i]));
        }
    }
}
LUMO_LEVELS(void, sumGroupColumns, columnSumsBody,
            (const std::uint16_t* pixels, std::ptrdiff_t stride, int columns, double* sums,
             double* spreads),
            (pixels, stride, columns, sums, spreads))

/// The medians of a region's groups, and mean and deviation of all its pixels.
struct Found {
    Middle sum, spread;
    double mean, sigma;
};

/// Two medians of values that come in pairs, row by row.
struct Medians {
    MiddleFinder sums, spreads;

    void add(const std::vector<double>& rowSums, const std::vector<double>& rowSpreads,
             std::size_t count) {
        sums.add(rowSums.data(), count);
        spreads.add(rowSpreads.data(), count);
    }
};

/// Groups of grey values, in whole numbers.
class PixelGroups {
public:
    PixelGroups(const Image& image, const Roi& region, bool alongColumns)
        : runs_(runsOf(image, region)),
          region_(region),
          alongColumns_(alongColumns),
          inRow_(alongColumns ? runs_.length : runs_.length / groupSize),
          rows_(alongColumns ? runs_.rows / groupSize : runs_.rows),
          sums_(inRow_),
          spreads_(inRow_) {}

    /// Looks at the extremes of the image's rows on the way, while they are in the cache.
    Found measure(Extremes& extremes) {
        Medians medians = sampled();
        Sums all;
        for (int y = 0; y < region_.y1; ++y) extremes.look(y);
        for (std::size_t y = 0; y < runs_.rows; ++y) {
            extremes.look(region_.y1 + static_cast<int>(y));
            addRow(y, medians, all);
        }
        extremes.lookAtAll();
        return {middleBy(medians.sums, true), middleBy(medians.spreads, false), meanOf(all),
                deviationOf(all)};
    }

private:
    [[nodiscard]] const std::uint16_t* row(std::size_t group) const {
        return runs_.row(alongColumns_ ? group * groupSize : group);
    }
    /// A row of groups.
    RowTotals sumGroups(std::size_t row, std::size_t first, std::size_t count) {
        const std::uint16_t* pixels = this->row(row);
        if (!alongColumns_)
            return groupSums(pixels + first * groupSize, static_cast<int>(count), sums_.data(),
                             spreads_.data());
        sumGroupColumns(pixels + first, static_cast<std::ptrdiff_t>(runs_.stride),
                        static_cast<int>(count), sums_.data(), spreads_.data());
        return {};
    }
    void addRow(std::size_t y, Medians& medians, Sums& all) {
        if (alongColumns_) {
            addPixels(runs_.row(y), runs_.length, all);
            if (y % groupSize != 0 || y / groupSize >= rows_) return;
            sumGroups(y / groupSize, 0, inRow_);
        } else {
            const RowTotals totals = sumGroups(y, 0, inRow_);
            const std::size_t done = inRow_ * groupSize;
            addPixels(runs_.row(y) + done, runs_.length - done, all);
            all.sum += static_cast<std::uint64_t>(totals.sum);
            all.squares += static_cast<std::uint64_t>(totals.squares);
        }
        medians.add(sums_, spreads_, inRow_);
    }
    /// Begins with some groups from all over the region.
    Medians sampled() {
        const std::size_t count = inRow_ * rows_;
        std::vector<double> sums, spreads;
        for (std::size_t i = 0; i < MiddleFinder::sampleSize; ++i) {
            // Multiples of the golden section, with the same number everywhere: equal steps could
            // follow the rows.
            const std::uint64_t part = i * 2654435769U & 0xFFFFFFFFU;
            const auto at = static_cast<std::size_t>(part * count >> 32);
            sumGroups(at / inRow_, at % inRow_, 1);
            sums.push_back(sums_[0]);
            spreads.push_back(spreads_[0]);
        }
        return {MiddleFinder(std::move(sums), count), MiddleFinder(std::move(spreads), count)};
    }
    /// Should the sample have misled, all values are put side by side.
    Middle middleBy(MiddleFinder& finder, bool ofSums) {
        if (const auto found = finder.middle()) return *found;
        std::vector<double> values;
        for (std::size_t y = 0; y < rows_; ++y) {
            sumGroups(y, 0, inRow_);
            const std::vector<double>& some = ofSums ? sums_ : spreads_;
            values.insert(values.end(), some.begin(), some.end());
        }
        return middleOf(values);
    }
    [[nodiscard]] double meanOf(const Sums& all) const {
        return static_cast<double>(all.sum) / static_cast<double>(runs_.count());
    }
    [[nodiscard]] double deviationOf(const Sums& all) const {
        __extension__ using Wide = unsigned __int128;
        const auto pixels = static_cast<double>(runs_.count());
        const Wide spread = Wide{runs_.count()} * all.squares - Wide{all.sum} * all.sum;
        return std::sqrt(static_cast<double>(spread) / (pixels * (pixels - 1)));
    }

    Runs runs_;
    Roi region_;
    bool alongColumns_;
    std::size_t inRow_, rows_;  ///< of groups
    std::vector<double> sums_, spreads_;
};

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
Found groupsOfSignal(const Signal& signal, const std::vector<Run>& runs, bool alongColumns,
                     std::size_t count) {
    std::vector<double> allSums(count), allSpreads(count);
    double *sums = allSums.data(), *spreads = allSpreads.data();
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
    return {middleOf(allSums), middleOf(allSpreads), origin + sum / pixels,
            std::sqrt(std::max(squares - sum * sum / pixels, 0.0) / (pixels - 1))};
}

}  // namespace

RowTotals groupSums(const std::uint16_t* pixels, int groups, double* sums, double* spreads) {
    return sumGroupsOfRow(pixels, groups, sums, spreads);
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

    Extremes extremes(image);
    const Found found = values.isShift() ? PixelGroups(image, region, along == 1).measure(extremes)
                                         : groupsOfSignal(values, runs, along == 1, count);
    extremes.lookAtAll();
    extremes.refuseClipped(runs);
    const double shift = values.isShift() ? values.offset() : 0;
    const auto deviation = [](double s) { return std::sqrt(s / (groupSize * (groupSize - 1))); };
    Uniform uniform;
    uniform.groups = static_cast<std::uint32_t>(count);
    uniform.mean = found.sum.mean() / groupSize - shift;
    uniform.sigma =
        deviationOfMedian * (deviation(found.spread.lower) + deviation(found.spread.upper)) / 2;
    uniform.plainMean = found.mean - shift;
    uniform.plainSigma = found.sigma;
    if (!(uniform.mean > 0)) refuse(LumoReasonNoSignal);
    if (!(uniform.sigma > 0)) refuse(LumoReasonNoNoise);
    return uniform;
}

}  // namespace lumo
