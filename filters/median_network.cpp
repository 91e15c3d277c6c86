// Medians of small windows, two rows at once, a vector of neighbouring windows at a time.
//
// The windows of two rows share their n - 1 inner rows. The columns of these are sorted, neighbours
// merged to lists 2, 4, 8 columns wide, and these joined to the n columns of the window. A value
// with too many known to be smaller, or larger, beside it cannot be the median of either window:
// each list keeps only the ranks that still can. At last n + 1 candidates meet the n sorted values
// of the row above, for the first window, and of the row below, for the second.
#include "filters/median_network.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <memory>
#include <utility>

#include "filters/sorting_network.h"
#include "platform/cpu_level.h"

namespace lumo {
namespace {

constexpr int lanes = 16;
using Vector [[gnu::vector_size(lanes * sizeof(std::uint16_t))]] = std::uint16_t;

/// Windows per row of a tile, and what its lists hold beyond, for the reads at an offset.
constexpr int tileWindows = 128;
constexpr int tileStride = tileWindows + 2 * lanes;

LUMO_INLINE void exchange(Vector& a, Vector& b) {
    const Vector low = a < b ? a : b;
    b = a < b ? b : a;
    a = low;
}

template <const auto& network, std::size_t first, std::size_t... i>
LUMO_INLINE void exchangeSome([[maybe_unused]] Vector* wires, std::index_sequence<i...>) {
    (exchange(wires[network.comparators[first + i].low],
              wires[network.comparators[first + i].high]),
     ...);
}

/// Applies a network; what is not read of its results is not computed. In parts, as compilers limit
/// the length of an expression.
template <const auto& network, std::size_t first = 0>
LUMO_INLINE void apply(Vector* wires) {
    constexpr std::size_t end = std::min(network.count, first + 128);
    exchangeSome<network, first>(wires, std::make_index_sequence<end - first>());
    if constexpr (end < network.count) apply<network, end>(wires);
}

template <int... i>
LUMO_INLINE void loadLists(Vector* wires, const std::uint16_t* lists,
                           std::integer_sequence<int, i...>) {
    (std::memcpy(&wires[i], lists + i * tileStride, sizeof *wires), ...);
}

template <const auto& network, int first, int... i>
LUMO_INLINE void storeLists(const Vector* wires, std::uint16_t* lists,
                            std::integer_sequence<int, i...>) {
    (std::memcpy(lists + i * tileStride, &wires[network.order[first + i]], sizeof *wires), ...);
}

/// The ranks [first, end) that a list keeps of its values.
struct Ranks {
    int first, end;
    [[nodiscard]] constexpr int count() const { return end - first; }
};

/// Which ranks of the inner columns matter.
template <int n>
struct Plan {
    static constexpr int columnHeight = n - 1;
    static constexpr int inner = n * columnHeight;
    static constexpr int median = n * n / 2;

    /// Of `columns` columns: what can be the median once the window's other values have come.
    static constexpr Ranks ranks(int columns) {
        const int values = columns * columnHeight, others = n * n - values;
        return {std::max(0, median - others), std::min(values, median + 1)};
    }
};

/// Merges the lists of `widthA` columns with those of the `widthB` columns beside them.
template <int n, int widthA, int widthB>
LUMO_INLINE void join(const std::uint16_t* a, const std::uint16_t* b, std::uint16_t* joined,
                      int count) {
    constexpr Ranks ranksA = Plan<n>::ranks(widthA), ranksB = Plan<n>::ranks(widthB);
    constexpr Ranks ranks = Plan<n>::ranks(widthA + widthB);
    constexpr auto& network = mergingNetwork<ranksA.count(), ranksB.count()>;
    for (int x = 0; x < count; x += lanes) {
        Vector wires[static_cast<std::size_t>(ranksA.count() + ranksB.count())];
        loadLists(wires, a + x, std::make_integer_sequence<int, ranksA.count()>());
        loadLists(wires + ranksA.count(), b + x + widthA,
                  std::make_integer_sequence<int, ranksB.count()>());
        apply<network>(wires);
        // What the parts have dropped below is below every rank that is left.
        storeLists<network, ranks.first - ranksA.first - ranksB.first>(
            wires, joined + x, std::make_integer_sequence<int, ranks.count()>());
    }
}

/// Lists by the width of their columns: 1, 2, 4, 8, 16.
using Widths = std::array<const std::uint16_t*, 5>;

constexpr std::size_t power(int width) {
    return static_cast<std::size_t>(std::bit_width(static_cast<unsigned>(width)) - 1);
}

/// The tile of a pair of rows.
struct Pair {
    const std::uint16_t* const* rows;  ///< n + 1 rows from the first window's top row
    std::uint16_t* lists;              ///< room for the lists
    std::uint16_t *upper, *lower;      ///< [out] the medians; no lower ones if null
    int count;                         ///< windows per row
};

template <int n>
LUMO_INLINE void sortColumns(const Pair& pair) {
    constexpr int height = n - 1;
    for (int x = 0; x < pair.count + n - 1; x += lanes) {
        Vector wires[std::size_t{height}];
        for (int y = 0; y < height; ++y)
            std::memcpy(&wires[y], pair.rows[y + 1] + x, sizeof *wires);
        apply<sortingNetwork<height>>(wires);
        storeLists<sortingNetwork<height>, 0>(wires, pair.lists + x,
                                              std::make_integer_sequence<int, height>());
    }
}

/// Makes the lists of 2 * width columns, and so on; returns where the next lists go.
template <int n, int width>
LUMO_INLINE std::uint16_t* widen(Widths& widths, std::uint16_t* next, int count) {
    if constexpr (2 * width <= n) {
        const std::uint16_t* lists = widths[power(width)];
        join<n, width, width>(lists, lists, next, count + n - 2 * width);
        widths[power(2 * width)] = next;
        next += Plan<n>::ranks(2 * width).count() * tileStride;
        return widen<n, 2 * width>(widths, next, count);
    } else {
        return next;
    }
}

/// Adds to the lists of `width` columns the others of the window; returns the candidates.
template <int n, int width>
LUMO_INLINE const std::uint16_t* complete(const Widths& widths, const std::uint16_t* lists,
                                          std::uint16_t* next, int count) {
    if constexpr (width < n) {
        constexpr int more = static_cast<int>(std::bit_floor(static_cast<unsigned>(n - width)));
        join<n, width, more>(lists, widths[power(more)], next, count + n - width - more);
        return complete<n, width + more>(
            widths, next, next + Plan<n>::ranks(width + more).count() * tileStride, count);
    } else {
        return lists;
    }
}

/// Medians of the candidates and one more row: among two sorted lists a and b the value of rank r
/// is the smallest of max(a[i], b[r - i - 1]), with a[r] alone at one end and b[r] at the other.
template <int n>
LUMO_INLINE void select(const std::uint16_t* candidates, const std::uint16_t* row,
                        std::uint16_t* medians, int count) {
    constexpr Ranks ranks = Plan<n>::ranks(n);
    constexpr int rank = Plan<n>::median - ranks.first;
    constexpr auto& network = sortingNetwork<n>;
    for (int x = 0; x < count; x += lanes) {
        Vector wires[std::size_t{n}];
        for (int i = 0; i < n; ++i) std::memcpy(&wires[i], row + x + i, sizeof *wires);
        apply<network>(wires);
        Vector median;
        std::memset(&median, 0xFF, sizeof median);
        if constexpr (rank < n) median = wires[network.order[rank]];
        for (int i = 0; i < ranks.count() && i <= rank; ++i) {
            Vector value;
            std::memcpy(&value, candidates + std::ptrdiff_t{i} * tileStride + x, sizeof value);
            if (i < rank) {
                const Vector& other = wires[network.order[rank - 1 - i]];
                value = value < other ? other : value;
            }
            median = value < median ? value : median;
        }
        if (count - x >= lanes)
            std::memcpy(medians + x, &median, sizeof median);
        else
            std::memcpy(medians + x, &median, static_cast<std::size_t>(count - x) * 2);
    }
}

template <int n>
LUMO_INLINE void medianPair(const Pair& pair) {
    sortColumns<n>(pair);
    Widths widths{pair.lists};
    std::uint16_t* next = widen<n, 1>(widths, pair.lists + (n - 1) * tileStride, pair.count);
    constexpr int widest = static_cast<int>(std::bit_floor(unsigned{n}));
    const std::uint16_t* candidates =
        complete<n, widest>(widths, widths[power(widest)], next, pair.count);
    select<n>(candidates, pair.rows[0], pair.upper, pair.count);
    if (pair.lower != nullptr) select<n>(candidates, pair.rows[n], pair.lower, pair.count);
}

template <int n>
void medianPairBaseline(const Pair& pair) {
    medianPair<n>(pair);
}
template <int n>
LUMO_TARGET_AVX2 void medianPairAvx2(const Pair& pair) {
    medianPair<n>(pair);
}

using Kernel = void (*)(const Pair&);

#ifdef LUMO_SANITIZED
// Instrumented, the larger networks take minutes to compile; they are the same code.
constexpr int largestBaseline = 5, largestAvx2 = 7;
#else
constexpr int largestBaseline = 8, largestAvx2 = 16;
#endif

template <int... below>
Kernel baselineKernel(int n, std::integer_sequence<int, below...>) {
    static constexpr Kernel kernels[] = {medianPairBaseline<below + 2>...};
    return kernels[n - 2];
}
template <int... below>
Kernel avx2Kernel(int n, std::integer_sequence<int, below...>) {
    static constexpr Kernel kernels[] = {medianPairAvx2<below + 2>...};
    return kernels[n - 2];
}

Kernel kernelFor(int n) {
    return cpuLevel() == CpuLevel::Baseline
               ? baselineKernel(n, std::make_integer_sequence<int, largestBaseline - 1>())
               : avx2Kernel(n, std::make_integer_sequence<int, largestAvx2 - 1>());
}

/// All lists of a pair: those of 1, 2, 4, ... columns and the completed ones hold at most the inner
/// rows' values, and their widths double.
constexpr std::size_t mostLists = std::size_t{6} * largestAvx2 * largestAvx2;

}  // namespace

int largestNetworkWindow() {
    return cpuLevel() == CpuLevel::Baseline ? largestBaseline : largestAvx2;
}

void medianByNetwork(Source source, Target target, int n) {
    const Kernel kernel = kernelFor(n);
    const auto lists = std::make_unique<std::uint16_t[]>(mostLists * tileStride);
    const auto padded =
        std::make_unique<std::uint16_t[]>((largestAvx2 + 1) * std::size_t{tileStride});
    std::array<const std::uint16_t*, largestAvx2 + 1> rows{};
    const int windows = source.width - n, windowRows = source.height - n;

    for (int y = 0; y < windowRows; y += 2)
        for (int x = 0; x < windows; x += tileWindows) {
            const int inside = std::min(source.width - x, tileStride);
            for (int k = 0; k <= n; ++k) {
                const auto at = static_cast<std::size_t>(k);
                rows[at] = source.row(y + k) + x;
                if (inside == tileStride) continue;
                // The tile's reads would leave the row.
                rows[at] = std::copy_n(rows[at], inside, padded.get() + at * tileStride) - inside;
            }
            kernel({rows.data(), lists.get(), target.row(y) + x,
                    y + 1 < windowRows ? target.row(y + 1) + x : nullptr,
                    std::min(tileWindows, windows - x)});
        }
}

}  // namespace lumo
