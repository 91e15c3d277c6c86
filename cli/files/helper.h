// Pictures read and written by the helper programs: started, fed and watched here. Whatever a
// helper does, dies or says, the program itself goes on.
#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "cli/library.h"
#include "cli/system/child.h"
#include "interchange/picture.h"

namespace lumo::cli {

/// Which program, and for which files.
struct HelperProgram {
    const char* name;    ///< "lumo-tiff"
    const char* format;  ///< "TIFF", as users call the files
};
inline constexpr HelperProgram tiffHelper = {"lumo-tiff", "TIFF"};
inline constexpr HelperProgram dicomHelper = {"lumo-dicom", "DICOM"};

/// A picture that came in, its values and pitch in the image; the entries are not yet part of it.
struct Incoming {
    ImageHandle image;
    interchange::Description description;
};

/// Where and how helpers are run.
struct HelperPlace {
    /// Each with its slash, in the order in which they are looked into.
    std::vector<std::string> folders = helperFolders();
    /// Above any helper's processor time for pictures of usual size.
    std::chrono::milliseconds longestSilence = std::chrono::minutes(10);

    /// Relative to the running program: the installation's, and the program's own.
    [[nodiscard]] static std::vector<std::string> helperFolders();
};

/// The picture in a file. Throws a CommandError that begins with the file's name if the helper is
/// missing, refuses the file, dies, falls silent or sends something else.
/// @param input    the open file
/// @param options  of the helper, each NAME=VALUE
[[nodiscard]] Incoming readByHelper(const HelperProgram& helper, const std::string& file,
                                    const Descriptor& input,
                                    const std::vector<std::string>& options,
                                    const HelperPlace& place = {});

/// Has a picture written. Throws as readByHelper(); what lies in the file then is undefined.
/// @param file      only named in errors
/// @param output    the open file, empty
/// @param original  an open file for the option "like", or null
/// @return notes for the user
std::vector<std::string> writeByHelper(const HelperProgram& helper, const std::string& file,
                                       const lmImage& image,
                                       const interchange::Description& description,
                                       const Descriptor& output,
                                       const std::vector<std::string>& options,
                                       const Descriptor* original = nullptr,
                                       const HelperPlace& place = {});

}  // namespace lumo::cli
