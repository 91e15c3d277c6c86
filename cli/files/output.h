// Output files that appear whole or not at all, and never in place of another without consent.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace lumo::cli {

/// The same for all names of one file or folder, whether it exists or not.
[[nodiscard]] std::filesystem::path identity(const std::filesystem::path& path);

/// Throws a CommandError if one of the files exists and may not be replaced, or if nothing can be
/// written beside it: what can be told before the work begins.
/// @param folder  with its slash; empty for the current one
/// @param names   the files to come, without folder; the last is the one that the user named
/// @param force   whether existing files may be replaced
void requirePlace(const std::string& folder, const std::vector<std::string>& names, bool force);

/// Files are written into a private folder beside their destination and moved from there to their
/// names by publish(). A failure or an interrupt before that leaves no trace. One object at a time.
class StagedOutput {
public:
    /// Throws as requirePlace().
    /// @param scratch  names of further files that are written on the way and then dropped
    StagedOutput(const std::string& folder, const std::vector<std::string>& names,
                 const std::vector<std::string>& scratch, bool force);
    ~StagedOutput();
    StagedOutput(const StagedOutput&) = delete;
    StagedOutput& operator=(const StagedOutput&) = delete;

    /// Whether a folder of this name is one that a running program writes into.
    [[nodiscard]] static bool isPrivate(const std::string& folder);

    /// Where to write one of the names for now.
    [[nodiscard]] std::string pathOf(const std::string& name) const { return staging_ + name; }

    /// Gives the files their final names, in their order.
    void publish();

private:
    void move(const std::string& name) const;

    std::string folder_;
    std::vector<std::string> names_;
    bool force_;
    std::string staging_;              // the private folder, with its slash
    std::vector<std::string> staged_;  // paths of all that may lie in it
};

}  // namespace lumo::cli
