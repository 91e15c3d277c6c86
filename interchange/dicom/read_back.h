// Reading what has been written, and comparing it with what should be there.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "interchange/dicom/dataset_file.h"
#include "interchange/dicom/pitch.h"
#include "interchange/picture.h"

namespace lumo::interchange::dicom {

/// What was put into a file and has to come back out of it.
struct Written {
    std::vector<Entry> entries;  ///< all that a reader would take
    std::optional<Pitch> pitch;  ///< none if it was only assumed
    std::vector<std::string> notes;
};

/// The entries that a reader would take from the data set.
[[nodiscard]] std::vector<Entry> allEntries(DcmItem& dataset);

/// Reads the file again; throws Refusal if anything is not as it was written.
void requireSame(const Picture& picture, const Written& written, const OpenStream& file);

}  // namespace lumo::interchange::dicom
