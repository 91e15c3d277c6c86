// Links and renames: the two ways in which a whole file appears at once.
#include "cli/system/publishing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include "cli/system/input_file.h"

namespace lumo::cli {

namespace {

[[noreturn]] void raiseSystemError(int error) {
    throw std::system_error(error, std::generic_category());
}

bool linksUnsupported(int error) {
    return error == EPERM || error == EOPNOTSUPP || error == ENOSYS;
}

void rename(const std::string& from, const std::string& to) {
    if (std::rename(from.c_str(), to.c_str()) != 0) raiseSystemError(errno);
}

}  // namespace

Occupant occupantOf(const std::string& file) {
    struct stat status {};
    if (lstat(file.c_str(), &status) != 0) return Occupant::none;
    // A link that leads nowhere is taken as one to the file that will be there.
    if (S_ISLNK(status.st_mode) && stat(file.c_str(), &status) != 0) return Occupant::file;
    return S_ISREG(status.st_mode) ? Occupant::file : Occupant::other;
}

bool canWriteTo(const std::string& folder) {
    return access(folder.empty() ? "." : folder.c_str(), W_OK | X_OK) == 0;
}

std::string placeOf(const std::string& file) {
    std::error_code error;
    if (!std::filesystem::is_symlink(file, error)) return file;
    const auto place = std::filesystem::weakly_canonical(file, error);
    return error ? file : place.string();
}

void publishNew(const std::string& from, const std::string& to) {
    // A link, unlike a rename, never replaces what somebody else has put there meanwhile.
    if (link(from.c_str(), to.c_str()) == 0) return;
    if (!linksUnsupported(errno)) raiseSystemError(errno);
    if (occupantOf(to) != Occupant::none) raiseSystemError(EEXIST);
    rename(from, to);
}

bool publishOver(const std::string& from, const std::string& to) {
    struct stat old {
    }, fresh{};
    bool kept = true;
    if (stat(to.c_str(), &old) == 0 && stat(from.c_str(), &fresh) == 0) {
        if (old.st_uid != fresh.st_uid || old.st_gid != fresh.st_gid)
            kept = chown(from.c_str(), old.st_uid, old.st_gid) == 0;
        chmod(from.c_str(), old.st_mode & 07777);
    }
    rename(from, to);
    return kept;
}

std::string whyNotWritten(const std::string& file) {
    const Descriptor again(open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600));
    const std::string block(1 << 16, '\0');
    errno = 0;
    if (again.valid() && writeAll(again.number(), block.data(), block.size()) &&
        fsync(again.number()) == 0)
        return "";
    return errno != 0 ? std::generic_category().message(errno) : "";
}

void removeFile(const std::string& file) {
    unlink(file.c_str());
}

}  // namespace lumo::cli
