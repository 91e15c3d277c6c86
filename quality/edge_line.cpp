// Finding a slanted edge's line: centroids of the rows' derivatives, and a straight line through
// them. A hundredth of the angle is a third of the transfer at the cut-off, so the line is refined
// within a narrow box around itself.
#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

#include "quality/edge.h"
#include "quality/least_squares.h"
#include "quality/median.h"
#include "quality/record.h"

namespace lumo {
namespace {

double sumOfDifferences(const std::vector<double>& sums) {
    double sum = 0;
    for (std::size_t i = 1; i < sums.size(); ++i) sum += std::abs(sums[i] - sums[i - 1]);
    return sum;
}

EdgeImage transposed(const EdgeImage& from) {
    EdgeImage to{from.rows,
                 from.columns,
                 {from.pitch.y, from.pitch.x},
                 true,
                 std::vector<double>(from.values.size())};
    constexpr int block = 32;  // squares that stay in the cache
    for (int y0 = 0; y0 < from.rows; y0 += block)
        for (int x0 = 0; x0 < from.columns; x0 += block)
            for (int y = y0; y < std::min(y0 + block, from.rows); ++y)
                for (int x = x0; x < std::min(x0 + block, from.columns); ++x)
                    to.values[static_cast<std::size_t>(x) * static_cast<std::size_t>(to.columns) +
                              static_cast<std::size_t>(y)] = from.row(y)[x];
    return to;
}

bool isNearerToRows(const EdgeImage& image) {
    std::vector<double> columns(static_cast<std::size_t>(image.columns));
    std::vector<double> rows(static_cast<std::size_t>(image.rows));
    for (int y = 0; y < image.rows; ++y) {
        const double* row = image.row(y);
        double sum = 0;
        for (std::size_t x = 0; x < columns.size(); ++x) {
            columns[x] += row[x];
            sum += row[x];
        }
        rows[static_cast<std::size_t>(y)] = sum / image.columns;
    }
    for (double& sum : columns) sum /= image.rows;
    return sumOfDifferences(rows) > sumOfDifferences(columns);
}

/// Refuses an image whose outermost columns do not differ clearly.
/// @return the signal's rise from the left to the right
double requireContrast(const EdgeImage& image) {
    constexpr int outer = 8;
    std::vector<double> differences;
    double left = 0, right = 0;
    for (int y = 0; y < image.rows; ++y) {
        const double *row = image.row(y), *end = row + image.columns;
        for (int i = 0; i < outer; ++i) {
            left += row[i];
            right += end[-1 - i];
            if (y == 0) continue;
            differences.push_back(std::abs(row[i] - row[i - image.columns]));
            differences.push_back(std::abs(end[-1 - i] - end[-1 - i - image.columns]));
        }
    }
    const double contrast = (right - left) / (outer * image.rows);
    const double noise = 1.4826 * medianOf(differences) / std::numbers::sqrt2;
    if (!(std::abs(contrast) >= 20 * noise) || contrast == 0) refuse(LumoReasonNoEdge);
    return contrast;
}

/// The place of the edge in each row.
using Places = std::vector<double>;

/// Centroids of the derivatives of whole rows, weighted by a Hamming window.
Places placesInRows(const EdgeImage& image) {
    const int count = image.columns - 1;
    std::vector<double> window(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        window[static_cast<std::size_t>(i)] =
            0.54 - 0.46 * std::cos(2 * std::numbers::pi * (i + 0.5) / count);
    Places places;
    for (int y = 0; y < image.rows; ++y) {
        const double* row = image.row(y);
        double sum = 0, moment = 0;
        for (int i = 0; i < count; ++i) {
            const double weighted = window[static_cast<std::size_t>(i)] * (row[i + 1] - row[i]);
            sum += weighted;
            moment += weighted * (i + 0.5);
        }
        places.push_back(moment / sum * image.pitch.x);
    }
    return places;
}

/// Columns whose derivatives (to their right) lie within the box around the line.
struct Columns {
    int first, last;
};
Columns columnsInBox(const EdgeImage& image, const EdgeLine& line, int y) {
    const double middle = line.at(y * image.pitch.y);
    const auto hold = [&](double column) {
        return static_cast<int>(std::clamp(column, -1.0, static_cast<double>(image.columns)));
    };
    const int first = hold(std::ceil((middle - line.box) / image.pitch.x - 0.5));
    const int last = hold(std::floor((middle + line.box) / image.pitch.x - 0.5));
    return {std::max(first, 0), std::min(last, image.columns - 2)};
}

/// Centroids of the derivatives in the box. A row that shows no edge there is off by all of it.
Places placesInBox(const EdgeImage& image, const EdgeLine& line) {
    Places places;
    for (int y = 0; y < image.rows; ++y) {
        const double* row = image.row(y);
        const Columns columns = columnsInBox(image, line, y);
        const double middle = line.at(y * image.pitch.y);
        double sum = 0, moment = 0;
        for (int i = columns.first; i <= columns.last; ++i) {
            const double difference = row[i + 1] - row[i];
            sum += difference;
            moment += difference * ((i + 0.5) * image.pitch.x - middle);
        }
        const double off = sum > 0 ? moment / sum : line.box;
        places.push_back(middle + std::clamp(off, -line.box, line.box));
    }
    return places;
}

/// The deviation of the places about the line, without those further off than `most`.
double scatterOf(const Places& places, const EdgeLine& line, double pitch, double most) {
    double squares = 0, count = 0;
    for (std::size_t y = 0; y < places.size(); ++y) {
        const double off = places[y] - line.at(static_cast<double>(y) * pitch);
        if (std::abs(off) > most) continue;
        squares += off * off;
        count += 1;
    }
    return count > 0 ? std::sqrt(squares / count) : 0;
}

/// Fits the line, then again without the rows that are off by more than three deviations.
void fit(const EdgeImage& image, const Places& places, EdgeLine& line) {
    constexpr int fits = 3;
    const double least = 0.05 * image.pitch.x;
    double most = std::numeric_limits<double>::infinity();
    for (int i = 0; i < fits; ++i) {
        LeastSquares<2> squares;
        for (std::size_t y = 0; y < places.size(); ++y) {
            const double at = static_cast<double>(y) * image.pitch.y;
            if (i > 0 && std::abs(places[y] - line.at(at)) > most) continue;
            squares.add({1, at}, places[y]);
        }
        const auto factors = squares.solve();
        line.begin = factors[0];
        line.slope = factors[1];
        most = std::max(3 * scatterOf(places, line, image.pitch.y, most), least);
    }
}

/// Half the width that holds the edge, by the deviation of the mean derivative across it.
double boxOf(const EdgeImage& image, const EdgeLine& line) {
    const int count = image.columns;
    std::vector<double> sums(static_cast<std::size_t>(2 * count + 1)), counts(sums.size());
    for (int y = 0; y < image.rows; ++y) {
        const double* row = image.row(y);
        const double middle = line.at(y * image.pitch.y) / image.pitch.x - 0.5;
        if (!(middle > -1 && middle < count)) continue;
        const int shift = count - static_cast<int>(std::lround(middle));
        for (int i = 0; i + 1 < count; ++i) {
            const auto at = static_cast<std::size_t>(i) + static_cast<std::size_t>(shift);
            sums[at] += row[i + 1] - row[i];
            counts[at] += 1;
        }
    }
    for (std::size_t i = 0; i < sums.size(); ++i) sums[i] = counts[i] > 0 ? sums[i] / counts[i] : 0;
    const double least = 0.1 * std::ranges::max(sums);
    double sum = 0, moment = 0, squares = 0;
    for (std::size_t i = 0; i < sums.size(); ++i) {
        if (!(sums[i] >= least && sums[i] > 0)) continue;
        const double x = static_cast<double>(i) - count;
        sum += sums[i];
        moment += sums[i] * x;
        squares += sums[i] * x * x;
    }
    const double variance = sum > 0 ? squares / sum - moment / sum * (moment / sum) : 0;
    return image.pitch.x * std::max(4.0, 4 * std::sqrt(std::max(variance, 0.0)));
}

}  // namespace

double EdgeLine::cosine() const {
    return 1 / std::sqrt(1 + slope * slope);
}

EdgeImage readEdge(const Image& image, Roi region, const LumoSignal* signal, Pitch pitch) {
    const std::vector<Run> runs = runsIn(image, region);
    const Signal values(image, signal);
    constexpr int leastColumns = 32, leastRows = 32;
    EdgeImage edge{runs.front().count, static_cast<int>(runs.size()), pitch, false, {}};
    if (edge.columns < leastColumns || edge.rows < leastRows) refuse(LumoReasonRegionSmall);
    refuseClipped(image, runs);
    edge.values.resize(static_cast<std::size_t>(edge.columns) * runs.size());
    double* to = edge.values.data();
    for (const Run& run : runs) {
        values.read(run, to);
        to += run.count;
    }
    if (isNearerToRows(edge)) edge = transposed(edge);
    if (requireContrast(edge) < 0)
        for (double& value : edge.values) value = -value;
    return edge;
}

EdgeLine findLine(const EdgeImage& image) {
    constexpr int passes = 3;
    EdgeLine line;
    Places places = placesInRows(image);
    fit(image, places, line);
    for (int pass = 0; pass < passes; ++pass) {
        line.box = boxOf(image, line);
        places = placesInBox(image, line);
        fit(image, places, line);
    }
    line.scatter = scatterOf(places, line, image.pitch.y, std::numeric_limits<double>::infinity());
    // Of a centroid: all pixels of the box but those at its ends count once, those by half its
    // width.
    const double pixels = line.box / image.pitch.x;
    line.noiseFactor = image.pitch.x * std::sqrt(2 * pixels * pixels + 2 * pixels);
    return line;
}

}  // namespace lumo
