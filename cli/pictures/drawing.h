// A page of lines, areas, texts and grey pictures, as numbers: what charts and sheets are made of.
// It is drawn by a module of its own (drawing_module.cpp), which is loaded when there is something
// to draw: its libraries for fonts and pages would double the time that every other call takes.
#pragma once

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "cli/error.h"

namespace lumo::cli {

/// Dots from the left and from the top; in SVG and PDF, where there are no dots, 3/4 of a point.
struct Point {
    double x, y;
};

using Colour = std::uint32_t;  ///< 0xRRGGBB

struct Line {
    std::vector<Point> points;
    Colour colour;
    double width;
    bool dashed = false;
};

struct Area {
    std::vector<Point> points;
    Colour colour;
    double opacity = 1;
};

enum class Align { left, centre, right };

struct Text {
    std::string text;  ///< UTF-8
    Point at;          ///< of the first line: `align` along it, its middle across
    double size;       ///< height of the font in dots
    Align align = Align::left;
    bool bold = false;
    bool upwards = false;  ///< turned by 90 degrees against the clock
    double mostWidth = 0;  ///< dots, 0: any; what is longer is wrapped, and ends in an ellipsis
    int mostLines = 1;
    Colour colour = 0;
};

struct GreyPicture {
    int width, height;
    std::vector<std::uint8_t> pixels;
    Point at;
};

using Shape = std::variant<Line, Area, Text, GreyPicture>;

struct Drawing {
    double width, height;
    Colour paper;
    std::vector<Shape> shapes;  ///< in the order in which they cover each other
};

/// Throws a usage error unless the name ends in .png, .svg or .pdf.
void requireDrawingName(const std::string& file);

/// Writes a page in the format that the name's extension says. Throws a CommandError if the file
/// exists (unless `force`), cannot be written, or there is no font.
void writeDrawing(const Drawing& drawing, const std::string& file, bool force);

/// The drawing module's one function, and its name there.
/// @param file    to be created
/// @param format  "png", "svg" or "pdf"
/// @param fault   [out] what went wrong, if anything did
using DrawFunction = void (*)(const Drawing& drawing, const char* file, const char* format,
                              std::string& fault);
inline constexpr const char* drawFunctionName = "lumoDraw";

}  // namespace lumo::cli
