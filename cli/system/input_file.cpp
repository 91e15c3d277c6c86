// Descriptors behind the inputs: opening, keeping what a pipe gives, reading at a place.
#include "cli/system/input_file.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>
#include <utility>
#include <vector>

namespace lumo::cli {

namespace {

[[noreturn]] void raiseSystemError(int error) {
    throw std::system_error(error, std::generic_category());
}

}  // namespace

std::string shownName(const std::string& file) {
    return file == standardStream ? "standard input" : file;
}

std::string whyNotOpened(const std::string& file) {
    struct stat status {};
    const bool found = stat(file.c_str(), &status) == 0;
    if (found && S_ISDIR(status.st_mode)) return std::generic_category().message(EISDIR);
    return access(file.c_str(), R_OK) == 0 ? "" : std::generic_category().message(errno);
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    if (this != &other) {
        close();
        number_ = other.release();
    }
    return *this;
}

int Descriptor::release() {
    return std::exchange(number_, -1);
}

void Descriptor::close() {
    if (valid()) ::close(release());
}

std::string pathOf(const Descriptor& descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor.number());
}

Descriptor unnamedFile() {
    Descriptor file(memfd_create("lumo", MFD_CLOEXEC));
    if (!file.valid()) raiseSystemError(errno);
    return file;
}

bool writeAll(int descriptor, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t count = write(descriptor, data, size);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return false;
        data += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

InputFile::InputFile(const std::string& file, Limit limit)
    : path_(file),
      descriptor_(file == standardStream ? fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)
                                         : open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY)) {
    struct stat status {};
    if (!descriptor_.valid() || fstat(descriptor_.number(), &status) != 0) raiseSystemError(errno);
    if (S_ISDIR(status.st_mode)) raiseSystemError(EISDIR);
    size_ = static_cast<std::uint64_t>(status.st_size);
    // A redirected file may have been read in part: what follows is the input.
    if (file == standardStream || !S_ISREG(status.st_mode)) keepStream(limit);
}

void InputFile::keepStream(Limit limit) {
    Descriptor kept = unnamedFile();
    std::vector<char> block(1 << 20);
    std::uint64_t most = block.size();  // until the beginning is known
    std::size_t filled = 0;
    for (size_ = 0; size_ < most; filled = 0) {
        // Whole blocks: a pipe hands out less at a time, and the first one has to hold a header.
        while (filled < block.size()) {
            const ssize_t count =
                ::read(descriptor_.number(), block.data() + filled, block.size() - filled);
            if (count < 0 && errno == EINTR) continue;
            if (count < 0) raiseSystemError(errno);
            if (count == 0) break;
            filled += static_cast<std::size_t>(count);
        }
        if (size_ == 0) most = limit({block.data(), filled});
        if (!writeAll(kept.number(), block.data(), filled)) raiseSystemError(errno);
        size_ += filled;
        if (filled < block.size()) break;
    }
    descriptor_ = std::move(kept);
    path_ = pathOf(descriptor_);
    named_ = false;
}

std::string InputFile::read(std::uint64_t from, std::size_t size) const {
    std::string bytes(size, '\0');
    std::size_t count = 0;
    while (count < size) {
        const ssize_t got = pread(descriptor_.number(), bytes.data() + count, size - count,
                                  static_cast<off_t>(from + count));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) break;
        count += static_cast<std::size_t>(got);
    }
    bytes.resize(count);
    return bytes;
}

}  // namespace lumo::cli
