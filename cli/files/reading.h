// Reading of image files, whatever their format: the one way in for all verbs.
#pragma once

#include <string>

#include "cli/files/import.h"
#include "cli/library.h"

namespace lumo::cli {

/// An image, and what its record does not say of the file that it came from.
struct Reading {
    ImageHandle image;
    std::string format;  ///< for people
};

/// Reads an image file of any format; "-" is standard input, which may be a pipe. A pitch that the
/// file does not hold is marked as assumed (pitch.h). Throws a CommandError that says what is wrong
/// with the file.
/// @param options  for files of other formats
[[nodiscard]] Reading readFile(const std::string& file, const ImportOptions& options = {});

/// The image alone.
[[nodiscard]] ImageHandle readImage(const std::string& file, const ImportOptions& options = {});

}  // namespace lumo::cli
