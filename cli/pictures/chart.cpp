// Charts of a row of numbers.
#include "cli/pictures/chart.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "cli/pictures/canvas.h"
#include "cli/pictures/picture.h"

namespace lumo::cli {
namespace {

constexpr int plotWidth = 1024, plotHeight = 480;
constexpr int tickLength = 6, dot = 2, mostTicks = 10;
constexpr std::string_view longestNumber = "4294967295";
constexpr int left = textWidth(longestNumber, dot) + 3 * tickLength;
constexpr int top = 20, right = 60, bottom = 40;
constexpr std::uint16_t grid = 52000, curve = 12000;

/// The smallest of 1, 2, 5, 10, 20, ... that leads over a length in few steps.
std::int64_t tickStep(std::int64_t length) {
    for (std::int64_t power = 1;; power *= 10)
        for (const std::int64_t step : {power, 2 * power, 5 * power})
            if (step * mostTicks >= length) return step;
}

/// Where the horizontal axis shows the value of this index begin.
int columnOf(std::int64_t index, std::int64_t count) {
    return left + static_cast<int>((index * plotWidth + count - 1) / count);
}

void drawHorizontalAxis(Canvas& canvas, std::int64_t first, std::int64_t count) {
    constexpr int base = top + plotHeight;
    const std::int64_t step = tickStep(count);
    for (std::int64_t tick = (first + step - 1) / step * step; tick <= first + count;
         tick += step) {
        const int x = columnOf(tick - first, count);
        const std::string number = std::to_string(tick);
        canvas.fill(x, top, 1, plotHeight, grid);
        canvas.fill(x, base, 1, tickLength, ink);
        canvas.write(number, x - textWidth(number, dot) / 2, base + 2 * tickLength, dot);
    }
}

void drawVerticalAxis(Canvas& canvas, std::int64_t largest) {
    constexpr int base = top + plotHeight;
    const std::int64_t step = tickStep(largest);
    for (std::int64_t tick = 0; tick <= largest; tick += step) {
        const int y = base - static_cast<int>(tick * plotHeight / largest);
        const std::string number = std::to_string(tick);
        canvas.fill(left, y, plotWidth, 1, grid);
        canvas.fill(left - tickLength, y, tickLength, 1, ink);
        canvas.write(number, left - 2 * tickLength - textWidth(number, dot),
                     y - glyphHeight * dot / 2, dot);
    }
    canvas.fill(left, base, plotWidth, 1, ink);
    canvas.fill(left, top, 1, plotHeight, ink);
}

/// The largest value that falls on a column of the plot, so that no peak is lost.
double valueAt(const std::vector<double>& values, int column) {
    const auto count = std::ssize(values);
    const auto begin = column * count / plotWidth;
    const auto end = std::max((column + 1) * count / plotWidth, begin + 1);
    return *std::max_element(values.begin() + begin, values.begin() + end);
}

void drawValues(Canvas& canvas, const Chart& chart, double largest) {
    constexpr int base = top + plotHeight, thickness = 2;
    int previous = -1;
    for (int column = 0; column < plotWidth; ++column) {
        const double value = valueAt(chart.values, column);
        const int y = base - static_cast<int>(std::lround(value / largest * plotHeight));
        if (previous < 0) previous = y;
        const int from = chart.filled ? y : std::min(y, previous);
        const int to = chart.filled ? base : std::max(y, previous) + thickness;
        canvas.fill(left + column, from, 1, to - from, curve);
        previous = y;
    }
}

}  // namespace

void writeChart(const Chart& chart, const std::string& file, bool force) {
    requirePictureName(file);
    const double largest = std::max(std::ranges::max(chart.values), 1.0);
    Canvas canvas(left + plotWidth + right, top + plotHeight + bottom, white);
    drawHorizontalAxis(canvas, chart.first, std::ssize(chart.values));
    drawVerticalAxis(canvas, std::llround(largest));
    drawValues(canvas, chart, largest);
    writePicture(canvas.image(), Coding::linear, file, force);
}

}  // namespace lumo::cli
