// What has happened to a picture since it was read.
#include "interchange/dicom/changes.h"

#include <algorithm>

#include "interchange/dicom/attributes.h"
#include "interchange/dicom/history.h"
#include "interchange/dicom/numbers.h"
#include "interchange/dicom/reader.h"

namespace lumo::interchange::dicom {

namespace {

/// How many of the steps had been done when the picture had been read. From other formats than
/// DICOM that is not recorded, but there is a step if values were shifted or turned.
std::size_t importedSteps(const Description& picture, const std::vector<std::string>& steps) {
    const auto recorded = integer(entryOf(picture, importSection, "Steps"));
    if (recorded)
        return std::min(static_cast<std::size_t>(std::max<std::int64_t>(*recorded, 0)),
                        steps.size());
    const auto last = std::find_if(steps.rbegin(), steps.rend(), [](const std::string& step) {
        return step == "convert" || step.starts_with("convert ");
    });
    return static_cast<std::size_t>(steps.rend() - last);
}

bool isTurned(const Description& picture) {
    const std::string mirror = entryOf(picture, "Image_X", "Mirror");
    const bool mirrored = !mirror.empty() && mirror != "0" && mirror != "None";
    return mirrored || integer(entryOf(picture, "Image_X", "Rotation")).value_or(0) % 360 != 0;
}

bool hasOtherSides(const Description& picture) {
    const auto rows = integer(entryOf(picture, technicalSection, "Rows")),
               columns = integer(entryOf(picture, technicalSection, "Columns"));
    return (rows && *rows != picture.height) || (columns && *columns != picture.width);
}

}  // namespace

std::string entryOf(const Description& picture, std::string_view section, std::string_view key) {
    for (const Entry& entry : picture.entries)
        if (entry.section == section && entry.key == key) return entry.value;
    return "";
}

Changes changesOf(const Description& picture) {
    Changes changes;
    changes.steps = stepsOf(picture.entries);
    const std::size_t imported = importedSteps(picture, changes.steps);
    changes.sinceImport = changes.steps.size() > imported;
    changes.sidesExplained = std::ranges::any_of(changes.steps, isGeometric);
    const bool movedSince =
        std::any_of(changes.steps.begin() + static_cast<std::ptrdiff_t>(imported),
                    changes.steps.end(), isGeometric);
    changes.moved = movedSince || isTurned(picture) || hasOtherSides(picture);
    return changes;
}

}  // namespace lumo::interchange::dicom
