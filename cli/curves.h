// Rows of whole numbers measured in files and regions: printed as text, CSV or JSON, or drawn.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "cli/files/inputs.h"
#include "cli/json.h"
#include "cli/pictures/chart_options.h"
#include "cli/regions.h"

namespace lumo::cli {

struct CurveOptions : ChartOptions {
    std::vector<std::string> files, regions;
    bool csv = false, json = false;
};

/// Declares FILE, --roi, --csv, --json and the options of charts.
void addCurveOptions(CLI::App& verb, CurveOptions& options);

struct Curve {
    std::vector<std::int64_t> abscissae, values;
    std::int64_t end = 0;  ///< behind the last one
};

/// What a curve's numbers are.
struct CurveForm {
    const char *abscissa, *value;  ///< column heads
    bool asBars;     ///< each number belongs to all that lies before the next abscissa
    bool csvAlways;  ///< no plain text form
    std::function<void(JsonWriter& json, const Curve& curve)> writeJson;
};

/// Measures every region of every file and prints the curves, draws them into one chart, or both
/// (--csv with a chart). A file that fails is reported, the others go on.
/// @param chart  title and names of the axes
Status runCurves(const CurveOptions& options, const CurveForm& form, Chart chart,
                 const std::function<Curve(const lmImage& image, const Roi& region,
                                           const std::string& file)>& measure);

}  // namespace lumo::cli
