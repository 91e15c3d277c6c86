// What the file of a gain table holds: for reports.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "lumo.h"

namespace lumo::cli {

struct GainTable {
    int width, height;
    std::uint16_t minPercent, maxPercent;
    std::vector<std::uint16_t> codes;  ///< 0 the lowest gain, topCode() and above the highest

    [[nodiscard]] double lowest() const { return static_cast<float>(minPercent) / 100.0F; }
    [[nodiscard]] double highest() const { return static_cast<float>(maxPercent) / 100.0F; }
    /// What the highest gain is coded as: 65535, or 65534 by a rounding before the cut.
    [[nodiscard]] int topCode() const;
};

/// `shownAs` is the file's name in errors.
[[nodiscard]] GainTable readGainTable(const std::string& file, const std::string& shownAs);

}  // namespace lumo::cli
