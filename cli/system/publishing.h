// Finished files get their names.
#pragma once

#include <string>

namespace lumo::cli {

/// What stands under a name already.
enum class Occupant {
    none,
    file,   ///< a regular file, or a link to one or to nothing: can be replaced
    other,  ///< a folder, a device, a pipe
};
[[nodiscard]] Occupant occupantOf(const std::string& file);

/// Whether files can be made in a folder; errno says why not.
[[nodiscard]] bool canWriteTo(const std::string& folder);

/// The place that a name leads to through symbolic links, whether there is a file or not.
[[nodiscard]] std::string placeOf(const std::string& file);

/// Gives a file a name that nobody else has taken meanwhile. Throws std::system_error; EEXIST if
/// somebody has.
void publishNew(const std::string& from, const std::string& to);

/// Puts a file in another's place, with the other's mode and owner; false if the owner could not be
/// kept. Throws std::system_error.
[[nodiscard]] bool publishOver(const std::string& from, const std::string& to);

/// The system's reason why no more can be written to a file that is to be dropped; empty if more
/// can.
[[nodiscard]] std::string whyNotWritten(const std::string& file);

void removeFile(const std::string& file);

}  // namespace lumo::cli
