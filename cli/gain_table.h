// What the file of a gain table holds, and what it did to an image: for reports.
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

/// Pixels of an image that a table reached.
struct CorrectionCounts {
    std::int64_t corrected, beyondTable, atLowestGain, atHighestGain;
    std::int64_t clamped;  ///< whose product with the gain left the range of grey values
};

/// @param source  the image before its correction
[[nodiscard]] CorrectionCounts countCorrection(const GainTable& table, int width, int height,
                                               const std::vector<std::uint16_t>& source);

}  // namespace lumo::cli
