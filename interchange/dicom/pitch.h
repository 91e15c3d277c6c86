// Which of the spacings in a DICOM file is the picture's pitch.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "interchange/picture.h"

namespace lumo::interchange::dicom {

/// Nanometres: x between columns, y between rows.
struct Pitch {
    std::uint32_t x = assumedPitch, y = assumedPitch;
    bool operator==(const Pitch&) const = default;
};

/// Keyword of an attribute -> its text, empty if it is not there.
using TextOf = std::function<std::string(const char* keyword)>;

struct ChosenPitch : Pitch {
    std::string from;  ///< keyword of the attribute, or `pitchAssumed`
    std::vector<std::string> notes;
};

inline constexpr char detectorSpacing[] = "ImagerPixelSpacing", objectSpacing[] = "PixelSpacing",
                      scannedSpacing[] = "NominalScannedPixelSpacing",
                      planeSpacing[] = "ImagePlanePixelSpacing";
/// In the order in which they are preferred.
inline constexpr std::array<const char*, 4> spacings = {detectorSpacing, objectSpacing,
                                                        scannedSpacing, planeSpacing};

/// "row spacing\column spacing" in millimetres; none unless both are pitches.
[[nodiscard]] std::optional<Pitch> pitchOf(const std::string& text);

/// Such a text, each number in at most 16 characters.
[[nodiscard]] std::string spacingText(const Pitch& pitch);

/// The detector's spacing is taken first, and never scaled by a magnification; `preferObject` takes
/// the calibrated one in the object's plane.
[[nodiscard]] ChosenPitch choosePitch(const TextOf& textOf, bool preferObject);

}  // namespace lumo::interchange::dicom
