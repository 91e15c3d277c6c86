// Pictures from anywhere: which kind of file it is, and who reads it. The image holds the values as
// they are stored; what was assumed or left out comes back as notes.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cli/files/dump.h"
#include "cli/files/helper.h"

namespace lumo::cli {

/// What the user says of a file of another format.
struct ImportOptions {
    std::string from = "auto";  ///< auto, tiff, dicom, dump
    std::uint32_t frame = 0;    ///< counted from 1; 0: not chosen
    bool firstFrame = false;    ///< of several the first, if none was chosen
    bool monochrome2 = false;   ///< turn what is meant the other way round
    bool pitchGiven = false;    ///< by the user, who need not be told that it is assumed
    std::string pitchFrom;      ///< empty: the detector's; "object"
    std::string keep;           ///< lists of identifying elements, separated by commas
    DumpSettings dump;          ///< for dumps alone
    std::string sidecar;        ///< a file that describes the dump
};

/// Who reads a file.
enum class FileKind { own, tiff, dicom, dump };

/// By --from, else by the first bytes; by the name alone only for DICOM files without preamble.
/// @param start  the file's first bytes, recognisedBytes of them if there are as many
[[nodiscard]] FileKind recognise(std::string_view start, std::uint64_t fileSize,
                                 const std::string& file, const ImportOptions& options);

/// What came in, with a word on it for `info`.
struct Imported {
    ImageHandle image;
    std::string format;  ///< "TIFF", "DICOM", "dump"
    std::vector<std::string> notes;
};

/// Reads a file that is not of our own formats; throws CommandError, with a message that begins
/// with its name.
[[nodiscard]] Imported importPicture(FileKind kind, const Descriptor& input,
                                     const std::string& file, const ImportOptions& options,
                                     const HelperPlace& place = {});

/// Throws a CommandError for options that say nothing to a file of this kind.
void refuseUseless(const ImportOptions& options, FileKind kind, const std::string& file);

/// Throws a usage error for options that say nothing, or contradict each other.
void checkImportOptions(const ImportOptions& options);

}  // namespace lumo::cli
