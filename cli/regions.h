// The parts of an image that a verb measures: the whole of it, or what --roi names, several times.
#pragma once

#include <string>
#include <vector>

#include "cli/arguments.h"
#include "cli/command.h"

namespace lumo::cli {

struct Region {
    std::string text;  ///< as the user wrote it, or "all"
    Roi roi{};
    bool whole = false;

    /// The region itself, of an image that has it; throws a CommandError for another.
    [[nodiscard]] Roi in(const lmImage& image, const std::string& file) const {
        if (whole) return {0, 0, image.width - 1, image.height - 1};
        requireInside(image, roi, file);
        return {std::min(roi.x1, roi.x2), std::min(roi.y1, roi.y2), std::max(roi.x1, roi.x2),
                std::max(roi.y1, roi.y2)};
    }
};

inline CLI::Option* addRegionOption(CLI::App& verb, std::vector<std::string>& texts) {
    return verb.add_option("--roi", texts, "A region: x1,y1,x2,y2, inclusive; may be repeated")
        ->allow_extra_args(false);
}

/// Throws a usage error for a text that is no region.
[[nodiscard]] inline std::vector<Region> regionsOf(const std::vector<std::string>& texts) {
    if (texts.empty()) return {{"all", {}, true}};
    std::vector<Region> regions;
    for (const std::string& text : texts) regions.push_back({text, parseRoi(text)});
    return regions;
}

}  // namespace lumo::cli
