// Output files that appear whole or not at all, and never in place of another without consent.
#include "cli/files/output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cassert>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <system_error>

#include "cli/library.h"

namespace lumo::cli {

namespace fs = std::filesystem;

namespace {

constexpr const char* privatePrefix = ".lumo-";
constexpr std::size_t mostFiles = 4;
constexpr std::array interrupts = {SIGHUP, SIGINT, SIGTERM};

/// What an interrupt has to remove: null, or texts that the one StagedOutput owns.
std::atomic<const char*> pendingFiles[mostFiles], pendingFolder;
static_assert(std::atomic<const char*>::is_always_lock_free);

/// While files get their names. A flag and not the thread's signal mask: the library's worker
/// threads take signals too.
std::atomic<bool> deferring;
std::atomic<int> deferred;
static_assert(std::atomic<int>::is_always_lock_free);

extern "C" void removePendingAndDie(int signal) {
    if (deferring) {
        deferred = signal;
        return;
    }
    for (const auto& file : pendingFiles)
        if (file != nullptr) unlink(file);
    if (pendingFolder != nullptr) rmdir(pendingFolder);
    std::signal(signal, SIG_DFL);
    raise(signal);
}

void catchInterrupts() {
    for (const int signal : interrupts) {
        struct sigaction action {};
        sigaction(signal, nullptr, &action);
        if (action.sa_handler == SIG_IGN) continue;  // as under nohup: stays ignored
        action = {};
        action.sa_handler = removePendingAndDie;
        sigaction(signal, &action, nullptr);
    }
}

/// While it lives, interrupts wait.
class DeferredInterrupts {
public:
    DeferredInterrupts() { deferring = true; }
    ~DeferredInterrupts() {
        deferring = false;
        if (deferred != 0) raise(deferred);
    }
    DeferredInterrupts(const DeferredInterrupts&) = delete;
    DeferredInterrupts& operator=(const DeferredInterrupts&) = delete;
};

CommandError systemError(const std::string& file) {
    const std::string reason = std::generic_category().message(errno);
    return CommandError(libraryError(LumoErrorWrite, file).what() + (" (" + reason + ')'));
}

CommandError existsError(const std::string& file) {
    return CommandError(file + ": exists already; --force replaces it");
}

void refuseExisting(const std::string& file, bool force) {
    struct stat status {};
    if (lstat(file.c_str(), &status) != 0) return;
    if (!S_ISREG(status.st_mode) && !S_ISLNK(status.st_mode))
        throw CommandError(file + ": is not a file that could be replaced");
    if (!force) throw existsError(file);
}

bool linksUnsupported(int error) {
    return error == EPERM || error == EOPNOTSUPP || error == ENOSYS;
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
    if (access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) != 0)
        throw systemError(folder + names.back());
    for (const std::string& name : names) refuseExisting(folder + name, force);
}

StagedOutput::StagedOutput(const std::string& folder, const std::vector<std::string>& names,
                           const std::vector<std::string>& scratch, bool force)
    : folder_(folder), names_(names), force_(force) {
    requirePlace(folder, names, force);
    catchInterrupts();
    const DeferredInterrupts waiting;
    std::string pattern = folder + privatePrefix + "XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr) throw systemError(folder + names.back());
    staging_ = pattern + '/';
    for (const auto* list : {&names, &scratch})
        for (const std::string& name : *list) staged_.push_back(pathOf(name));
    assert(staged_.size() <= mostFiles);
    for (std::size_t i = 0; i < staged_.size(); ++i) pendingFiles[i] = staged_[i].c_str();
    pendingFolder = staging_.c_str();
}

bool StagedOutput::isPrivate(const std::string& folder) {
    return folder.starts_with(privatePrefix);
}

StagedOutput::~StagedOutput() {
    const DeferredInterrupts waiting;
    for (const std::string& file : staged_) unlink(file.c_str());
    rmdir(staging_.c_str());
    for (auto& file : pendingFiles) file = nullptr;
    pendingFolder = nullptr;
}

void StagedOutput::move(const std::string& name) const {
    const std::string from = pathOf(name), to = folder_ + name;
    // A link, unlike a rename, never replaces what somebody else has put there meanwhile.
    if (!force_) {
        if (link(from.c_str(), to.c_str()) == 0) return;
        if (errno == EEXIST) throw existsError(to);
        if (!linksUnsupported(errno)) throw systemError(to);
        refuseExisting(to, false);
    }
    if (std::rename(from.c_str(), to.c_str()) != 0) throw systemError(to);
}

void StagedOutput::publish() {
    const DeferredInterrupts waiting;
    std::size_t moved = 0;
    try {
        for (; moved < names_.size(); ++moved) move(names_[moved]);
    } catch (const CommandError&) {
        // No half pairs; but what has replaced an older file is all that is left of it.
        while (!force_ && moved-- > 0) unlink((folder_ + names_[moved]).c_str());
        throw;
    }
}

}  // namespace lumo::cli
