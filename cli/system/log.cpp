// Where the library writes its log when this program uses it, the user's state folder, and how
// much of it. Runs while the library is loaded, before any initialiser of the program: C library
// only, no objects.
#include <sys/stat.h>

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lumo.h"

namespace {

char directory[PATH_MAX];

/// Creates the folder and those above it, private to the user where they are new.
bool createFolders(char* path) {
    for (char* slash = std::strchr(path + 1, '/'); slash != nullptr;
         slash = std::strchr(slash + 1, '/')) {
        *slash = '\0';
        mkdir(path, 0700);  // one that exists is fine; any other failure shows below
        *slash = '/';
    }
    mkdir(path, 0700);
    struct stat status {};
    return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

/// A log that has grown becomes the old one, in place of an older: together below 8 MB.
void keepShort(const char* folder) {
    constexpr off_t longest = 3 << 20;  // what one run adds, a batch of thousands, has room too
    char log[PATH_MAX + 16], old[PATH_MAX + 32];
    std::snprintf(log, sizeof log, "%s/orvellog.log", folder);
    std::snprintf(old, sizeof old, "%s.old", log);
    struct stat status {};
    if (lstat(log, &status) == 0 && S_ISREG(status.st_mode) && status.st_size > longest)
        std::rename(log, old);
}

bool use(const char* variable, const char* folder) {
    const char* base = std::getenv(variable);
    if (base == nullptr || *base != '/')
        return false;  // a relative one would depend on where we run
    const int length = std::snprintf(directory, sizeof directory, "%s/%s", base, folder);
    if (length < 0 || length >= static_cast<int>(sizeof directory)) return false;
    if (!createFolders(directory)) return false;
    keepShort(directory);
    return true;
}

}  // namespace

extern "C" LUMO_API const char* lumoLogDirectory(void) {
    if (use("XDG_STATE_HOME", "lumo") || use("HOME", ".local/state/lumo")) return directory;
    return "/dev/null";  // no folder: better no log than one in the folder where the program runs
}

/// Failures, warnings and events: all the rest is for those who look for a fault, and say so.
extern "C" LUMO_API int lumoLogLevel(void) {
    return 5;
}
