// Private folders beside a destination, in which files are written until they are whole. One that a
// killed program left behind is removed by the next that writes there.
#pragma once

#include <string>
#include <vector>

#include "cli/system/input_file.h"

namespace lumo::cli {

/// A lock on a folder, which all runs of this program respect; none where the system has none.
class FolderLock {
public:
    explicit FolderLock(const std::string& folder);

private:
    Descriptor folder_;
};

/// One at a time: an interrupt removes the folder and the named files in it.
class StagingFolder {
public:
    /// @param parent  with its slash; empty for the current folder
    /// @param names   all files that may come to lie in it
    /// Throws std::system_error.
    StagingFolder(const std::string& parent, const std::vector<std::string>& names);
    ~StagingFolder();
    StagingFolder(const StagingFolder&) = delete;
    StagingFolder& operator=(const StagingFolder&) = delete;

    [[nodiscard]] const std::string& path() const { return path_; }  ///< with its slash

    /// Whether a folder of this name is such a one.
    [[nodiscard]] static bool isOne(const std::string& name);

private:
    std::string path_;
    std::vector<std::string> files_;
    Descriptor lock_;
};

/// Removes what killed programs left in the folder; once for each folder unless `again`.
/// @param parent  with its slash; empty for the current folder
void removeLeftovers(const std::string& parent, bool again = false);

}  // namespace lumo::cli
