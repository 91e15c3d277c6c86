// Images as files of other formats: TIFF and DICOM through the helpers, dumps with their sidecars.
#pragma once

#include <string>
#include <vector>

#include "cli/files/helper.h"

namespace lumo::cli {

/// What a format's writer is asked for, beside the image.
struct ExportOptions {
    std::string compression;         ///< a name that the helper knows; empty: its default
    std::vector<std::string> dicom;  ///< further options for DICOM, each NAME=VALUE
    std::string original;  ///< a file of the same format that lends what the image does not know
};

/// Has a helper write a file; returns notes for the user. Throws CommandError.
/// @param path  where it is written for now
/// @param file  the name in messages
std::vector<std::string> exportByHelper(const HelperProgram& helper, lmImage* image,
                                        const std::string& path, const std::string& file,
                                        const ExportOptions& options,
                                        const HelperPlace& place = {});

/// Writes the pixels alone, and beside them what is known of them.
std::vector<std::string> exportDump(lmImage* image, const std::string& path,
                                    const std::string& sidecarPath, const std::string& file);

}  // namespace lumo::cli
