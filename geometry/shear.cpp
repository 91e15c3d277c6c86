// Two integer shears in one pass. The column shear moves target pixel (x, y) from row y + m(x) of
// the row-sheared image, and that one's row Y from column x + k(Y) of the source, so each target
// pixel has one source pixel: neighbouring columns with the same m are a run that is copied.
#include "geometry/shear.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "geometry/angle.h"
#include "platform/cpu_level.h"

namespace lumo {
namespace {

constexpr int stripWidth = 512;  // the source rows that a strip touches at a time stay in the cache
constexpr int rowsAhead = 4;     // between fetching a row and taking from it
constexpr int chunk = 16;        // pixels copied at once

/// A distance as a whole number of pixels; beyond 65536 no pixel of any image is left.
int wholeShift(double distance) {
    return static_cast<int>(std::clamp(distance, -65536.0, 65536.0));
}

struct Shear {
    bool positive;
    double tangent;
    int width, height;

    [[nodiscard]] int ofRow(int y) const {
        return wholeShift(positive ? (height - 1 - y) * tangent : -y * tangent);
    }
    [[nodiscard]] int ofColumn(int x) const {
        return wholeShift(positive ? x * tangent : (x + 1 - width) * tangent);
    }
};

/// Neighbouring columns that are shifted alike.
struct Run {
    int first, last, shift;
};

int findRuns(const Shear& shear, int first, int last, Run* runs) {
    int count = 0;
    for (int x = first; x < last; ++x) {
        const int shift = shear.ofColumn(x);
        if (count == 0 || runs[count - 1].shift != shift) runs[count++] = {x, x, shift};
        runs[count - 1].last = x + 1;
    }
    return count;
}

/// Fills a run in a target row from `row` displaced by `shift`. Whole chunks may overwrite what
/// follows the run, up to `end`: runs are filled from left to right.
LUMO_INLINE void fillRun(std::uint16_t* to, Run run, int end, const std::uint16_t* row, int shift,
                         int width) {
    const int from = std::clamp(-shift, run.first, run.last);
    const int until = std::clamp(width - shift, from, run.last);
    std::fill(to + run.first, to + from, std::uint16_t{0});
    int x = from;
    const int lastChunk = std::min(end, width - shift) - chunk;
    for (; x < until && x <= lastChunk; x += chunk)
        std::memcpy(to + x, row + shift + x, chunk * sizeof *to);
    for (; x < until; ++x) to[x] = row[shift + x];
    std::fill(to + until, to + run.last, std::uint16_t{0});
}

/// Fetches what the strip will take of a source row. Its runs come to a row one after the other,
/// each at its own time and in small pieces, which the processor does not foresee.
LUMO_INLINE void prefetchRow(Source source, const Shear& shear, int y, int first, int end) {
    if (y < 0 || y >= source.height) return;
    constexpr int line = 32;
    const int shift = shear.ofRow(y);
    const int from = std::clamp(first + shift, 0, source.width);
    const int until = std::clamp(end + shift, 0, source.width);
    for (int x = from; x < until; x += line) __builtin_prefetch(source.row(y) + x);
}

LUMO_INLINE void shearStrip(Source source, const Shear& shear, Target target, int first) {
    Run runs[stripWidth];
    const int end = std::min(first + stripWidth, target.width);
    const int count = findRuns(shear, first, end, runs);
    const int deepest = std::max(runs[0].shift, runs[count - 1].shift);
    for (int y = 0; y < target.height; ++y) {
        std::uint16_t* to = target.row(y);
        prefetchRow(source, shear, y + deepest + rowsAhead, first, end);
        for (int i = 0; i < count; ++i) {
            const int from = y + runs[i].shift;
            if (from < 0 || from >= source.height)
                std::fill(to + runs[i].first, to + runs[i].last, std::uint16_t{0});
            else
                fillRun(to, runs[i], end, source.row(from), shear.ofRow(from), source.width);
        }
    }
}
LUMO_LEVELS(void, shearStripAtLevel, shearStrip,
            (Source source, const Shear& shear, Target target, int first),
            (source, shear, target, first))

}  // namespace

void shear(Source source, double angle, Target target) {
    const double turn = radians(angle);
    const Shear shear{turn > 0, std::tan(turn), source.width, source.height};
    for (int x = 0; x < target.width; x += stripWidth) shearStripAtLevel(source, shear, target, x);
}

}  // namespace lumo
