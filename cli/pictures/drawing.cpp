// The way to the drawing module, and of its file to its name.
#include "cli/pictures/drawing.h"

#include <array>
#include <optional>

#include "cli/files/image_output.h"
#include "cli/files/output.h"
#include "cli/system/module.h"
#include "cli/system/standard_streams.h"
#include "cli/system/workers.h"

namespace lumo::cli {
namespace {

constexpr std::array<const char*, 3> formats = {"png", "svg", "pdf"};

std::optional<const char*> formatOfDrawing(const std::string& file) {
    if (file == standardStream) return formats.front();
    for (const char* format : formats)
        if (hasExtension(SplitPath(file).name, format)) return format;
    return std::nullopt;
}

constexpr const char* drawn = "drawn";

/// @return `drawn`, or what went wrong
std::string draw(const Drawing& drawing, const std::string& into, const std::string& file) {
    silenceErrors();
    const auto function =
        reinterpret_cast<DrawFunction>(functionOfModule("lumo-drawing.so", drawFunctionName));
    if (function == nullptr) return "this installation draws no pages (lumo-drawing is missing)";
    std::string fault;
    function(drawing, into.c_str(), *formatOfDrawing(file), fault);
    return fault.empty() ? drawn : fault;
}

}  // namespace

void requireDrawingName(const std::string& file) {
    if (!formatOfDrawing(file))
        throw usageError(file + ": a drawing's name ends in .png, .svg or .pdf");
}

void writeDrawing(const Drawing& drawing, const std::string& file, bool force) {
    requireDrawingName(file);
    const SplitPath path(file);
    StagedOutput output(path.folder, {path.name}, {}, force);
    // In a process of its own: libraries for fonts end the one that they run in when memory is
    // short.
    const auto work = [&](std::size_t) { return draw(drawing, output.pathOf(path.name), file); };
    runSideBySide(1, 1, work, [&](std::size_t, const Ended& ended) {
        if (ended.signal != 0)
            throw CommandError(file + ": could not be drawn (" + signalName(ended.signal) + ')');
        if (ended.result.empty()) throw libraryError(LumoErrorMemory, file);
        if (ended.result != drawn) throw CommandError(file + ": " + ended.result);
    });
    output.publish();
}

}  // namespace lumo::cli
