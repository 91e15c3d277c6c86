// The way to the drawing module, and of its file to its name.
#include "cli/pictures/drawing.h"

#include <array>
#include <optional>

#include "cli/files/image_output.h"
#include "cli/files/output.h"
#include "cli/system/module.h"

namespace lumo::cli {
namespace {

constexpr std::array<const char*, 3> formats = {"png", "svg", "pdf"};

std::optional<const char*> formatOfDrawing(const std::string& file) {
    if (file == standardStream) return formats.front();
    for (const char* format : formats)
        if (hasExtension(SplitPath(file).name, format)) return format;
    return std::nullopt;
}

}  // namespace

void requireDrawingName(const std::string& file) {
    if (!formatOfDrawing(file))
        throw usageError(file + ": a drawing's name ends in .png, .svg or .pdf");
}

void writeDrawing(const Drawing& drawing, const std::string& file, bool force) {
    requireDrawingName(file);
    const auto draw =
        reinterpret_cast<DrawFunction>(functionOfModule("lumo-drawing.so", drawFunctionName));
    if (draw == nullptr)
        throw CommandError(file + ": this installation draws no pages (lumo-drawing is missing)");
    const SplitPath path(file);
    StagedOutput output(path.folder, {path.name}, {}, force);
    std::string fault;
    draw(drawing, output.pathOf(path.name).c_str(), *formatOfDrawing(file), fault);
    if (!fault.empty()) throw CommandError(file + ": " + fault);
    output.publish();
}

}  // namespace lumo::cli
