// The kinds of image objects that are written, and what each asks for.
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace lumo::interchange::dicom {

struct SopClass {
    const char* option;  ///< its name in a request
    const char* uid;
    const char* modality;  ///< that its objects have; null: any
    const char* intent;    ///< PresentationIntentType; null: none
    bool isDigital;        ///< digital X-ray, the strictest of them

    [[nodiscard]] bool isForPresentation() const {
        return intent != nullptr && std::string_view(intent) == "FOR PRESENTATION";
    }
};

/// By the name in a request; throws Refusal for another.
[[nodiscard]] const SopClass& sopClassNamed(const std::string& option);
/// Computed radiography or digital X-ray if the identifier is one of theirs, else secondary
/// capture.
[[nodiscard]] const SopClass& sopClassLike(std::string_view uid);

/// PixelIntensityRelationship and its sign.
struct Intensity {
    const char* relationship;
    const char* sign;
};
/// Throws Refusal for what is none; none for no text.
[[nodiscard]] std::optional<Intensity> intensityNamed(const std::string& option);

}  // namespace lumo::interchange::dicom
