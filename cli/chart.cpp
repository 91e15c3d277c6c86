// Charts of a row of numbers.
#include "cli/chart.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "cli/image_output.h"
#include "cli/output.h"
#include "cli/picture.h"

namespace lumo::cli {
namespace {

constexpr int plotWidth = 1024, plotHeight = 480;
constexpr int left = 100, top = 20, right = 40, bottom = 40;
constexpr int ticks = 8, tickLength = 6, dot = 2;
constexpr int glyphWidth = 3, glyphHeight = 5;
constexpr std::uint16_t paper = 65534, grid = 52000, curve = 12000, ink = 0;

/// Digits, row by row, three bits a row.
constexpr std::uint16_t glyphs[] = {
    0b111101101101111, 0b010110010010111, 0b111001111100111, 0b111001111001111, 0b101101111001001,
    0b111100111001111, 0b111100111101111, 0b111001001001001, 0b111101111101111, 0b111101111001111};

class Canvas {
public:
    void fill(int x, int y, int w, int h, std::uint16_t grey) {
        for (int row = std::max(y, 0); row < std::min(y + h, height); ++row)
            for (int column = std::max(x, 0); column < std::min(x + w, width); ++column)
                pixels_[static_cast<std::size_t>(row * width + column)] = grey;
    }
    /// Digits that end at x, or are centred on it.
    void number(double value, int x, int y, bool centred) {
        constexpr int advance = (glyphWidth + 1) * dot;
        const std::string text = std::to_string(std::llround(value));
        x -= static_cast<int>(text.size()) * advance / (centred ? 2 : 1);
        for (const char digit : text) {
            glyph(digit - '0', x, y);
            x += advance;
        }
    }
    [[nodiscard]] Image image() { return {width, height, pixels_.data()}; }

private:
    void glyph(int digit, int x, int y) {
        if (digit < 0 || digit > 9) return;
        for (int bit = 0; bit < glyphWidth * glyphHeight; ++bit)
            if (glyphs[digit] >> (glyphWidth * glyphHeight - 1 - bit) & 1)
                fill(x + bit % glyphWidth * dot, y + bit / glyphWidth * dot, dot, dot, ink);
    }

    static constexpr int width = left + plotWidth + right, height = top + plotHeight + bottom;
    std::vector<std::uint16_t> pixels_ =
        std::vector<std::uint16_t>(std::size_t{width} * height, paper);
};

void drawAxes(Canvas& canvas, const Chart& chart, double largest) {
    constexpr int base = top + plotHeight;
    for (int tick = 0; tick <= ticks; ++tick) {
        const int x = left + plotWidth * tick / ticks, y = base - plotHeight * tick / ticks;
        canvas.fill(x, top, 1, plotHeight, grid);
        canvas.fill(left, y, plotWidth, 1, grid);
        canvas.fill(x, base, 1, tickLength, ink);
        canvas.fill(left - tickLength, y, tickLength, 1, ink);
        const double part = static_cast<double>(tick) / ticks;
        canvas.number(chart.first + (chart.last - chart.first) * part, x, base + 2 * tickLength,
                      true);
        canvas.number(largest * part, left - 2 * tickLength, y - glyphHeight * dot / 2, false);
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
    const SplitPath path(file);
    if (!hasExtension(path.name, "png"))
        throw usageError(file + ": a chart is a PNG file; its name ends in .png");
    const double largest = std::max(std::ranges::max(chart.values), 1.0);
    Canvas canvas;
    drawAxes(canvas, chart, largest);
    drawValues(canvas, chart, largest);
    StagedOutput output(path.folder, {path.name}, {}, force);
    writePicture(canvas.image(), output.pathOf(path.name), file);
    output.publish();
}

}  // namespace lumo::cli
