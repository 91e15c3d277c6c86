// Parts of file names.
#pragma once

#include <string>

namespace lumo::cli {

/// Folder of a path with its slash (empty for the current one), and the rest.
struct SplitPath {
    explicit SplitPath(const std::string& file);
    std::string folder, name;
};

/// Text after the last '.' of a name; empty without one.
[[nodiscard]] std::string extensionOf(const std::string& name);

/// Whether a name's extension is this one, in any case.
[[nodiscard]] bool hasExtension(const std::string& name, const char* extension);

/// The name with these in place of its last three letters.
[[nodiscard]] std::string withLastThree(std::string name, const char* letters);

}  // namespace lumo::cli
