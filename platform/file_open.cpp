// fopen() with what Linux leaves out: a folder is refused, a child process inherits nothing.
#include "platform/file_open.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

bool isFolder(std::FILE* file) {
    struct stat status {};
    return fstat(fileno(file), &status) == 0 && S_ISDIR(status.st_mode);
}

}  // namespace

std::FILE* fopen_ex(const char* name, const char* mode) noexcept {
    if (name == nullptr) return nullptr;
    char closeOnExec[8];
    std::snprintf(closeOnExec, sizeof closeOnExec, "%se", mode);
    lumo::FilePtr file(std::fopen(name, closeOnExec));
    // Linux opens a folder for reading and fails at the first read only.
    if (file && isFolder(file.get())) return nullptr;
    return file.release();
}

std::FILE* fopen_copy(int descriptor) noexcept {
    const int copy = fcntl(descriptor, F_DUPFD_CLOEXEC, 3);
    if (copy < 0) return nullptr;
    lumo::FilePtr file(fdopen(copy, "rb"));
    if (!file) close(copy);
    if (file && isFolder(file.get())) return nullptr;
    return file.release();
}
