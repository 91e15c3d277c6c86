// Charts: curves over two axes, with a title and names, for reports.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "cli/pictures/drawing.h"

namespace lumo::cli {

/// A curve's points have rising x. Infinite or missing (NaN) values of y are gaps.
struct ChartCurve {
    std::string name;  ///< shown where there are several
    std::vector<Point> points;
};

/// A straight line across the plot, with a few words.
struct ChartMark {
    std::string text;
    double at;
    bool upright;  ///< at a value of x, else of y
};

/// A word at a point of the plot.
struct ChartNote {
    std::string text;
    Point at;
};

struct ChartRange {
    double low, high;
};

struct Chart {
    std::string title, subtitle;
    std::string xName, yName;  ///< with their units
    std::vector<ChartCurve> curves;
    bool filled = false;  ///< down to 0
    std::vector<ChartMark> marks;
    std::vector<ChartNote> notes;
    std::optional<ChartRange> x, y;  ///< else what the curves take
    ChartRange (*fitX)(const std::vector<ChartCurve>& curves) = nullptr;  ///< the same by a rule
};

/// A chart as a page.
[[nodiscard]] Drawing drawChart(const Chart& chart);

/// The values from `low` to `high` that an axis is labelled with: multiples of 1, 2 or 5 times a
/// power of ten.
[[nodiscard]] std::vector<double> axisTicks(ChartRange range, int most);

}  // namespace lumo::cli
