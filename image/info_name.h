// The name of an XYZ image's information file. Callers form it by three rules, which agree only for
// names that end in ".xyz"; each keeps its own, since files written long ago were named so.
#pragma once

#include "platform/file.h"

namespace lumo {

struct InfoName {
    char text[longestFileName + 4] = "";  ///< the reader's rule lengthens a name by up to 3
    [[nodiscard]] bool exists() const { return text[0] != '\0'; }
};

/// Deleting: only for names that end in ".xyz" in any case, the last three characters replaced by
/// "txt"; other images have none.
[[nodiscard]] InfoName infoNameForDeleting(const char* fileName) noexcept;

/// Reading an XYZ image: what follows the last '.' replaced by "txt"; none without a '.'.
[[nodiscard]] InfoName infoNameForReading(const char* fileName) noexcept;

/// Writing, and the information record: the last three characters replaced by "txt", whatever they
/// are; none for a name (without its folders) that is shorter.
[[nodiscard]] InfoName infoNameForWriting(const char* fileName) noexcept;

}  // namespace lumo
