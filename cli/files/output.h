// Output files that appear whole or not at all, and never in place of another without consent.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "cli/error.h"
#include "cli/system/input_file.h"
#include "cli/system/staging_folder.h"

namespace lumo::cli {

/// The same for all names of one file or folder, whether it exists or not.
[[nodiscard]] std::filesystem::path identity(const std::filesystem::path& path);

/// Throws a CommandError if one of the files exists and may not be replaced, or if nothing can be
/// written beside it: what can be known before the work begins.
/// @param folder  with its slash; empty for the current one
/// @param names   the files to come, without folder; the last is the one that the user named, "-"
///                alone for standard output
/// @param force   whether existing files may be replaced
void requirePlace(const std::string& folder, const std::vector<std::string>& names, bool force);

/// Files are written into a private folder beside their destination and moved from there to their
/// names by publish(); what goes to standard output is kept in memory until then. A failure or an
/// interrupt before that leaves no trace. One object at a time.
class StagedOutput {
public:
    /// Throws as requirePlace().
    /// @param scratch  names of further files that are written on the way and then dropped
    StagedOutput(const std::string& folder, const std::vector<std::string>& names,
                 const std::vector<std::string>& scratch, bool force);

    /// Where to write one of the names for now.
    [[nodiscard]] std::string pathOf(const std::string& name) const;

    /// The failure to write one of the names, with the system's reason where there is one.
    [[nodiscard]] CommandError writingError(int code, const std::string& name) const;

    /// Gives the files their final names, in their order. What is replaced hands on its mode and
    /// owner; a symbolic link stays, and the file behind it is replaced.
    void publish();

private:
    void move(const std::string& name) const;
    void copyToStandardOutput() const;

    std::string folder_;
    std::vector<std::string> names_;
    bool force_;
    std::optional<StagingFolder> staging_;
    Descriptor unnamed_;  // in place of the folder, for standard output
};

}  // namespace lumo::cli
