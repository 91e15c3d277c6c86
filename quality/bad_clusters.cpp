// What a map of bad pixels holds: kinds, single pixels, clusters, lines.
#include <algorithm>
#include <bit>
#include <numeric>

#include "quality/bad_map.h"
#include "quality/record.h"

namespace lumo {
namespace {

/// Neighbouring bad pixels of one row, and what is known of the cluster whose first run it is.
struct Stretch {
    int y, x1, x2;
    std::size_t parent;  ///< another run of the cluster, or itself
    LumoBadCluster cluster;
};

class Clusters {
public:
    explicit Clusters(const BadMap& map) : map_(map) {
        std::size_t above = 0;  // the first run of the row above
        for (int y = 0; y < map.height; ++y) {
            const std::size_t first = runs_.size();
            forEachBad(map.row(y), map.width, [&](int x) { add(x, y, first); });
            joinRows(above, first);
            above = first;
        }
        for (std::size_t i = runs_.size(); i-- > 0;) merge(i);
    }

    /// By their first pixel, row by row; single pixels among them.
    [[nodiscard]] std::vector<LumoBadCluster> all() const {
        std::vector<LumoBadCluster> clusters;
        for (std::size_t i = 0; i < runs_.size(); ++i)
            if (runs_[i].parent == i) clusters.push_back(runs_[i].cluster);
        return clusters;
    }

private:
    void add(int x, int y, std::size_t firstOfRow) {
        if (runs_.size() == firstOfRow || runs_.back().x2 != x - 1)
            runs_.push_back({y, x, x - 1, runs_.size(), {{x, y, x, y}, 0, 0}});
        Stretch& run = runs_.back();
        run.x2 = run.cluster.box.x2 = x;
        ++run.cluster.pixels;
        if (map_.goodNeighbours(x, y) < enoughNeighbours) run.cluster.relevant = 1;
    }

    /// Joins the runs from `first` on with those of the row above that they touch.
    void joinRows(std::size_t above, std::size_t first) {
        std::size_t i = above;
        for (std::size_t k = first; k < runs_.size(); ++k) {
            // Another run may touch the one above that this one touched last.
            while (i < first && runs_[i].x2 < runs_[k].x1 - 1) ++i;
            for (std::size_t j = i; j < first && runs_[j].x1 <= runs_[k].x2 + 1; ++j)
                if (runs_[j].y == runs_[k].y - 1) join(j, k);
        }
    }

    std::size_t rootOf(std::size_t i) {
        while (runs_[i].parent != i) i = runs_[i].parent = runs_[runs_[i].parent].parent;
        return i;
    }
    /// The first run of a cluster is its root.
    void join(std::size_t a, std::size_t b) {
        const auto [first, second] = std::minmax({rootOf(a), rootOf(b)});
        runs_[second].parent = first;
    }
    void merge(std::size_t i) {
        const std::size_t root = rootOf(i);
        if (root == i) return;
        LumoBadCluster &to = runs_[root].cluster, &from = runs_[i].cluster;
        to.pixels += from.pixels;
        to.relevant |= from.relevant;
        to.box = {std::min(to.box.x1, from.box.x1), std::min(to.box.y1, from.box.y1),
                  std::max(to.box.x2, from.box.x2), std::max(to.box.y2, from.box.y2)};
    }

    BadMap map_;
    std::vector<Stretch> runs_;
};

/// Pixels of each kind, all bad ones, and whole lines.
void countPixels(const BadMap& map, LumoBadPixels& to) {
    std::vector<std::uint32_t> inColumn(static_cast<std::size_t>(map.width));
    const auto isLine = [](std::uint32_t bad, int length) {
        return std::uint64_t{bad} * 10 >= static_cast<std::uint64_t>(length) * 9;
    };
    for (int y = 0; y < map.height; ++y) {
        const std::uint16_t* row = map.row(y);
        std::uint32_t inRow = 0;
        forEachBad(row, map.width, [&](int x) {
            ++inRow;
            ++inColumn[static_cast<std::size_t>(x)];
            for (int kind = 0; kind < LUMO_BAD_PIXEL_KINDS; ++kind)
                to.kinds[kind] += static_cast<std::uint32_t>(row[x] >> kind & 1);
        });
        to.bad += inRow;
        if (isLine(inRow, map.width)) ++to.rows;
    }
    to.columns = static_cast<std::uint32_t>(std::ranges::count_if(
        inColumn, [&](std::uint32_t bad) { return isLine(bad, map.height); }));
}

std::vector<LumoBadCluster> listBadPixels(const Image& image, LumoBadPixels& to) {
    if (image.data == nullptr || image.width == 0 || image.height == 0) raise(LumoErrorImage);
    const BadMap map{asSource(viewOf(image))};
    countPixels(map, to);
    std::vector<LumoBadCluster> clusters = Clusters(map).all();
    to.singles = static_cast<std::uint32_t>(
        std::erase_if(clusters, [](const LumoBadCluster& one) { return one.pixels == 1; }));
    to.clusters = static_cast<std::uint32_t>(clusters.size());
    to.relevantClusters =
        static_cast<std::uint32_t>(std::ranges::count(clusters, 1U, &LumoBadCluster::relevant));
    return clusters;
}

}  // namespace
}  // namespace lumo

extern "C" int LumoListBadPixels(Image map, LumoBadPixels* result, LumoBadCluster* clusters,
                                 int32_t* count) {
    using namespace lumo;
    constexpr LumoBadPixels none{sizeof(LumoBadPixels), 0, 0, 0, {}, 0, 0, 0, 0, 0};
    return measured("LumoListBadPixels", result, none, [&](LumoBadPixels& figures) {
        handOut(listBadPixels(map, figures), clusters, count);
    });
}
