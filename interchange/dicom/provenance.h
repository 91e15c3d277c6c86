// Where a written file says that it comes from: its identifiers, its history, who made it.
#pragma once

#include <string>
#include <vector>

#include "interchange/dicom/changes.h"
#include "interchange/dicom/dcmtk.h"

namespace lumo::interchange::dicom {

/// What an original's identifiers are good for, those that are some.
struct SourceIdentifiers {
    std::string sopClass, instance, study, frameOfReference;
};

/// A new instance in a new series; of the source's study if that is known.
void putIdentifiers(DcmItem& dataset, const SourceIdentifiers& source);

/// The steps as a text, ImageType, the program among the equipment, and all metadata that no
/// element stands for in a private block of our own. Returns notes.
[[nodiscard]] std::vector<std::string> putHistory(DcmItem& dataset, const Description& picture,
                                                  const Changes& changes,
                                                  const std::string& version);

/// Says that nothing of a patient is in the file on purpose.
void putDeidentification(DcmItem& dataset, const std::string& version);

}  // namespace lumo::interchange::dicom
