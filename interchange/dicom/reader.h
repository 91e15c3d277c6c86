// A DICOM file as a picture.
#pragma once

#include <functional>
#include <string>

#include "interchange/dicom/dataset_file.h"
#include "interchange/dicom/keep.h"
#include "interchange/picture.h"

namespace lumo::interchange::dicom {

struct ReadOptions {
    std::uint32_t frame = 0;  ///< 0: the only one
    Keep keep;
    bool objectPitch = false, turn = false;
    /// Called with the raster's bytes before room is made for it.
    std::function<void(std::uint64_t)> allowRaster = [](std::uint64_t) {};
};

/// Throws Refusal.
[[nodiscard]] Picture readPicture(const OpenStream& open, const ReadOptions& options);

inline constexpr char importSection[] = "Import";

}  // namespace lumo::interchange::dicom
