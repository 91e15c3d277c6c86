// The kinds of image objects that are written, and what each asks for.
#include "interchange/dicom/sop_classes.h"

#include <algorithm>
#include <iterator>

#include "interchange/helper_main.h"

namespace lumo::interchange::dicom {

namespace {

constexpr SopClass classes[] = {
    {"sc", "1.2.840.10008.5.1.4.1.1.7", nullptr, nullptr, false},
    {"cr", "1.2.840.10008.5.1.4.1.1.1", "CR", nullptr, false},
    {"dx", "1.2.840.10008.5.1.4.1.1.1.1", "DX", "FOR PRESENTATION", true},
    {"dx-processing", "1.2.840.10008.5.1.4.1.1.1.1.1", "DX", "FOR PROCESSING", true},
};

struct NamedIntensity {
    std::string_view option;
    Intensity intensity;
};

constexpr NamedIntensity intensities[] = {
    {"lin+", {"LIN", "1"}},
    {"lin-", {"LIN", "-1"}},
    {"log+", {"LOG", "1"}},
    {"log-", {"LOG", "-1"}},
};

}  // namespace

const SopClass& sopClassNamed(const std::string& option) {
    const auto found = std::ranges::find(
        classes, option, [](const SopClass& sop) { return std::string_view(sop.option); });
    if (found == std::end(classes))
        throw Refusal("there is no class " + option + "; there are sc, cr, dx, and dx-processing");
    return *found;
}

const SopClass& sopClassLike(std::string_view uid) {
    const auto found = std::ranges::find(
        classes, uid, [](const SopClass& sop) { return std::string_view(sop.uid); });
    return found != std::end(classes) ? *found : classes[0];
}

std::optional<Intensity> intensityNamed(const std::string& option) {
    if (option.empty()) return std::nullopt;
    const auto found = std::ranges::find(intensities, option, &NamedIntensity::option);
    if (found == std::end(intensities))
        throw Refusal("there is no intensity " + option + "; there are lin+, lin-, log+, and log-");
    return found->intensity;
}

}  // namespace lumo::interchange::dicom
