// A picture as a DICOM file.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "interchange/dicom/dataset_file.h"
#include "interchange/dicom/encoder.h"
#include "interchange/dicom/read_back.h"
#include "interchange/dicom/sop_classes.h"
#include "interchange/picture.h"

namespace lumo::interchange::dicom {

struct WriteOptions {
    const SopClass* sop = nullptr;  ///< null: the source's
    std::optional<Intensity> intensity;
    Compression compression = Compression::none;
    std::string version;  ///< of the program
    OpenStream original;  ///< empty: like none
};

/// Throws Refusal for what the class does not allow, and what cannot be encoded.
[[nodiscard]] Written writePicture(const Picture& picture, const WriteOptions& options,
                                   const ByteSink& sink);

}  // namespace lumo::interchange::dicom
