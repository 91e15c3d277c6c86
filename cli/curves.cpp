// Curves are printed as they come; those of a chart are kept until all are there.
#include "cli/curves.h"

#include <iostream>

#include "cli/csv.h"
#include "cli/files/records.h"

namespace lumo::cli {
namespace {

struct Origin {
    const std::string &file, &region;
};

class Printer {
public:
    Printer(const CurveOptions& options, const CurveForm& form)
        : form_(form),
          prints_(!options.chosen() || options.csv || options.json),
          csv_(options.csv || form.csvAlways),
          many_(options.files.size() * std::max<std::size_t>(options.regions.size(), 1) > 1),
          records_(options.json) {}

    void add(const Origin& origin, const Curve& curve) {
        if (!prints_) return;
        if (records_.asJson()) return addObject(origin, curve);
        if (csv_) return addCsv(origin, curve);
        clearProgress();
        if (many_) std::cout << printable(origin.file) << "  " << origin.region << '\n';
        for (std::size_t i = 0; i < curve.values.size(); ++i)
            std::cout << curve.abscissae[i] << ' ' << curve.values[i] << '\n';
    }
    [[nodiscard]] Records& records() { return records_; }

private:
    void addObject(const Origin& origin, const Curve& curve) {
        records_.add(origin.file, [&](JsonWriter& writer) {
            writer.entry("region", origin.region);
            form_.writeJson(writer, curve);
        });
    }
    void addCsv(const Origin& origin, const Curve& curve) {
        if (!headed_)
            std::cout << (many_ ? "file,region," : "") << form_.abscissa << ',' << form_.value
                      << '\n';
        headed_ = true;
        const std::string origins =
            many_ ? csvField(origin.file) + ',' + csvField(origin.region) + ',' : "";
        for (std::size_t i = 0; i < curve.values.size(); ++i)
            std::cout << origins << curve.abscissae[i] << ',' << curve.values[i] << '\n';
    }

    const CurveForm& form_;
    bool prints_, csv_, many_, headed_ = false;
    Records records_;
};

/// The curve as a chart shows it: bars as steps.
ChartCurve chartCurve(std::string name, const Curve& curve, bool asBars) {
    ChartCurve result{std::move(name), {}};
    for (std::size_t i = 0; i < curve.values.size(); ++i) {
        const auto x = static_cast<double>(curve.abscissae[i]);
        const auto y = static_cast<double>(curve.values[i]);
        result.points.push_back({x, y});
        if (!asBars) continue;
        const bool last = i + 1 == curve.values.size();
        result.points.push_back(
            {static_cast<double>(last ? curve.end : curve.abscissae[i + 1]), y});
    }
    return result;
}

/// What tells a curve from the others of a chart.
std::string nameOf(const Origin& origin, const CurveOptions& options) {
    const std::string file = SplitPath(origin.file).name;
    if (options.files.size() == 1) return origin.region;
    return options.regions.size() > 1 ? file + "  " + origin.region : file;
}

std::string subtitleOf(const CurveOptions& options) {
    std::string text;
    for (const std::string& file : options.files)
        text += (text.empty() ? "" : ", ") + printable(SplitPath(file).name);
    if (options.regions.size() == 1) text += "   region " + options.regions.front();
    return text;
}

}  // namespace

void addCurveOptions(CLI::App& verb, CurveOptions& options) {
    addInputOption(verb, options.files);
    addRegionOption(verb, options.regions);
    CLI::Option* csv = verb.add_flag("--csv", options.csv, "Comma-separated, with a head");
    addJsonOption(verb, options.json);
    verb.get_option("--json")->excludes(csv);
    addChartOptions(verb, options);
}

Status runCurves(
    const CurveOptions& options, const CurveForm& form, Chart chart,
    const std::function<Curve(const lmImage&, const Roi&, const std::string&)>& measure) {
    const std::vector<Region> regions = regionsOf(options.regions);
    if (options.chosen()) options.requirePlace();
    Printer printer(options, form);
    const Status status =
        forEachFile(options.files, printer.records(), [&](const std::string& file) {
            const ImageHandle image = readImage(file);
            for (const Region& region : regions) {
                const Curve curve = measure(*image, region.in(*image, file), file);
                const Origin origin{file, region.text};
                printer.add(origin, curve);
                if (options.chosen())
                    chart.curves.push_back(chartCurve(nameOf(origin, options), curve, form.asBars));
            }
        });
    if (!options.chosen() || chart.curves.empty()) return status;
    chart.subtitle = subtitleOf(options);
    options.write(chart);
    return status;
}

}  // namespace lumo::cli
