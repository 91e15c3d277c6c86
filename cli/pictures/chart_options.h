// What the verbs share that print numbers or draw them.
#pragma once

#include <string>

#include "cli/files/image_output.h"

namespace lumo::cli {

struct ChartOptions {
    std::string input, picture;
    bool force = false;
};

inline void addChartOptions(CLI::App& verb, ChartOptions& options) {
    verb.add_option("--png", options.picture, "Draw a picture into this file instead");
    addForceOption(verb, options.force);
}

}  // namespace lumo::cli
