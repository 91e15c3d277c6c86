// Charts of a row of numbers: a small canvas with axes and labels, written as a PNG picture.
#pragma once

#include <string>
#include <vector>

namespace lumo::cli {

struct Chart {
    std::vector<double> values;  ///< 0 or more, left to right, at least one
    int first;                   ///< what the first value belongs to; the others follow one by one
    bool filled;                 ///< down to the axis, else a line
};

/// Throws a CommandError if the file exists (unless `force`) or cannot be written.
void writeChart(const Chart& chart, const std::string& file, bool force);

}  // namespace lumo::cli
