// The spacings of a file to be written.
#include "interchange/dicom/written_spacing.h"

#include <algorithm>
#include <cmath>

namespace lumo::interchange::dicom {

namespace {

/// The attribute that the pitch stands in; null for none of the source's.
const char* sourceOf(const std::string& from, const TextOf& textOf) {
    const auto named = std::ranges::find(spacings, from);
    if (named != spacings.end() && pitchOf(textOf(*named))) return *named;
    if (!from.empty() && from != pitchAssumed) return nullptr;
    const std::string best = choosePitch(textOf, false).from;
    const auto found = std::ranges::find(spacings, best);
    return found == spacings.end() ? nullptr : *found;
}

/// What PNG, which counts whole pixels a metre, makes of a pitch.
std::uint32_t throughPng(std::uint32_t pitch) {
    constexpr std::uint32_t nanometresPerMetre = 1'000'000'000;
    return nanometresPerMetre / (nanometresPerMetre / pitch);
}

bool isSame(std::uint32_t before, std::uint32_t now) {
    return now == before || now == throughPng(before);
}

std::uint32_t scaled(std::uint32_t spacing, std::uint32_t pitch, std::uint32_t before) {
    const double value = std::round(static_cast<double>(spacing) * pitch / before);
    return static_cast<std::uint32_t>(std::clamp(value, 1.0, static_cast<double>(largestPitch)));
}

}  // namespace

std::vector<Spacing> spacingsFor(const Pitch& pitch, const std::string& from, const TextOf& textOf,
                                 const char* usual) {
    const char* const source = sourceOf(from, textOf);
    if (source == nullptr) {
        if (from == pitchAssumed && pitch == Pitch{}) return {};
        return {{usual, spacingText(pitch)}};
    }
    const Pitch before = *pitchOf(textOf(source));
    const bool isKept = isSame(before.x, pitch.x) && isSame(before.y, pitch.y);
    std::vector<Spacing> written;
    for (const char* const keyword : spacings) {
        const std::string text = textOf(keyword);
        const std::optional<Pitch> spacing = pitchOf(text);
        if (!spacing) continue;
        if (isKept)
            written.push_back({keyword, text});
        else if (keyword == source)
            written.push_back({keyword, spacingText(pitch)});
        else
            written.push_back({keyword, spacingText({scaled(spacing->x, pitch.x, before.x),
                                                     scaled(spacing->y, pitch.y, before.y)})});
    }
    return written;
}

}  // namespace lumo::interchange::dicom
