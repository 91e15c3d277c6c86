// Files by their descriptors.
#include "cli/system/descriptor.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

namespace lumo::cli {

namespace {

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// Calls until the count is reached or nothing more comes.
template <class Call>
std::size_t repeat(std::size_t count, const char* what, Call call) {
    std::size_t moved = 0;
    while (moved < count) {
        const ssize_t step = call(moved);
        if (step < 0 && errno == EINTR) continue;
        if (step < 0) fail(what);
        if (step == 0) break;
        moved += static_cast<std::size_t>(step);
    }
    return moved;
}

}  // namespace

Descriptor openRegular(const std::string& file) {
    Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status {};
    if (!descriptor.valid() || fstat(descriptor.number(), &status) != 0) return Descriptor();
    if (S_ISREG(status.st_mode)) return descriptor;
    errno = EINVAL;
    return Descriptor();
}

Descriptor createFile(const std::string& file, unsigned mode) {
    return Descriptor(::open(file.c_str(), O_RDWR | O_CREAT | O_TRUNC | O_CLOEXEC, mode));
}

std::uint64_t sizeOf(const Descriptor& file) {
    struct stat status {};
    if (fstat(file.number(), &status) != 0) fail("fstat");
    return static_cast<std::uint64_t>(status.st_size);
}

std::size_t readAt(const Descriptor& file, void* to, std::size_t count, std::uint64_t place) {
    char* const begin = static_cast<char*>(to);
    return repeat(count, "read", [&](std::size_t moved) {
        return pread(file.number(), begin + moved, count - moved,
                     static_cast<off_t>(place + moved));
    });
}

void writeAll(const Descriptor& file, const void* from, std::size_t count) {
    const char* const begin = static_cast<const char*>(from);
    const std::size_t written = repeat(count, "write", [&](std::size_t moved) {
        return write(file.number(), begin + moved, count - moved);
    });
    if (written == count) return;
    errno = EIO;
    fail("write");
}

}  // namespace lumo::cli
