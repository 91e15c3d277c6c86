// Where a file lies until it is whole, and what it may replace then.
#include "cli/files/output.h"

#include <cerrno>
#include <system_error>

#include "cli/files/names.h"
#include "cli/library.h"
#include "cli/messages.h"
#include "cli/system/interrupts.h"
#include "cli/system/publishing.h"
#include "cli/system/standard_streams.h"

namespace lumo::cli {

namespace fs = std::filesystem;

namespace {

constexpr const char* outputName = "standard output";

CommandError cannotWrite(const std::string& file, const std::string& reason) {
    return CommandError(
        file + ": " + std::to_string(LumoErrorWrite) + " cannot be written: " + reason, failed,
        LumoErrorWrite);
}

CommandError existsError(const std::string& file) {
    return CommandError(file + ": exists already; --force replaces it", failed, LumoErrorWrite);
}

void refuseExisting(const std::string& file, bool force) {
    const Occupant occupant = occupantOf(file);
    if (occupant == Occupant::other)
        throw CommandError(file + ": is not a file that could be replaced", failed, LumoErrorWrite);
    if (occupant == Occupant::file && !force) throw existsError(file);
}

bool isStandardOutput(const std::string& folder, const std::vector<std::string>& names) {
    return folder.empty() && names.back() == standardStream;
}

/// The folder of the place that a name leads to.
std::string folderOf(const std::string& file) {
    return SplitPath(placeOf(file)).folder;
}

}  // namespace

fs::path identity(const fs::path& path) {
    std::error_code error;
    // Absolute first: of a relative path that begins with nothing that exists, no more is resolved.
    const fs::path whole = fs::absolute(path, error);
    const fs::path found = fs::weakly_canonical(whole, error);
    return error ? whole.lexically_normal() : found;
}

void requirePlace(const std::string& folder, const std::vector<std::string>& names, bool force) {
    if (isStandardOutput(folder, names)) return;
    for (const std::string& name : names) refuseExisting(folder + name, force);
    if (!canWriteTo(folderOf(folder + names.back())))
        throw cannotWrite(folder + names.back(), std::generic_category().message(errno));
}

StagedOutput::StagedOutput(const std::string& folder, const std::vector<std::string>& names,
                           const std::vector<std::string>& scratch, bool force)
    : folder_(folder), names_(names), force_(force) {
    requirePlace(folder, names, force);
    std::vector<std::string> all = names;
    all.insert(all.end(), scratch.begin(), scratch.end());
    try {
        if (isStandardOutput(folder, names))
            unnamed_ = unnamedFile();
        else
            staging_.emplace(folderOf(folder + names.back()), all);
    } catch (const std::system_error& error) {
        throw cannotWrite(folder + names.back(), error.code().message());
    }
}

std::string StagedOutput::pathOf(const std::string& name) const {
    return staging_ ? staging_->path() + name : cli::pathOf(unnamed_);
}

CommandError StagedOutput::writingError(int code, const std::string& name) const {
    if (code == LumoErrorWrite || code == LumoErrorOpen) {
        const std::string reason = whyNotWritten(pathOf(name));
        if (!reason.empty()) return cannotWrite(folder_ + name, reason);
    }
    return libraryError(code, folder_ + name);
}

void StagedOutput::move(const std::string& name) const {
    const std::string from = pathOf(name), to = placeOf(folder_ + name);
    try {
        refuseExisting(to, force_);
        if (!force_)
            publishNew(from, to);
        else if (!publishOver(from, to))
            printNote(to, "owner", "its owner could not be kept");
    } catch (const std::system_error& error) {
        if (error.code() == std::errc::file_exists) throw existsError(to);
        throw cannotWrite(to, error.code().message());
    }
}

void StagedOutput::copyToStandardOutput() const {
    constexpr std::size_t most = 1 << 20;
    const InputFile file(cli::pathOf(unnamed_), nullptr);
    std::string block;
    for (std::uint64_t at = 0; !(block = file.read(at, most)).empty(); at += block.size())
        if (!writeToOutput(block))
            throw CommandError(std::string(outputName) +
                                   ": cannot be written: " + std::generic_category().message(errno),
                               failed, LumoErrorWrite);
}

void StagedOutput::publish() {
    if (!staging_) return copyToStandardOutput();
    // Others who replace the same files wait, so that no two pairs mix.
    const FolderLock lock(folderOf(folder_ + names_.back()));
    const DeferredInterrupts waiting;
    std::size_t moved = 0;
    try {
        for (; moved < names_.size(); ++moved) move(names_[moved]);
    } catch (const CommandError&) {
        // No half pairs; but what has replaced an older file is all that is left of it.
        while (!force_ && moved-- > 0) removeFile(folder_ + names_[moved]);
        throw;
    }
}

}  // namespace lumo::cli
