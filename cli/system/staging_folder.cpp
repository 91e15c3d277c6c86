// A folder in use is locked by its owner; one that can be locked has lost its owner.
#include "cli/system/staging_folder.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <memory>
#include <set>
#include <string_view>
#include <system_error>

#include "cli/system/interrupts.h"

namespace lumo::cli {

namespace {

constexpr std::string_view prefix = ".lumo-unfinished-", randomPart = "XXXXXX";
constexpr std::size_t mostFiles = 4;

/// What an interrupt has to remove: null, or texts that the one StagingFolder owns.
std::atomic<const char*> pendingFiles[mostFiles], pendingFolder;
static_assert(std::atomic<const char*>::is_always_lock_free);

void removePending() {
    for (const auto& file : pendingFiles)
        if (file != nullptr) unlink(file);
    if (pendingFolder != nullptr) rmdir(pendingFolder);
}

Descriptor openFolder(const std::string& folder) {
    const char* path = folder.empty() ? "." : folder.c_str();
    return Descriptor(open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

/// The names in an open folder.
std::vector<std::string> namesIn(const Descriptor& folder) {
    const int again = fcntl(folder.number(), F_DUPFD_CLOEXEC, 3);
    const std::unique_ptr<DIR, DirectoryCloser> directory(again < 0 ? nullptr : fdopendir(again));
    std::vector<std::string> names;
    if (!directory && again >= 0) close(again);
    while (const dirent* entry = directory ? readdir(directory.get()) : nullptr)
        names.emplace_back(entry->d_name);
    return names;
}

void removeLeftover(const Descriptor& parent, const std::string& name) {
    const Descriptor folder(
        openat(parent.number(), name.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!folder.valid() || flock(folder.number(), LOCK_EX | LOCK_NB) != 0) return;
    for (const std::string& file : namesIn(folder)) unlinkat(folder.number(), file.c_str(), 0);
    unlinkat(parent.number(), name.c_str(), AT_REMOVEDIR);
}

}  // namespace

FolderLock::FolderLock(const std::string& folder) : folder_(openFolder(folder)) {
    if (folder_.valid()) flock(folder_.number(), LOCK_EX);
}

StagingFolder::StagingFolder(const std::string& parent, const std::vector<std::string>& names) {
    removeLeftovers(parent);
    // Until the new folder is locked, it looks as one left behind does.
    const FolderLock lock(parent);
    const DeferredInterrupts waiting;
    std::string pattern = parent + std::string(prefix) + std::string(randomPart);
    if (mkdtemp(pattern.data()) == nullptr) throw std::system_error(errno, std::generic_category());
    lock_ = openFolder(pattern);
    if (lock_.valid()) flock(lock_.number(), LOCK_EX | LOCK_NB);
    path_ = pattern + '/';
    for (const std::string& name : names) files_.push_back(path_ + name);
    assert(files_.size() <= mostFiles);
    for (std::size_t i = 0; i < files_.size(); ++i) pendingFiles[i] = files_[i].c_str();
    pendingFolder = path_.c_str();
    onInterrupt(removePending);
}

StagingFolder::~StagingFolder() {
    const DeferredInterrupts waiting;
    for (const std::string& file : files_) unlink(file.c_str());
    rmdir(path_.c_str());
    for (auto& file : pendingFiles) file = nullptr;
    pendingFolder = nullptr;
    onInterrupt(nullptr);
}

bool StagingFolder::isOne(const std::string& name) {
    return name.starts_with(prefix) && name.size() == prefix.size() + randomPart.size();
}

void removeLeftovers(const std::string& parent, bool again) {
    static std::set<std::string> visited;
    if (!visited.insert(parent).second && !again) return;
    const FolderLock lock(parent);
    const Descriptor folder = openFolder(parent);
    if (!folder.valid()) return;
    for (const std::string& name : namesIn(folder))
        if (StagingFolder::isOne(name)) removeLeftover(folder, name);
}

}  // namespace lumo::cli
