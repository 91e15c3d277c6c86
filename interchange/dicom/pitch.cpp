// Which of the spacings in a DICOM file is the picture's pitch.
#include "interchange/dicom/pitch.h"

#include <cmath>

#include "interchange/dicom/numbers.h"

namespace lumo::interchange::dicom {

namespace {

constexpr double nanometresPerMillimetre = 1e6;

std::optional<std::uint32_t> nanometres(std::string_view millimetres) {
    const std::optional<double> value = decimal(millimetres);
    if (!value) return std::nullopt;
    const double rounded = std::round(*value * nanometresPerMillimetre);
    if (!(1 <= rounded && rounded <= largestPitch)) return std::nullopt;
    return static_cast<std::uint32_t>(rounded);
}

std::string shown(const Pitch& pitch) {
    const std::string x = std::to_string(pitch.x);
    return (pitch.x == pitch.y ? x : x + " x " + std::to_string(pitch.y)) + " nm";
}

std::string twoSpacings(const ChosenPitch& taken, const Pitch& detector, const Pitch& object,
                        const std::string& calibration) {
    const bool takesObject = taken.from == objectSpacing;
    return "the spacing of the " + std::string(takesObject ? "object" : "detector") +
           " is taken as pitch: " + detectorSpacing + ' ' + shown(detector) + ", " + objectSpacing +
           ' ' + shown(object) + (calibration.empty() ? "" : " (" + calibration + ')') +
           (takesObject ? "" : "; --pitch-from object takes that");
}

}  // namespace

std::optional<Pitch> pitchOf(const std::string& text) {
    const std::vector<std::string_view> values = valuesOf(text);
    if (values.size() != 2) return std::nullopt;
    const std::optional<std::uint32_t> y = nanometres(values[0]), x = nanometres(values[1]);
    if (!x || !y) return std::nullopt;
    return Pitch{*x, *y};
}

std::string spacingText(const Pitch& pitch) {
    return decimalText(pitch.y / nanometresPerMillimetre) + '\\' +
           decimalText(pitch.x / nanometresPerMillimetre);
}

ChosenPitch choosePitch(const TextOf& textOf, bool preferObject) {
    ChosenPitch chosen;
    std::array<std::optional<Pitch>, spacings.size()> usable;
    for (std::size_t i = 0; i < spacings.size(); ++i) {
        const std::string text = textOf(spacings[i]);
        usable[i] = pitchOf(text);
        if (!text.empty() && !usable[i])
            chosen.notes.push_back(std::string(spacings[i]) + " holds no usable spacing");
    }
    const std::optional<Pitch>&detector = usable[0], &object = usable[1];
    const auto take = [&](std::size_t i) {
        if (!usable[i] || !chosen.from.empty()) return;
        static_cast<Pitch&>(chosen) = *usable[i];
        chosen.from = spacings[i];
    };
    if (preferObject) take(1);
    for (std::size_t i = 0; i < spacings.size(); ++i) take(i);

    if (chosen.from.empty()) {
        chosen.from = pitchAssumed;
    } else if (preferObject && !object) {
        chosen.notes.emplace_back("gives no spacing of the object; another is taken as pitch");
    }
    if (detector && object && *detector != *object)
        chosen.notes.push_back(
            twoSpacings(chosen, *detector, *object, textOf("PixelSpacingCalibrationType")));
    return chosen;
}

}  // namespace lumo::interchange::dicom
