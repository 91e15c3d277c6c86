// Charts of a row of numbers.
#include "cli/chart.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "cli/canvas.h"
#include "cli/picture.h"

namespace lumo::cli {
namespace {

constexpr int plotWidth = 1024, plotHeight = 480;
constexpr int left = 100, top = 20, right = 40, bottom = 40;
constexpr int ticks = 8, tickLength = 6, dot = 2;
constexpr std::uint16_t grid = 52000, curve = 12000;

/// A number that ends at x, or is centred on it.
void writeNumber(Canvas& canvas, double value, int x, int y, bool centred) {
    const std::string text = std::to_string(std::llround(value));
    canvas.write(text, x - textWidth(text, dot) / (centred ? 2 : 1), y, dot);
}

void drawAxes(Canvas& canvas, const Chart& chart, double largest) {
    constexpr int base = top + plotHeight;
    for (int tick = 0; tick <= ticks; ++tick) {
        const int x = left + plotWidth * tick / ticks, y = base - plotHeight * tick / ticks;
        canvas.fill(x, top, 1, plotHeight, grid);
        canvas.fill(left, y, plotWidth, 1, grid);
        canvas.fill(x, base, 1, tickLength, ink);
        canvas.fill(left - tickLength, y, tickLength, 1, ink);
        const double part = static_cast<double>(tick) / ticks;
        writeNumber(canvas, chart.first + (chart.last - chart.first) * part, x,
                    base + 2 * tickLength, true);
        writeNumber(canvas, largest * part, left - 2 * tickLength, y - glyphHeight * dot / 2,
                    false);
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
    drawAxes(canvas, chart, largest);
    drawValues(canvas, chart, largest);
    writePicture(canvas.image(), Coding::linear, file, force);
}

}  // namespace lumo::cli
