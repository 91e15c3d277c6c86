// Two integer shears in one pass. The column shear moves target pixel (x, y) from row y + m(x) of
// the row-sheared image, and that one's row Y from column x + k(Y) of the source, so each target
// pixel has one source pixel: neighbouring columns with the same m are a run that is copied.
//
// Most rows of a strip take all of their runs from inside the source; there runs are copied in
// chunks, each of which may overwrite what follows its run, as runs are filled from left to right.
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "geometry/angle.h"
#include "geometry/new_raster.h"
#include "image/view.h"
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

/// A strip of the target's columns, its runs, and the shifts of all source rows.
struct Strip {
    int first, end;
    Run runs[stripWidth];
    int count = 0;    // of runs
    int chunked = 0;  // of the first runs whose chunks all end within the strip
    const std::int32_t* rowShifts;

    Strip(const Shear& shear, int firstColumn, const std::int32_t* shifts)
        : first(firstColumn),
          end(std::min(firstColumn + stripWidth, shear.width)),
          rowShifts(shifts) {
        count = findRuns(shear, first, end, runs);
        const auto fits = [this](const Run& run) {
            return run.first + (run.last - run.first + chunk - 1) / chunk * chunk <= end;
        };
        while (chunked < count && fits(runs[chunked])) ++chunked;
    }
    [[nodiscard]] int highest() const { return std::min(runs[0].shift, runs[count - 1].shift); }
    [[nodiscard]] int deepest() const { return std::max(runs[0].shift, runs[count - 1].shift); }
    /// Whether target row y takes all pixels from inside the source.
    [[nodiscard]] bool inside(Source source, int y) const {
        const int top = y + highest(), bottom = y + deepest();
        if (top < 0 || bottom >= source.height) return false;
        const auto [least, most] = std::minmax(rowShifts[top], rowShifts[bottom]);
        return first + least >= 0 && end + most <= source.width;
    }
};

/// Fills a run in a target row from any source row, with zeros where there is no source.
LUMO_INLINE void fillRun(std::uint16_t* to, const Run& run, Source source, int y,
                         const std::int32_t* rowShifts) {
    if (y < 0 || y >= source.height) {
        std::fill(to + run.first, to + run.last, std::uint16_t{0});
        return;
    }
    const int shift = rowShifts[y];
    const int from = std::clamp(-shift, run.first, run.last);
    const int until = std::clamp(source.width - shift, from, run.last);
    const std::uint16_t* row = source.row(y);
    std::fill(to + run.first, to + from, std::uint16_t{0});
    for (int x = from; x < until; ++x) to[x] = row[shift + x];
    std::fill(to + until, to + run.last, std::uint16_t{0});
}

/// Fills a target row of which all pixels come from inside the source.
LUMO_INLINE void copyRuns(const Strip& strip, Source source, int y, std::uint16_t* to) {
    for (int i = 0; i < strip.chunked; ++i) {
        const Run& run = strip.runs[i];
        const int row = y + run.shift;
        const std::uint16_t* from = source.row(row) + strip.rowShifts[row];
        for (int x = run.first; x < run.last; x += chunk)
            std::memcpy(to + x, from + x, chunk * sizeof *to);
    }
    for (int i = strip.chunked; i < strip.count; ++i)
        fillRun(to, strip.runs[i], source, y + strip.runs[i].shift, strip.rowShifts);
}

/// Fetches what the strip will take of a source row. Its runs come to a row one after the other,
/// each at its own time and in small pieces, which the processor does not foresee.
LUMO_INLINE void prefetchRow(const Strip& strip, Source source, int y) {
    if (y < 0 || y >= source.height) return;
    constexpr int line = 32;
    const int from = std::clamp(strip.first + strip.rowShifts[y], 0, source.width);
    const int until = std::clamp(strip.end + strip.rowShifts[y], 0, source.width);
    for (int x = from; x < until; x += line) __builtin_prefetch(source.row(y) + x);
}

LUMO_INLINE void shearStrip(const Strip& strip, Source source, Target target) {
    for (int y = 0; y < target.height; ++y) {
        std::uint16_t* to = target.row(y);
        prefetchRow(strip, source, y + strip.deepest() + rowsAhead);
        if (strip.inside(source, y)) {
            copyRuns(strip, source, y, to);
            continue;
        }
        for (int i = 0; i < strip.count; ++i)
            fillRun(to, strip.runs[i], source, y + strip.runs[i].shift, strip.rowShifts);
    }
}
LUMO_LEVELS(void, shearStripAtLevel, shearStrip, (const Strip& strip, Source source, Target target),
            (strip, source, target))

/// Shears rows, then columns.
/// @param target  of the source's size, apart from it
void shear(Source source, double angle, Target target) {
    const double turn = radians(angle);
    const Shear shear{turn > 0, std::tan(turn), source.width, source.height};
    std::vector<std::int32_t> rowShifts(static_cast<std::size_t>(source.height));
    for (int y = 0; y < source.height; ++y) rowShifts[static_cast<std::size_t>(y)] = shear.ofRow(y);
    for (int x = 0; x < target.width; x += stripWidth)
        shearStripAtLevel(Strip(shear, x, rowShifts.data()), source, target);
}

}  // namespace
}  // namespace lumo

extern "C" int Shear(Image image, Image* target, double angle) {
    const int code = lumo::checkArguments(image, target, angle);
    if (code != LumoOk) return code;
    return lumo::makeTarget(target, image.width, image.height, [&](lumo::Target to) {
        lumo::shear(lumo::asSource(lumo::viewOf(image)), angle, to);
    });
}
