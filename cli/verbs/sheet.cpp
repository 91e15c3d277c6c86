// The verb `sheet`: images side by side in one picture, each above its name and its last step.
#include <algorithm>
#include <memory>
#include <vector>

#include "cli/arguments.h"
#include "cli/change.h"
#include "cli/files/output.h"
#include "cli/files/reading.h"
#include "cli/history.h"
#include "cli/pictures/canvas.h"
#include "cli/pictures/picture.h"
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

constexpr int gap = 16, dot = 2, lineHeight = (glyphHeight + 2) * dot, captionLines = 4;
constexpr std::uint16_t paper = 57000;  // light, but white pictures stand out
constexpr int mostSide = 65535;

struct Options {
    std::vector<std::string> files;  // the last one is written
    std::string roi;
    int columns = 2, width = 480;
    bool force = false;
};

struct Cell {
    ImageHandle image;
    std::vector<std::string> caption;
    std::unique_ptr<ScaledDown> picture;

    [[nodiscard]] int height() const { return picture->image().height + captionLines * lineHeight; }
};

int mostLetters(int width) {
    return std::max(width / textWidth(" ", dot), 1);
}

/// The text in lines that fit, as many as there is room for.
std::vector<std::string> wrapped(const std::string& text, int width) {
    const auto most = static_cast<std::size_t>(mostLetters(width));
    std::vector<std::string> lines;
    for (std::size_t at = 0; at < text.size() && lines.size() + 1 < captionLines;) {
        std::size_t length = std::min(most, text.size() - at);
        const std::size_t blank = text.rfind(' ', at + length);
        if (at + length < text.size() && blank != std::string::npos && blank > at)
            length = blank - at;
        lines.push_back(text.substr(at, length));
        at = text.find_first_not_of(' ', at + length);
    }
    return lines;
}

Cell cellOf(const std::string& file, const Options& options) {
    Cell cell{readImage(file), {}, nullptr};
    if (!options.roi.empty()) cropTo(cell.image, parseRoi(options.roi), file);
    const auto steps = readHistory(cell.image.get());
    cell.caption = wrapped(steps.empty() ? "" : steps.rbegin()->second, options.width);
    const std::string name = SplitPath(file).name;
    cell.caption.insert(cell.caption.begin(),
                        name.substr(0, static_cast<std::size_t>(mostLetters(options.width))));
    cell.picture = std::make_unique<ScaledDown>(rasterOf(*cell.image), options.width);
    if (cell.picture->image().data != cell.image->data) cell.image.reset();
    return cell;
}

void draw(Canvas& canvas, const Cell& cell, int x, int y) {
    canvas.place(cell.picture->image(), x, y);
    y += cell.picture->image().height;
    for (const std::string& line : cell.caption) {
        canvas.write(line, x, y + dot * 2, dot);
        y += lineHeight;
    }
}

Status run(const Options& options) {
    const std::string& output = options.files.back();
    requirePictureName(output);
    const SplitPath path(output);
    requirePlace(path.folder, {path.name}, options.force);
    if (!options.roi.empty()) (void)parseRoi(options.roi);
    std::vector<Cell> cells;
    for (auto file = options.files.begin(); file + 1 != options.files.end(); ++file)
        cells.push_back(cellOf(*file, options));
    const int columns = std::min(options.columns, static_cast<int>(cells.size()));
    std::vector<int> tops{gap};  // of the rows, and the end of the last
    for (std::size_t i = 0; i < cells.size(); i += static_cast<std::size_t>(columns)) {
        int height = 0;
        for (std::size_t k = i; k < std::min(i + std::size_t(columns), cells.size()); ++k)
            height = std::max(height, cells[k].height());
        tops.push_back(tops.back() + height + gap);
    }
    const int width = gap + columns * (options.width + gap);
    if (width > mostSide || tops.back() > mostSide)
        throw CommandError(output + ": more than 65535 pixels a side; choose another --columns");
    Canvas canvas(width, tops.back(), paper);
    for (int i = 0; i < static_cast<int>(cells.size()); ++i)
        draw(canvas, cells[std::size_t(i)], gap + i % columns * (options.width + gap),
             tops[std::size_t(i / columns)]);
    writePicture(canvas.image(), Coding::linear, output, options.force);
    return done;
}

}  // namespace

Work setUpSheet(CLI::App& verb) {
    const auto options = std::make_shared<Options>();
    verb.add_option("FILES", options->files,
                    "Image files to show, and last the PNG picture to write")
        ->required()
        ->expected(2, -1);
    verb.add_option("--columns", options->columns, "Images in a row")
        ->check(CLI::Range(1, 100))
        ->capture_default_str();
    verb.add_option("--width", options->width, "Pixels for each; wider ones are scaled down")
        ->check(CLI::Range(16, 8192))
        ->capture_default_str();
    verb.add_option("--roi", options->roi, "Show this region of each: x1,y1,x2,y2, inclusive");
    addForceOption(verb, options->force);
    return [options] { return run(*options); };
}

}  // namespace lumo::cli
