// An original file as the base of one like it: all of it but what belongs to its own pixels.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "interchange/dicom/changes.h"
#include "interchange/dicom/dataset_file.h"
#include "interchange/dicom/pitch.h"
#include "interchange/dicom/provenance.h"

namespace lumo::interchange::dicom {

struct Original {
    std::unique_ptr<DatasetFile> file;  ///< with what belongs to its own pixels removed
    std::vector<Entry> technical;       ///< as they were
    SourceIdentifiers identifiers;
    std::vector<std::string> notes;
};

/// Throws Refusal if the picture has other sides than the original and no step explains it.
[[nodiscard]] Original openOriginal(const OpenStream& open, const Description& picture,
                                    const Changes& changes);

}  // namespace lumo::interchange::dicom
