// Arguments that several verbs take: regions and percentile limits.
#pragma once

#include <algorithm>
#include <array>
#include <charconv>
#include <string>

#include "cli/error.h"
#include "lumo_legacy.h"

namespace lumo::cli {

/// Whole numbers separated by commas, as many as the array holds; throws a usage error that names
/// the option.
template <std::size_t count>
[[nodiscard]] std::array<std::int32_t, count> parseNumbers(const std::string& option,
                                                           const std::string& text) {
    std::array<std::int32_t, count> numbers{};
    const char *place = text.data(), *end = text.data() + text.size();
    for (std::size_t i = 0; i < count; ++i) {
        const auto [rest, error] = std::from_chars(place, end, numbers[i]);
        const bool last = i + 1 == count;
        if (error != std::errc() || (last ? rest != end : rest == end || *rest != ','))
            throw usageError(option + ' ' + text + ": not " + std::to_string(count) +
                             " whole numbers separated by commas");
        place = last ? rest : rest + 1;
    }
    return numbers;
}

[[nodiscard]] inline Roi parseRoi(const std::string& text) {
    const auto [x1, y1, x2, y2] = parseNumbers<4>("--roi", text);
    return {x1, y1, x2, y2};
}

/// Throws a CommandError for a region, corners in any order, that leaves the image.
inline void requireInside(const lmImage& image, const Roi& roi, const std::string& file) {
    const auto [left, right] = std::minmax(roi.x1, roi.x2);
    const auto [top, bottom] = std::minmax(roi.y1, roi.y2);
    if (left >= 0 && top >= 0 && right < image.width && bottom < image.height) return;
    std::string text = file + ": --roi ";
    for (const std::int32_t number : {roi.x1, roi.y1, roi.x2, roi.y2})
        text += std::to_string(number) + ',';
    text.back() = ' ';
    throw CommandError(text + "leaves the image of " + std::to_string(image.width) + " x " +
                       std::to_string(image.height) + " pixels");
}

/// Shares of the darkest and of the brightest pixels, in parts per million.
struct Limits {
    std::int32_t low, high;
};
[[nodiscard]] inline Limits parseLimits(const std::string& text) {
    constexpr std::int32_t all = 1'000'000;
    const auto [low, high] = parseNumbers<2>("--limits", text);
    if (low < 0 || high < 0 || low > all || high > all)
        throw usageError("--limits " + text + ": not between 0 and 1000000 parts per million");
    return {low, high};
}

}  // namespace lumo::cli
