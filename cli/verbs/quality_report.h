// Figures as a table for people, as CSV or as JSON.
#pragma once

#include <functional>
#include <string>
#include <variant>
#include <vector>

#include "cli/files/records.h"

namespace lumo::cli {

/// A value with its key and what stands above it in a table. NaN is a figure that does not exist.
struct Figure {
    std::string key, head;
    std::variant<double, std::int64_t, std::string> value;
    int digits = 6;  ///< significant ones in a table; files get ten
};
using Figures = std::vector<Figure>;

class QualityReport {
public:
    QualityReport(bool csv, bool json);
    /// One line. All lines have the same keys.
    /// @param note   what has to be known beside the figures; may be empty
    /// @param curve  further entries of the JSON object
    void add(const Figures& figures, const std::string& note,
             const std::function<void(JsonWriter&)>& curve = {});
    /// Where failures are recorded; their end is the report's.
    [[nodiscard]] Records& records() { return records_; }

private:
    void addLine(const Figures& figures, const std::string& note);
    void addCsv(const Figures& figures, const std::string& note);

    bool csv_, first_ = true;
    Records records_;
};

/// The sentences of a sum of notes, and a further one.
[[nodiscard]] std::string noteText(std::uint32_t notes, const std::string& further = {});

}  // namespace lumo::cli
