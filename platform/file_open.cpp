// Opening files.
#include "platform/file_open.h"

#include <sys/stat.h>

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
    std::FILE* file = std::fopen(name, closeOnExec);
    if (file == nullptr || !isFolder(file)) return file;
    // Linux opens a folder for reading and fails at the first read only.
    std::fclose(file);
    return nullptr;
}
