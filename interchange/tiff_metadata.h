// What a TIFF page says beside its pixels: pitch, texts, and our own metadata.
#pragma once

#include "interchange/picture.h"
#include "interchange/tiff_file.h"

namespace lumo::interchange {

/// Begins an ImageDescription that is a whole metadata text of ours.
inline constexpr const char* ownDescription = "[Lumo]";

/// Whether the page brings our own metadata.
[[nodiscard]] bool isOwn(const TiffFile& file);

/// Sets the pitch, where the file tells one, and returns where it comes from.
[[nodiscard]] std::string readPitch(const TiffFile& file, Description& description);

/// Adds our own entries, or those of section TIFF.
void readTexts(const TiffFile& file, Description& description);

}  // namespace lumo::interchange
