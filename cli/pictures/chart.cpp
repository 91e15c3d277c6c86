// How a chart is laid out: all lengths in dots.
#include "cli/pictures/chart.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <limits>

namespace lumo::cli {
namespace {

constexpr double left = 120, right = 40, top = 84, bottom = 76;
constexpr double plotWidth = 960, plotHeight = 480, tickLength = 6;
constexpr double titleSize = 22, nameSize = 16, numberSize = 14;
constexpr int mostTicksX = 10, mostTicksY = 8;
constexpr Colour ink = 0x202020, faint = 0x606060, grid = 0xDDDDDD, markColour = 0x8A1C1C;
constexpr std::size_t columns = 960;

/// Colours that people tell apart whatever their eyes (Okabe and Ito), the first one plain.
constexpr std::array<Colour, 7> colours = {0x1F4E79, 0xD55E00, 0x009E73, 0xCC79A7,
                                           0x56B4E9, 0xE69F00, 0x000000};

/// A tick's label, with as many decimals as its step has.
std::string number(double value, double step) {
    const double digits = -std::floor(std::log10(step) + 1e-9);
    const int decimals = static_cast<int>(std::clamp(digits, 0.0, 12.0));
    char text[64];
    const bool large = std::abs(value) >= 1e15;
    const auto result =
        large ? std::to_chars(text, std::end(text), value)
              : std::to_chars(text, std::end(text), value, std::chars_format::fixed, decimals);
    return {text, result.ptr};
}

double tickStep(double length, int most) {
    const double power = std::pow(10, std::floor(std::log10(length / most)));
    for (const double step : {power, 2 * power, 5 * power})
        if (step * most >= length * (1 - 1e-9)) return step;
    return 10 * power;
}

/// The range of one coordinate over all curves.
template <class Coordinate>
ChartRange rangeOf(const Chart& chart, Coordinate coordinate) {
    ChartRange range{std::numeric_limits<double>::infinity(),
                     -std::numeric_limits<double>::infinity()};
    for (const ChartCurve& curve : chart.curves)
        for (const Point& point : curve.points)
            if (std::isfinite(coordinate(point)))
                range = {std::min(range.low, coordinate(point)),
                         std::max(range.high, coordinate(point))};
    if (range.low > range.high) range = {0, 1};
    if (range.low == range.high) range.high = range.low + 1;
    return range;
}

ChartRange verticalRange(const Chart& chart) {
    ChartRange range = rangeOf(chart, [](const Point& point) { return point.y; });
    if (chart.filled) return {std::min(range.low, 0.0), range.high * 1.02};
    const double air = 0.04 * (range.high - range.low);
    return {range.low - air, range.high + air};
}

ChartRange horizontalRange(const Chart& chart) {
    if (chart.x) return *chart.x;
    if (chart.fitX != nullptr) return chart.fitX(chart.curves);
    return rangeOf(chart, [](const Point& point) { return point.x; });
}

/// The plot's two axes.
class Plot {
public:
    explicit Plot(const Chart& chart)
        : x_(horizontalRange(chart)), y_(chart.y ? *chart.y : verticalRange(chart)) {}

    [[nodiscard]] const ChartRange& x() const { return x_; }
    [[nodiscard]] const ChartRange& y() const { return y_; }
    [[nodiscard]] double across(double x) const {
        return left + (x - x_.low) / (x_.high - x_.low) * plotWidth;
    }
    [[nodiscard]] double down(double y) const {
        return top + (y_.high - y) / (y_.high - y_.low) * plotHeight;
    }
    [[nodiscard]] Point at(const Point& point) const {
        return {std::clamp(across(point.x), left, left + plotWidth),
                std::clamp(down(point.y), top, top + plotHeight)};
    }

private:
    ChartRange x_, y_;
};

void drawGrid(Drawing& page, const Plot& plot) {
    const auto add = [&](Point from, Point to, Colour colour, double width) {
        page.shapes.emplace_back(Line{{from, to}, colour, width});
    };
    const double base = top + plotHeight;
    for (const double tick : axisTicks(plot.x(), mostTicksX)) {
        const double x = plot.across(tick);
        add({x, top}, {x, base}, grid, 1);
        add({x, base}, {x, base + tickLength}, ink, 1);
        const double step = tickStep(plot.x().high - plot.x().low, mostTicksX);
        page.shapes.emplace_back(
            Text{number(tick, step), {x, base + 20}, numberSize, Align::centre});
    }
    for (const double tick : axisTicks(plot.y(), mostTicksY)) {
        const double y = plot.down(tick);
        add({left, y}, {left + plotWidth, y}, grid, 1);
        add({left - tickLength, y}, {left, y}, ink, 1);
        const double step = tickStep(plot.y().high - plot.y().low, mostTicksY);
        page.shapes.emplace_back(
            Text{number(tick, step), {left - 12, y}, numberSize, Align::right});
    }
}

/// A curve with no more points than can be told apart: of each column the first, the extremes in
/// their order, and the last.
std::vector<Point> condensed(const std::vector<Point>& points, const Plot& plot) {
    if (points.size() <= 4 * columns) return points;
    std::vector<Point> result;
    for (std::size_t i = 0; i < points.size();) {
        const double column = std::floor(plot.across(points[i].x));
        std::size_t end = i, low = i, high = i;
        for (; end < points.size() && std::floor(plot.across(points[end].x)) == column; ++end) {
            if (points[end].y < points[low].y) low = end;
            if (points[end].y > points[high].y) high = end;
        }
        for (const std::size_t k : {i, std::min(low, high), std::max(low, high), end - 1})
            result.push_back(points[k]);
        i = end;
    }
    return result;
}

void drawRun(Drawing& page, const Plot& plot, const std::vector<Point>& run, bool filled,
             Colour colour) {
    if (run.empty()) return;
    Line line{{}, colour, 2};
    for (const Point& point : run) line.points.push_back(plot.at(point));
    if (filled) {
        Area area{line.points, colour, 0.35};
        const double base = plot.at({0, 0}).y;
        area.points.push_back({line.points.back().x, base});
        area.points.push_back({line.points.front().x, base});
        page.shapes.emplace_back(std::move(area));
        line.width = 1;
    }
    page.shapes.emplace_back(std::move(line));
}

void drawCurve(Drawing& page, const Plot& plot, const ChartCurve& curve, bool filled,
               Colour colour) {
    std::vector<Point> run;
    for (const Point& point : condensed(curve.points, plot)) {
        if (std::isfinite(point.y) && plot.x().low <= point.x && point.x <= plot.x().high) {
            run.push_back(point);
            continue;
        }
        drawRun(page, plot, run, filled, colour);
        run.clear();
    }
    drawRun(page, plot, run, filled, colour);
}

void drawMark(Drawing& page, const Plot& plot, const ChartMark& mark) {
    const ChartRange& range = mark.upright ? plot.x() : plot.y();
    if (mark.at < range.low || mark.at > range.high) return;
    const double x = plot.across(mark.at), y = plot.down(mark.at);
    if (mark.upright) {
        page.shapes.emplace_back(Line{{{x, top}, {x, top + plotHeight}}, markColour, 1, true});
        page.shapes.emplace_back(Text{.text = mark.text,
                                      .at = {x + 10, top + 8},
                                      .size = numberSize,
                                      .align = Align::right,
                                      .upwards = true,
                                      .colour = markColour});
    } else {
        page.shapes.emplace_back(Line{{{left, y}, {left + plotWidth, y}}, markColour, 1, true});
        page.shapes.emplace_back(Text{
            .text = mark.text, .at = {left + 8, y - 10}, .size = numberSize, .colour = markColour});
    }
}

/// The curves' names beside samples of their colours, in the plot's upper right corner.
void drawLegend(Drawing& page, const std::vector<ChartCurve>& curves) {
    if (curves.size() < 2) return;
    constexpr double width = 300, line = 22, sample = 24;
    const double x = left + plotWidth - width, height = line * static_cast<double>(curves.size());
    page.shapes.emplace_back(Area{{{x - 10, top + 6},
                                   {x + width - 6, top + 6},
                                   {x + width - 6, top + height + 14},
                                   {x - 10, top + height + 14}},
                                  0xFFFFFF,
                                  0.85});
    for (std::size_t i = 0; i < curves.size(); ++i) {
        const double y = top + 21 + line * static_cast<double>(i);
        page.shapes.emplace_back(Line{{{x, y}, {x + sample, y}}, colours[i % colours.size()], 3});
        page.shapes.emplace_back(Text{.text = curves[i].name,
                                      .at = {x + sample + 8, y},
                                      .size = numberSize,
                                      .mostWidth = width - sample - 20});
    }
}

void drawNames(Drawing& page, const Chart& chart) {
    page.shapes.emplace_back(Text{.text = chart.title,
                                  .at = {left, 28},
                                  .size = titleSize,
                                  .bold = true,
                                  .mostWidth = plotWidth});
    page.shapes.emplace_back(Text{.text = chart.subtitle,
                                  .at = {left, 58},
                                  .size = nameSize,
                                  .mostWidth = plotWidth,
                                  .colour = faint});
    page.shapes.emplace_back(
        Text{chart.xName, {left + plotWidth / 2, top + plotHeight + 52}, nameSize, Align::centre});
    page.shapes.emplace_back(Text{.text = chart.yName,
                                  .at = {26, top + plotHeight / 2},
                                  .size = nameSize,
                                  .align = Align::centre,
                                  .upwards = true});
}

}  // namespace

std::vector<double> axisTicks(ChartRange range, int most) {
    const double step = tickStep(range.high - range.low, most);
    std::vector<double> ticks;
    // Multiples, so that no error adds up.
    for (double i = std::ceil(range.low / step - 1e-9); i * step <= range.high + 1e-9 * step; ++i)
        ticks.push_back(i * step + 0.0);  // no -0
    return ticks;
}

Drawing drawChart(const Chart& chart) {
    Drawing page{left + plotWidth + right, top + plotHeight + bottom, 0xFFFFFF, {}};
    const Plot plot(chart);
    drawGrid(page, plot);
    for (std::size_t i = 0; i < chart.curves.size(); ++i)
        drawCurve(page, plot, chart.curves[i], chart.filled, colours[i % colours.size()]);
    for (const ChartMark& mark : chart.marks) drawMark(page, plot, mark);
    for (const ChartNote& note : chart.notes)
        page.shapes.emplace_back(Text{note.text, plot.at(note.at), numberSize, Align::centre});
    const double base = top + plotHeight;
    page.shapes.emplace_back(Line{{{left, top}, {left, base}, {left + plotWidth, base}}, ink, 1.5});
    drawLegend(page, chart.curves);
    drawNames(page, chart);
    return page;
}

}  // namespace lumo::cli
