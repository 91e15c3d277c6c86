// What a file says of the meaning of its grey values: never applied, but reported, and turned with
// them.
#include "interchange/dicom/grey_scale.h"

#include <algorithm>
#include <cmath>

#include "interchange/dicom/metadata.h"
#include "interchange/dicom/numbers.h"

namespace lumo::interchange::dicom {

namespace {

/// From the file's stored values, signed or not, to those that its window is given in.
struct Rescale {
    double slope = 1, intercept = 0;
    bool usable = true;

    explicit Rescale(const std::vector<Entry>& technical) {
        const std::string slopeText = valueOf(technical, "RescaleSlope"),
                          interceptText = valueOf(technical, "RescaleIntercept");
        const auto given = [](const std::string& text, double other) {
            return text.empty() ? other : decimal(text);
        };
        const std::optional<double> factor = given(slopeText, 1), from = given(interceptText, 0);
        usable = factor && from && *factor != 0;
        slope = factor.value_or(1);
        intercept = from.value_or(0);
    }
    [[nodiscard]] bool isIdentity() const { return usable && slope == 1 && intercept == 0; }
};

/// How far the centre lies from the middle between the limits.
double centreShift(const std::vector<Entry>& technical) {
    const std::string function = valueOf(technical, "VOILUTFunction");
    return function.empty() || function == "LINEAR" ? 0.5 : 0;
}

std::uint16_t clamped(double value, const WordLayout& layout) {
    return static_cast<std::uint16_t>(
        std::lround(std::clamp(value, 0.0, static_cast<double>(layout.largest()))));
}

template <class Change>
void change(std::vector<Entry>& entries, std::string_view key, Change to) {
    for (Entry& entry : entries)
        if (entry.key == key) entry.value = to(entry.value);
}

/// Applies to each of the numbers; texts that are none stay.
template <class Map>
std::string mapped(const std::string& text, Map map) {
    std::string result;
    for (const std::string_view value : valuesOf(text)) {
        if (!result.empty()) result += '\\';
        const std::optional<double> number = decimal(value);
        result += number ? decimalText(map(*number)) : std::string(value);
    }
    return result;
}

}  // namespace

std::optional<Window> windowOf(const std::vector<Entry>& technical, const WordLayout& layout) {
    const std::string centreText = valueOf(technical, "WindowCenter"),
                      widthText = valueOf(technical, "WindowWidth");
    const std::optional<double> centre = decimal(valuesOf(centreText).front()),
                                width = decimal(valuesOf(widthText).front());
    const Rescale rescale(technical);
    if (!centre || !width || *width < 1 || !rescale.usable || centreShift(technical) == 0)
        return std::nullopt;
    const auto raster = [&](double value) {
        return (value - rescale.intercept) / rescale.slope + layout.offset();
    };
    const double half = (*width - 1) / 2, middle = *centre - 0.5;
    const double low = raster(middle - half), high = raster(middle + half);
    return Window{clamped(std::min(low, high), layout), clamped(std::max(low, high), layout)};
}

std::vector<std::string> mappingNotes(const std::vector<Entry>& technical) {
    std::vector<std::string> notes;
    const Rescale rescale(technical);
    if (!rescale.usable)
        notes.emplace_back("its rescale is no mapping; it is not applied");
    else if (!rescale.isIdentity())
        notes.push_back("stored values; the rescale (slope " + decimalText(rescale.slope) +
                        ", intercept " + decimalText(rescale.intercept) + ") is not applied");
    constexpr std::string_view tables[][2] = {{"ModalityLUTSequence", "modality"},
                                              {"VOILUTSequence", "VOI"},
                                              {"PresentationLUTSequence", "presentation"}};
    for (const auto& [key, name] : tables)
        if (!valueOf(technical, key).empty())
            notes.push_back("stored values; the " + std::string(name) +
                            " look-up table is not applied and left out");
    return notes;
}

void turnEntries(std::vector<Entry>& technical, const WordLayout& layout) {
    // A stored value v becomes ends - v, the sum of the range's ends.
    const double ends = layout.isSigned ? -1 : layout.largest();
    const Rescale rescale(technical);
    const double centreEnds =
        rescale.slope * ends + 2 * rescale.intercept + 2 * centreShift(technical);
    const auto turnedValue = [&](const std::string& text) {
        return mapped(text, [&](double value) { return ends - value; });
    };
    change(technical, "PixelPaddingValue", turnedValue);
    change(technical, "PixelPaddingRangeLimit", turnedValue);
    change(technical, "WindowCenter", [&](const std::string& text) {
        return mapped(text, [&](double centre) { return centreEnds - centre; });
    });
    change(technical, "PixelIntensityRelationshipSign",
           [](const std::string& text) { return mapped(text, [](double sign) { return -sign; }); });
    change(technical, "PresentationLUTShape", [](const std::string&) { return "IDENTITY"; });
    change(technical, "PhotometricInterpretation",
           [](const std::string&) { return "MONOCHROME2"; });
}

}  // namespace lumo::interchange::dicom
