// The verb `sheet`: images side by side on one page, each above its name and its last step.
#include <algorithm>
#include <memory>
#include <optional>
#include <vector>

#include "cli/change.h"
#include "cli/files/output.h"
#include "cli/files/reading.h"
#include "cli/history.h"
#include "cli/messages.h"
#include "cli/pictures/drawing.h"
#include "cli/pictures/picture.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

constexpr double gap = 16, textSize = 15, lineHeight = 20;
constexpr int stepLines = 3;
constexpr double captionHeight = (1 + stepLines) * lineHeight + 6;
constexpr Colour paper = 0xE4E4E4;  // light, but white pictures stand out
constexpr double mostSide = 32767;  // dots that Cairo has room for

struct Options {
    std::vector<std::string> files;  // the last one is written
    std::string roi;
    int columns = 2, width = 480;
    WindowOptions window;
    bool common = false, force = false;
};

/// An image scaled down, and what stands below it.
struct Cell {
    ImageHandle image;  // kept where the picture refers to it
    std::string name, step;
    std::unique_ptr<ScaledDown> picture;
    Window window;

    [[nodiscard]] double height() const { return picture->image().height + captionHeight; }
};

Cell cellOf(const std::string& file, const Options& options) {
    Cell cell{readImage(file), SplitPath(file).name, {}, nullptr, {}};
    if (!options.roi.empty()) cropTo(cell.image, parseRoi(options.roi), file);
    const auto steps = readHistory(cell.image.get(), file);
    if (!steps.empty()) cell.step = printable(steps.rbegin()->second);
    cell.window = options.window.of(rasterOf(*cell.image), file);
    cell.picture = std::make_unique<ScaledDown>(rasterOf(*cell.image), options.width);
    if (cell.picture->image().data != cell.image->data) cell.image.reset();
    return cell;
}

void draw(Drawing& page, const Cell& cell, const Options& options, Point at) {
    const Image& picture = cell.picture->image();
    page.shapes.emplace_back(GreyPicture{picture.width, picture.height,
                                         pictureOf(picture, cell.window, options.window.squareRoot),
                                         at});
    const double width = options.width;
    at.y += picture.height + lineHeight / 2 + 4;
    page.shapes.emplace_back(
        Text{.text = cell.name, .at = at, .size = textSize, .bold = true, .mostWidth = width});
    at.y += lineHeight;
    page.shapes.emplace_back(Text{
        .text = cell.step, .at = at, .size = textSize, .mostWidth = width, .mostLines = stepLines});
}

/// Where each row of cells begins, and the end of the last.
std::vector<double> rowsOf(const std::vector<Cell>& cells, std::size_t columns) {
    std::vector<double> tops{gap};
    for (std::size_t i = 0; i < cells.size(); i += columns) {
        double height = 0;
        for (std::size_t k = i; k < std::min(i + columns, cells.size()); ++k)
            height = std::max(height, cells[k].height());
        tops.push_back(tops.back() + height + gap);
    }
    return tops;
}

Status run(const Options& options) {
    const std::string& output = options.files.back();
    requireDrawingName(output);
    const SplitPath path(output);
    requirePlace(path.folder, {path.name}, options.force);
    options.window.check();
    if (!options.roi.empty()) (void)parseRoi(options.roi);
    std::vector<Cell> cells;
    for (auto file = options.files.begin(); file + 1 != options.files.end(); ++file)
        cells.push_back(cellOf(*file, options));
    if (options.common) {
        Window window = cells.front().window;
        for (const Cell& cell : cells) window = window.with(cell.window);
        for (Cell& cell : cells) cell.window = window;
    }
    const std::size_t columns = std::min(static_cast<std::size_t>(options.columns), cells.size());
    const std::vector<double> tops = rowsOf(cells, columns);
    Drawing page{
        gap + static_cast<double>(columns) * (options.width + gap), tops.back(), paper, {}};
    if (page.width > mostSide || page.height > mostSide)
        throw CommandError(output + ": more than 32767 dots a side; choose another --columns");
    for (std::size_t i = 0; i < cells.size(); ++i)
        draw(page, cells[i], options,
             {gap + static_cast<double>(i % columns) * (options.width + gap), tops[i / columns]});
    writeDrawing(page, output, options.force);
    return done;
}

}  // namespace

Work setUpSheet(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    verb.add_option("FILES", options->files,
                    "Image files to show, and last the page to write: PNG, SVG or PDF by its name")
        ->required()
        ->expected(2, -1);
    verb.add_option("--columns", options->columns, "Images in a row")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    verb.add_option("--width", options->width, "Pixels for each; wider ones are scaled down")
        ->check(CLI::Range(16, 8192))
        ->capture_default_str();
    verb.add_option("--roi", options->roi, "Show this region of each: x1,y1,x2,y2, inclusive");
    addWindowOptions(verb, options->window);
    verb.add_flag("--common", options->common,
                  "One window for all, from the darkest black to the brightest white");
    addForceOption(verb, options->force);
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
