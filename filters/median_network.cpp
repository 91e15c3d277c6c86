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
#include <memory>
#include <utility>

#include "filters/sorting_network.h"
#include "platform/stream_store.h"
#include "platform/vectors.h"

namespace lumo {
namespace {

template <int bytes>
using Pixels = Vector<std::uint16_t, bytes>;
template <int bytes>
constexpr int lanes = bytes / int{sizeof(std::uint16_t)};

/// Windows per row of a tile, and what its lists hold beyond, for the reads at an offset.
constexpr int tileWindows = 192;
constexpr int tileStride = tileWindows + 2 * lanes<avx512Bytes>;

template <class Pixels>
LUMO_INLINE void exchange(Pixels& a, Pixels& b) {
    const Pixels low = a < b ? a : b;
    b = a < b ? b : a;
    a = low;
}

template <const auto& network, std::size_t first, class Pixels, std::size_t... i>
LUMO_INLINE void exchangeSome([[maybe_unused]] Pixels* wires, std::index_sequence<i...>) {
    (exchange(wires[network.comparators[first + i].low],
              wires[network.comparators[first + i].high]),
     ...);
}

/// Applies a network; what is not read of its results is not computed. In parts, as compilers limit
/// the length of an expression.
template <const auto& network, std::size_t first = 0, class Pixels>
LUMO_INLINE void apply(Pixels* wires) {
    constexpr std::size_t end = std::min(network.count, first + 128);
    exchangeSome<network, first>(wires, std::make_index_sequence<end - first>());
    if constexpr (end < network.count) apply<network, end>(wires);
}

template <class Pixels, int... i>
LUMO_INLINE void loadLists(Pixels* wires, const std::uint16_t* lists,
                           std::integer_sequence<int, i...>) {
    (load(wires[i], lists + i * tileStride), ...);
}

template <const auto& network, int first, class Pixels, int... i>
LUMO_INLINE void storeLists(const Pixels* wires, std::uint16_t* lists,
                            std::integer_sequence<int, i...>) {
    (store(wires[network.order[first + i]], lists + i * tileStride), ...);
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
template <int bytes, int n, int widthA, int widthB>
LUMO_INLINE void join(const std::uint16_t* a, const std::uint16_t* b, std::uint16_t* joined,
                      int count) {
    constexpr Ranks ranksA = Plan<n>::ranks(widthA), ranksB = Plan<n>::ranks(widthB);
    constexpr Ranks ranks = Plan<n>::ranks(widthA + widthB);
    constexpr auto& network = mergingNetwork<ranksA.count(), ranksB.count()>;
    for (int x = 0; x < count; x += lanes<bytes>) {
        Pixels<bytes> wires[static_cast<std::size_t>(ranksA.count() + ranksB.count())];
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

template <int bytes, int n, int... y>
LUMO_INLINE void sortColumns(const Pair& pair, std::integer_sequence<int, y...> height) {
    constexpr auto& network = sortingNetwork<n - 1>;
    for (int x = 0; x < pair.count + n - 1; x += lanes<bytes>) {
        Pixels<bytes> wires[sizeof...(y)];
        (load(wires[y], pair.rows[y + 1] + x), ...);
        apply<network>(wires);
        storeLists<network, 0>(wires, pair.lists + x, height);
    }
}

/// Makes the lists of 2 * width columns, and so on; returns where the next lists go.
template <int bytes, int n, int width>
LUMO_INLINE std::uint16_t* widen(Widths& widths, std::uint16_t* next, int count) {
    if constexpr (2 * width <= n) {
        const std::uint16_t* lists = widths[power(width)];
        join<bytes, n, width, width>(lists, lists, next, count + n - 2 * width);
        widths[power(2 * width)] = next;
        next += Plan<n>::ranks(2 * width).count() * tileStride;
        return widen<bytes, n, 2 * width>(widths, next, count);
    } else {
        return next;
    }
}

/// Adds to the lists of `width` columns the others of the window; returns the candidates.
template <int bytes, int n, int width>
LUMO_INLINE const std::uint16_t* complete(const Widths& widths, const std::uint16_t* lists,
                                          std::uint16_t* next, int count) {
    if constexpr (width < n) {
        constexpr int more = static_cast<int>(std::bit_floor(static_cast<unsigned>(n - width)));
        join<bytes, n, width, more>(lists, widths[power(more)], next, count + n - width - more);
        return complete<bytes, n, width + more>(
            widths, next, next + Plan<n>::ranks(width + more).count() * tileStride, count);
    } else {
        return lists;
    }
}

/// Medians of the candidates and one more row: among two sorted lists a and b the value of rank r
/// is the smallest of max(a[r - 1 - i], b[i]), with a[r] alone at one end and b[r] at the other.
/// Here r is the length of b, so there is no b[r].
template <int bytes, int n, int... i>
LUMO_INLINE void select(const std::uint16_t* candidates, const std::uint16_t* row,
                        std::uint16_t* medians, int count, std::integer_sequence<int, i...>) {
    constexpr Ranks ranks = Plan<n>::ranks(n);
    constexpr int rank = Plan<n>::median - ranks.first;
    static_assert(rank == n);
    constexpr auto& network = sortingNetwork<n>;
    for (int x = 0; x < count; x += lanes<bytes>) {
        Pixels<bytes> wires[std::size_t{n}];
        (load(wires[i], row + x + i), ...);
        apply<network>(wires);
        Pixels<bytes> median = ~Pixels<bytes>{};
        if constexpr (rank < ranks.count()) load(median, candidates + rank * tileStride + x);
        const auto meet = [&](int a, const Pixels<bytes>& b) __attribute__((always_inline)) {
            Pixels<bytes> value;
            load(value, candidates + a * tileStride + x);
            lower(median, value < b ? b : value);
        };
        (meet(rank - 1 - i, wires[network.order[i]]), ...);
        if (count - x >= lanes<bytes>)
            store(median, medians + x);
        else
            std::memcpy(medians + x, &median, static_cast<std::size_t>(count - x) * 2);
    }
}

template <int bytes, int n>
LUMO_INLINE void medianPair(const Pair& pair) {
    constexpr std::make_integer_sequence<int, n> values;
    sortColumns<bytes, n>(pair, std::make_integer_sequence<int, n - 1>());
    Widths widths{pair.lists};
    std::uint16_t* next = widen<bytes, n, 1>(widths, pair.lists + (n - 1) * tileStride, pair.count);
    constexpr int widest = static_cast<int>(std::bit_floor(unsigned{n}));
    const std::uint16_t* candidates =
        complete<bytes, n, widest>(widths, widths[power(widest)], next, pair.count);
    select<bytes, n>(candidates, pair.rows[0], pair.upper, pair.count, values);
    if (pair.lower != nullptr)
        select<bytes, n>(candidates, pair.rows[n], pair.lower, pair.count, values);
}

#ifdef LUMO_SANITIZED
// Instrumented, the larger networks take minutes to compile; they are the same code.
constexpr int largestBaseline = 5, largest = 7;
#else
constexpr int largestBaseline = 8, largest = 16;
#endif

/// With the few registers of the baseline the larger networks do not pay: there are none.
template <int bytes, int n>
LUMO_INLINE void medianPairBody(const Pair& pair) {
    if constexpr (bytes > baselineBytes || n <= largestBaseline) medianPair<bytes, n>(pair);
}

template <int n>
struct Kernel {
    LUMO_LEVELS(void, medianOfNetwork, (medianPairBody<bytes, n>), (const Pair& pair), (pair))
};

using MedianPair = void (*)(const Pair&);

template <int... below>
MedianPair kernelFor(int n, std::integer_sequence<int, below...>) {
    static constexpr MedianPair kernels[] = {Kernel<below + 2>::medianOfNetwork...};
    return kernels[n - 2];
}

/// All lists of a pair: those of 1, 2, 4, ... columns and the completed ones hold at most the inner
/// rows' values, and their widths double.
constexpr std::size_t mostLists = std::size_t{6} * largest * largest;

/// Asks for a tile's part of a row that the next pair reads or writes.
template <bool write, class Pixel>
void prefetchRow(View<Pixel> image, int x, int y) {
    if (y >= image.height) return;
    constexpr int line = lineBytes / int{sizeof(Pixel)};
    const int end = std::min(x + tileWindows, image.width);
    for (; x < end; x += line) __builtin_prefetch(image.row(y) + x, write);
}

}  // namespace

int largestNetworkWindow() {
    return cpuLevel() == CpuLevel::Baseline ? largestBaseline : largest;
}

void medianByNetwork(Source source, Target target, int n) {
    const MedianPair kernel = kernelFor(n, std::make_integer_sequence<int, largest - 1>());
    const auto memory = std::make_unique<std::uint16_t[]>(mostLists * tileStride + lineBytes);
    std::uint16_t* lists = memory.get() + pixelsToLine(memory.get());
    const auto padded = std::make_unique<std::uint16_t[]>((largest + 1) * std::size_t{tileStride});
    std::array<const std::uint16_t*, largest + 1> rows{};
    const int windows = source.width - n, windowRows = source.height - n;

    for (int y = 0; y < windowRows; y += 2)
        for (int x = 0; x < windows; x += tileWindows) {
            prefetchRow<false>(source, x, y + n + 1);
            prefetchRow<false>(source, x, y + n + 2);
            prefetchRow<true>(target, x, y + 2);
            prefetchRow<true>(target, x, y + 3);
            const int inside = std::min(source.width - x, tileStride);
            for (int k = 0; k <= n; ++k) {
                const auto at = static_cast<std::size_t>(k);
                rows[at] = source.row(y + k) + x;
                if (inside == tileStride) continue;
                // The tile's reads would leave the row.
                rows[at] = std::copy_n(rows[at], inside, padded.get() + at * tileStride) - inside;
            }
            kernel({rows.data(), lists, target.row(y) + x,
                    y + 1 < windowRows ? target.row(y + 1) + x : nullptr,
                    std::min(tileWindows, windows - x)});
        }
}

}  // namespace lumo
