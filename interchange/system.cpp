// All that the helpers need of the operating system.
#include "interchange/system.h"

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>
#include <system_error>

#include "interchange/picture.h"

namespace lumo::interchange {

namespace {

constexpr rlim_t megabyte = 1'000'000;
constexpr rlim_t startAddressSpace = rlim_t{512} << 20;  // bytes
constexpr rlim_t rastersInMemory = 4;
constexpr rlim_t startSeconds = 60, secondsPer100Megabytes = 20;
constexpr rlim_t mostDescriptors = 64;
constexpr rlim_t largestRaster = rlim_t{4} << 30;  // bytes

bool limited = false;  // tests and fuzz targets read files in processes without limits

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// The soft limit bites; it can be raised up to the hard one.
void limit(__rlimit_resource resource, rlim_t soft, rlim_t hard) {
    rlimit present{};
    if (getrlimit(resource, &present) != 0) fail("getrlimit");
    // What the user has set lower stays lower.
    const rlimit wanted{std::min(soft, present.rlim_max), std::min(hard, present.rlim_max)};
    if (setrlimit(resource, &wanted) != 0) fail("setrlimit");
}

[[maybe_unused]] rlim_t addressSpaceFor(std::uint64_t raster) {
    return startAddressSpace + rastersInMemory * raster;
}

rlim_t secondsFor(std::uint64_t raster) {
    return startSeconds + secondsPer100Megabytes * raster / (100 * megabyte);
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

void requireAll(std::size_t moved, std::size_t count) {
    if (moved == count) return;
    errno = EIO;
    fail("write");
}

}  // namespace

std::size_t readAll(int descriptor, void* to, std::size_t count) {
    char* const place = static_cast<char*>(to);
    return repeat(count, "read", [&](std::size_t moved) {
        return read(descriptor, place + moved, count - moved);
    });
}

std::size_t readAt(int descriptor, void* to, std::size_t count, std::uint64_t place) {
    char* const begin = static_cast<char*>(to);
    return repeat(count, "read", [&](std::size_t moved) {
        return pread(descriptor, begin + moved, count - moved, static_cast<off_t>(place + moved));
    });
}

void writeAll(int descriptor, const void* from, std::size_t count) {
    const char* const place = static_cast<const char*>(from);
    requireAll(
        repeat(count, "write",
               [&](std::size_t moved) { return write(descriptor, place + moved, count - moved); }),
        count);
}

void writeAt(int descriptor, const void* from, std::size_t count, std::uint64_t place) {
    const char* const begin = static_cast<const char*>(from);
    requireAll(repeat(count, "write",
                      [&](std::size_t moved) {
                          return pwrite(descriptor, begin + moved, count - moved,
                                        static_cast<off_t>(place + moved));
                      }),
               count);
}

void preferLargePages(void* block, std::uint64_t bytes) {
    constexpr std::uint64_t largePage = 2 << 20;
    void* begin = block;
    std::size_t left = bytes;
    if (std::align(largePage, largePage, begin, left) != nullptr)
        madvise(begin, left / largePage * largePage, MADV_HUGEPAGE);  // a wish
}

std::uint64_t fileSize(int descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) fail("fstat");
    return static_cast<std::uint64_t>(status.st_size);
}

void limitProcess(Access access) {
    limited = true;
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) fail("prctl");
    limit(RLIMIT_CORE, 0, 0);
    limit(RLIMIT_NOFILE, mostDescriptors, mostDescriptors);
    if (access == Access::read) limit(RLIMIT_FSIZE, 0, 0);
    limit(RLIMIT_CPU, secondsFor(0), secondsFor(largestRaster));
#ifndef LUMO_SANITIZED  // the sanitizers' shadow of memory takes terabytes of addresses
    limit(RLIMIT_AS, addressSpaceFor(0), addressSpaceFor(largestRaster));
#endif
}

void allowRaster(std::uint64_t bytes) {
    if (!limited) return;
    const rlim_t raster = std::min<rlim_t>(bytes, largestRaster);
    limit(RLIMIT_CPU, secondsFor(raster), secondsFor(largestRaster));
#ifndef LUMO_SANITIZED
    limit(RLIMIT_AS, addressSpaceFor(raster), addressSpaceFor(largestRaster));
#endif
}

void fillRandomly(void* block, std::size_t size) {
    if (getrandom(block, size, 0) != static_cast<ssize_t>(size))
        throw std::system_error(errno, std::generic_category(), "getrandom");
}

std::tm localTimeNow() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return local;
}

ReplacedVariable::ReplacedVariable(const char* name, const char* value) : name_(name) {
    if (const char* before = secure_getenv(name)) before_ = before;
    setenv(name, value, 1);
}

ReplacedVariable::~ReplacedVariable() {
    if (before_)
        setenv(name_, before_->c_str(), 1);
    else
        unsetenv(name_);
}

std::unique_ptr<std::uint16_t[]> newRaster(std::uint64_t count) {
    auto raster = std::make_unique_for_overwrite<std::uint16_t[]>(count);
    preferLargePages(raster.get(), count * sizeof raster[0]);
    return raster;
}

}  // namespace lumo::interchange
