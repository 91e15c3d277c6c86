// Pictures from anywhere: which kind of file it is, and who reads it. The image holds the values as
// they are stored; what was assumed or left out comes back as notes.
#pragma once

#include <cstdint>
#include <string>
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
    std::string pitch;          ///< "NM[,NM]" whatever the file tells; empty: as it tells
    std::string pitchFrom;      ///< empty: the detector's; "object"
    std::string keep;           ///< lists of identifying elements, separated by commas
    DumpSettings dump;          ///< for dumps alone; the pitch is above
    std::string sidecar;        ///< a file that describes the dump
};

/// Who reads a file.
enum class FileKind { own, tiff, dicom, dump };
struct Recognised {
    FileKind kind = FileKind::own;
    Descriptor file;  ///< not open for our own formats
};

/// By --from, else by the first bytes; by the name alone only for DICOM files without preamble.
/// What cannot be opened, or is no regular file, is left to the library and its messages.
[[nodiscard]] Recognised recognise(const std::string& file, const ImportOptions& options);

/// What came in, with a word on it for `info`.
struct Imported {
    ImageHandle image;
    std::string format;  ///< "TIFF", "DICOM", "dump"
    std::vector<std::string> notes;
};

/// Reads a file of another format; throws CommandError, with a message that begins with its name.
[[nodiscard]] Imported importPicture(Recognised found, const std::string& file,
                                     const ImportOptions& options, const HelperPlace& place = {});

/// Throws a usage error for options that say nothing, or contradict each other.
void checkImportOptions(const ImportOptions& options);

}  // namespace lumo::cli
