// Medians of large windows: a window's histogram is moved along the row, its median with it.
//
// Windows of R neighbouring rows share n - R + 1 rows. Their histogram is kept once for all of
// them; each window adds a histogram of its own for its other R - 1 rows. A step to the right then
// takes about 2n / R + 2R updates a window, least at R = sqrt(n), instead of 2n. Each window also
// keeps its median and how many of its values lie below it, which every value that comes or goes
// changes by one or not at all; after a step the median walks to where this number fits again. Grey
// values are taken as ranks within a tile, so that the walks are short in any image.
#include "filters/median_histogram.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstring>
#include <vector>

#include "filters/tile_ranks.h"
#include "image/pixel.h"
#include "platform/vectors.h"

namespace lumo {
namespace {

constexpr int tileRows = 128;
/// Wide tiles of large windows, as each begins anew at the left; narrow ones of small windows, as
/// walks are longer the more grey values a tile has.
constexpr int tileColumnsFor(int n) {
    return std::max(256, 2 * n);
}

constexpr int mostWindows = 16;
/// Bins that a walk passes at once when they are empty.
constexpr int stride = 4;
/// Bins of a block of the walk with AVX-512; so much room is on either side of a histogram.
constexpr int block = 32;

using Count = std::uint16_t;
using Lanes = Vector<Count, mostWindows * sizeof(Count)>;
using SignedLanes = Vector<std::int16_t, mostWindows * sizeof(Count)>;

/// Adds `change` to the bins of a column's ranks and, for each window, to its number of values
/// below its median. Medians are held with the top bit turned, as signed numbers compare faster.
template <int change>
LUMO_INLINE void countColumn(const std::uint16_t* ranks, int count, Count* histogram,
                             const SignedLanes& medians, Lanes& below) {
    for (int i = 0; i < count; ++i) {
        const std::uint16_t rank = ranks[i];
        histogram[rank] = static_cast<Count>(histogram[rank] + change);
        const SignedLanes value = static_cast<std::int16_t>(rank ^ 0x8000U) - SignedLanes{};
        const Lanes smaller = reinterpret_cast<Lanes>(value < medians);
        below = change > 0 ? below - smaller : below + smaller;
    }
}

/// The shared rows' values of the columns that leave and enter the windows.
LUMO_INLINE void moveSharedBody(const std::uint16_t* leaving, const std::uint16_t* entering,
                                int count, Count* histogram, const std::uint16_t* medians,
                                Count* below) {
    SignedLanes median;
    Lanes number;
    load(median, medians);
    load(number, below);
    countColumn<-1>(leaving, count, histogram, median, number);
    countColumn<+1>(entering, count, histogram, median, number);
    store(number, below);
}
LUMO_LEVELS(void, moveShared, moveSharedBody,
            (const std::uint16_t* leaving, const std::uint16_t* entering, int count,
             Count* histogram, const std::uint16_t* medians, Count* below),
            (leaving, entering, count, histogram, medians, below))

/// A window's median and how many of its values lie below it.
struct Position {
    int median, below;
};

/// Moves the median until as many values lie below it as belong there, and it occurs. A window's
/// histogram is the sum of two.
LUMO_INLINE Position walk(const Count* first, const Count* second, int wanted, Position at) {
    const auto empty = [&](int bin) {
        std::uint64_t a, b;
        static_assert(sizeof a == stride * sizeof(Count));
        std::memcpy(&a, first + bin, sizeof a);
        std::memcpy(&b, second + bin, sizeof b);
        return (a | b) == 0;
    };
    while (at.below > wanted) {
        if (empty(at.median - stride)) {
            at.median -= stride;
            continue;
        }
        --at.median;
        at.below -= first[at.median] + second[at.median];
    }
    for (;;) {
        if (empty(at.median)) {
            at.median += stride;
            continue;
        }
        const int here = first[at.median] + second[at.median];
        if (at.below + here > wanted) return at;
        at.below += here;
        ++at.median;
    }
}

#if defined(__x86_64__)
/// Sums of a block's bins from its first to each; sums[0] is 0.
LUMO_TARGET_AVX512 inline __m512i addUp(const Count* first, const Count* second, Count* sums) {
    __m512i all = _mm512_add_epi16(_mm512_loadu_si512(first), _mm512_loadu_si512(second));
    // In each quarter; then what is before it, one quarter and two quarters away.
    all = _mm512_add_epi16(all, _mm512_bslli_epi128(all, 2));
    all = _mm512_add_epi16(all, _mm512_bslli_epi128(all, 4));
    all = _mm512_add_epi16(all, _mm512_bslli_epi128(all, 8));
    const __m512i last = _mm512_set1_epi16(0x0F0E);
    const __m512i ends = _mm512_shuffle_epi8(all, last);
    all = _mm512_add_epi16(all, _mm512_maskz_shuffle_i64x2(0xFC, ends, ends, 0x90));
    const __m512i pairs = _mm512_shuffle_epi8(all, last);
    all = _mm512_add_epi16(all, _mm512_maskz_shuffle_i64x2(0xF0, pairs, pairs, 0x40));
    sums[0] = 0;
    _mm512_storeu_si512(sums + 1, all);
    return all;
}

/// The same, block by block: where most medians stay within one, nothing is left to guess for the
/// processor.
LUMO_TARGET_AVX512 Position walkInBlocks(const Count* first, const Count* second, int wanted,
                                         Position at) {
    Count sums[block + 1];
    int bin = at.median - block / 2;
    __m512i all = addUp(first + bin, second + bin, sums);
    int below = at.below - sums[block / 2];
    while (below > wanted) {
        bin -= block;
        all = addUp(first + bin, second + bin, sums);
        below -= sums[block];
    }
    while (below + sums[block] <= wanted) {
        below += sums[block];
        bin += block;
        all = addUp(first + bin, second + bin, sums);
    }
    const auto left = static_cast<short>(wanted - below);
    const int passed = std::popcount(_mm512_cmple_epu16_mask(all, _mm512_set1_epi16(left)));
    return {bin + passed, below + sums[passed]};
}
#endif

template <int bytes>
LUMO_INLINE Position moveMedianBody(const Count* first, const Count* second, int wanted,
                                    Position at) {
#if defined(__x86_64__)
    // All values of a 256 x 256 window in one block would not fit into 16 bits.
    if constexpr (bytes == avx512Bytes)
        if (wanted < 256 * 256 / 2) return walkInBlocks(first, second, wanted, at);
#endif
    return walk(first, second, wanted, at);
}
LUMO_LEVELS(Position, moveMedian, moveMedianBody<bytes>,
            (const Count* first, const Count* second, int wanted, Position at),
            (first, second, wanted, at))

/// The windows of some neighbouring rows that begin in the same column.
class WindowGroup {
public:
    explicit WindowGroup(int n)
        : n_(n),
          bins_(static_cast<std::size_t>(block + (mostWindows + 1) * binStrideFor(greyValues))) {}

    /// Begins at the tile's column 0 with the windows that begin in rows top .. top + windows - 1.
    void begin(const TileRanks& tile, int top, int windows);
    /// Moves to the next column.
    void step(const TileRanks& tile, int column);
    [[nodiscard]] int median(int window) const {
        return medians_[static_cast<std::size_t>(window)] ^ 0x8000;
    }

private:
    static constexpr std::ptrdiff_t binStrideFor(std::size_t bins) {
        return static_cast<std::ptrdiff_t>((bins / block + 2) * block);
    }
    [[nodiscard]] Count* own(int window) { return shared() + (window + 1) * binStride_; }
    [[nodiscard]] Count* shared() { return bins_.data() + block; }
    template <int change>
    void countOwn(const std::uint16_t* column, int window);
    void moveMedianOf(int window);

    int n_, top_ = 0, windows_ = 0, sharedRows_ = 0;
    std::ptrdiff_t binStride_ = 0;
    std::vector<Count> bins_;
    std::array<std::uint16_t, mostWindows> medians_{};
    std::array<Count, mostWindows> below_{};
};

template <int change>
void WindowGroup::countOwn(const std::uint16_t* column, int window) {
    Count* histogram = own(window);
    const int median = this->median(window);
    int below = 0;
    const auto count = [&](int first, int end) {
        for (int y = first; y < end; ++y) {
            const std::uint16_t rank = column[y];
            histogram[rank] = static_cast<Count>(histogram[rank] + change);
            below += rank < median ? change : 0;
        }
    };
    count(window, windows_ - 1);
    count(n_, n_ + window);
    auto& number = below_[static_cast<std::size_t>(window)];
    number = static_cast<Count>(number + below);
}

void WindowGroup::begin(const TileRanks& tile, int top, int windows) {
    top_ = top;
    windows_ = windows;
    sharedRows_ = n_ - windows + 1;
    binStride_ = binStrideFor(static_cast<std::size_t>(tile.count()));
    std::fill_n(bins_.begin(), block + (windows + 1) * binStride_, Count{0});
    medians_.fill(0x8000);
    below_.fill(0);
    for (int x = 0; x < n_; ++x) {
        const std::uint16_t* column = tile.column(x) + top;
        for (int y = windows - 1; y < n_; ++y) ++shared()[column[y]];
        for (int window = 0; window < windows; ++window) countOwn<+1>(column, window);
    }
    for (int window = 0; window < windows; ++window) moveMedianOf(window);
}

void WindowGroup::step(const TileRanks& tile, int column) {
    const std::uint16_t* leaving = tile.column(column) + top_;
    const std::uint16_t* entering = tile.column(column + n_) + top_;
    moveShared(leaving + windows_ - 1, entering + windows_ - 1, sharedRows_, shared(),
               medians_.data(), below_.data());
    for (int window = 0; window < windows_; ++window) {
        countOwn<-1>(leaving, window);
        countOwn<+1>(entering, window);
    }
    // Later, when the counts have left the store queue: wide loads cannot be served from there.
    for (int window = 0; window < windows_; ++window) moveMedianOf(window);
}

void WindowGroup::moveMedianOf(int window) {
    const auto at = static_cast<std::size_t>(window);
    const Position position =
        moveMedian(shared(), own(window), n_ * n_ / 2, {median(window), below_[at]});
    medians_[at] = static_cast<std::uint16_t>(position.median ^ 0x8000);
    below_[at] = static_cast<Count>(position.below);
}

}  // namespace

void medianByHistogram(Source source, Target target, int n) {
    const int columns = source.width - n, rows = source.height - n;
    const int together = std::clamp(static_cast<int>(std::lround(std::sqrt(n))), 1, mostWindows);
    const int tileColumns = tileColumnsFor(n);
    TileRanks tile(std::min(tileColumns, columns) + n, std::min(tileRows, rows) + n);
    WindowGroup group(n);
    for (int y = 0; y < rows; y += tileRows)
        for (int x = 0; x < columns; x += tileColumns) {
            const int tileWidth = std::min(tileColumns, columns - x);
            const int tileHeight = std::min(tileRows, rows - y);
            // The last windows end a column and a row before what is read; so do those of the
            // image.
            tile.read(source, x, y, tileWidth + n, tileHeight + n);
            for (int top = 0; top < tileHeight; top += together) {
                const int windows = std::min(together, tileHeight - top);
                // One window alone would share all its values, 65536 where n is 256: one too many
                // for a count. The tile has the row that a second one takes.
                group.begin(tile, top, std::max(windows, 2));
                for (int i = 0; i < tileWidth; ++i) {
                    for (int k = 0; k < windows; ++k)
                        target.row(y + top + k)[x + i] = tile.greyValue(group.median(k));
                    group.step(tile, i);
                }
            }
        }
}

}  // namespace lumo
