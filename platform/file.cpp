// The system's calls, repeated until all is moved: interruptions and partial transfers end here.
#include "platform/file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "platform/write_signals.h"

namespace lumo {
namespace {

/// The system takes a little less than 2 GiB a call.
constexpr std::size_t largestTransfer = std::size_t{1} << 30;

/// Repeats a transfer call until all is moved or it moves nothing; returns the bytes moved.
template <class Byte, class Call>
std::size_t transferAll(Byte* bytes, std::size_t size, Call call) noexcept {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t count = call(bytes + done, std::min(size - done, largestTransfer));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) break;
        done += static_cast<std::size_t>(count);
    }
    return done;
}

bool isFileName(const char* name) noexcept {
    return name != nullptr && strnlen(name, longestFileName + 1) <= longestFileName;
}

}  // namespace

FilePtr openFile(const char* name, const char* mode) noexcept {
    return isFileName(name) ? FilePtr(fopen_ex(name, mode)) : nullptr;
}

FilePtr openRegularFile(const char* name) noexcept {
    struct stat status {};
    if (!isFileName(name) || stat(name, &status) != 0 || !S_ISREG(status.st_mode)) return nullptr;
    return openFile(name, "rb");
}

FilePtr openCopy(int descriptor) noexcept {
    return FilePtr(fopen_copy(descriptor));
}

bool removeFile(const char* name) noexcept {
    return isFileName(name) && unlink(name) == 0;
}

std::size_t readBytes(std::FILE* file, void* target, std::size_t size) noexcept {
    const int descriptor = fileno(file);
    return transferAll(static_cast<char*>(target), size,
                       [=](char* to, std::size_t count) { return read(descriptor, to, count); });
}

std::size_t readBytesAt(std::FILE* file, std::uint64_t position, void* target,
                        std::size_t size) noexcept {
    const int descriptor = fileno(file);
    return transferAll(static_cast<char*>(target), size, [&](char* to, std::size_t count) {
        const ssize_t got = pread(descriptor, to, count, static_cast<off_t>(position));
        if (got > 0) position += static_cast<std::uint64_t>(got);
        return got;
    });
}

bool seekTo(std::FILE* file, std::uint64_t offset) noexcept {
    return lseek(fileno(file), static_cast<off_t>(offset), SEEK_SET) >= 0;
}

std::uint64_t positionOf(std::FILE* file) noexcept {
    const off_t position = lseek(fileno(file), 0, SEEK_CUR);
    return position > 0 ? static_cast<std::uint64_t>(position) : 0;
}

bool writeBytes(std::FILE* file, const void* source, std::size_t size) noexcept {
    const WriteSignalGuard guard;
    const int descriptor = fileno(file);
    return transferAll(static_cast<const char*>(source), size,
                       [=](const char* from, std::size_t count) {
                           return write(descriptor, from, count);
                       }) == size;
}

bool closeWritten(FilePtr file) noexcept {
    const WriteSignalGuard guard;
    return std::fclose(file.release()) == 0;
}

std::optional<std::uint64_t> fileSize(std::FILE* file) noexcept {
    struct stat status {};
    if (fstat(fileno(file), &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
}

}  // namespace lumo
