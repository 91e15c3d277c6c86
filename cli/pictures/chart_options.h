// What the verbs share that print numbers or draw them.
#pragma once

#include <string>

#include "cli/files/image_output.h"
#include "cli/pictures/chart.h"

namespace lumo::cli {

struct ChartOptions {
    std::string picture;
    bool force = false;

    [[nodiscard]] bool chosen() const { return !picture.empty(); }
    /// Throws what can be known before the work begins.
    void requirePlace() const {
        requireDrawingName(picture);
        const SplitPath path(picture);
        cli::requirePlace(path.folder, {path.name}, force);
    }
    void write(const Chart& chart) const { writeDrawing(drawChart(chart), picture, force); }
};

inline void addChartOptions(CLI::App& verb, ChartOptions& options) {
    verb.add_option("--chart,--png,--svg,--pdf", options.picture,
                    "Draw a chart into this file instead: PNG, SVG or PDF by its name");
    addForceOption(verb, options.force);
}

}  // namespace lumo::cli
