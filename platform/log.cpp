// The logger: formatting of a line and the file it goes to.
#include "platform/log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <new>

#include "lumo.h"
#include "platform/local_time.h"
#include "platform/write_signals.h"

// Defined by a program that wants its log elsewhere, or less of it; null when none is linked in.
extern "C" [[gnu::weak]] const char* lumoLogDirectory(void);
extern "C" [[gnu::weak]] int lumoLogLevel(void);

namespace {

constexpr int allLevels = 8;
std::atomic<const Log*> current{nullptr};

int chosenLevel() {
    const int usual = lumoLogLevel != nullptr ? lumoLogLevel() : allLevels;
    const char* text = secure_getenv("ORVEL_LOG_LEVEL");
    if (text == nullptr || *text == '\0') return usual;
    char* end = nullptr;
    const long level = std::strtol(text, &end, 10);
    if (*end != '\0') return usual;
    return level < -1 ? -1 : level > allLevels ? allLevels : static_cast<int>(level);
}

const char* logDirectory() {
    const char* directory = secure_getenv("ORVEL_LOG_DIR");
    if (directory != nullptr && *directory != '\0') return directory;
    return lumoLogDirectory != nullptr ? lumoLogDirectory() : nullptr;
}

int openForAppending(const char* name) {
    char path[PATH_MAX];
    const char* directory = logDirectory();
    const int length = directory == nullptr || *directory == '\0'
                           ? std::snprintf(path, sizeof path, "%s", name)
                           : std::snprintf(path, sizeof path, "%s/%s", directory, name);
    if (length < 0 || length >= static_cast<int>(sizeof path)) return -1;
    // Non-blocking, so that a pipe of that name cannot hold up the load; no link is followed, which
    // somebody else may have laid in a shared folder.
    const int descriptor = open(
        path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC | O_NOCTTY | O_NONBLOCK | O_NOFOLLOW, 0666);
    if (descriptor < 0) return -1;
    struct stat status {};
    int kept = -1;
    // Never 0, 1 or 2: a host that was started without them would write into the log.
    if (fstat(descriptor, &status) == 0 && (S_ISREG(status.st_mode) || S_ISCHR(status.st_mode)))
        kept = fcntl(descriptor, F_DUPFD_CLOEXEC, 3);
    close(descriptor);
    return kept;
}

/// The start of a line: local time with milliseconds, and the level.
std::size_t formatPrefix(char* text, std::size_t size, int level) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    const std::tm local = lumo::localTime(now.tv_sec);
    const int length =
        std::snprintf(text, size, "%04d-%02d-%02d %02d:%02d:%02d.%03d %d ", local.tm_year + 1900,
                      local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
                      static_cast<int>(now.tv_nsec / 1000000), level);
    return length < 0 ? 0 : static_cast<std::size_t>(length);
}

/// Copies a message with control characters as \xNN; returns the end of what was written.
char* escapeControls(const char* from, std::size_t count, char* to) {
    constexpr char digits[] = "0123456789ABCDEF";
    for (std::size_t i = 0; i < count; ++i) {
        const auto byte = static_cast<unsigned char>(from[i]);
        if (byte >= 0x20 && byte != 0x7F) {
            *to++ = from[i];
            continue;
        }
        *to++ = '\\';
        *to++ = 'x';
        *to++ = digits[byte >> 4];
        *to++ = digits[byte & 15];
    }
    return to;
}

constexpr std::size_t prefixRoom = 64;

/// Builds the line in `line`, which has room for the prefix, four bytes a character and a line end.
void writeLine(const Log& log, int level, const char* message, std::size_t count, char* line) {
    char* end = line + formatPrefix(line, prefixRoom, level);
    end = escapeControls(message, count, end);
    *end++ = '\n';
    log.append(line, static_cast<std::size_t>(end - line));
}

}  // namespace

Log::Log(int, int, const char* target, int, int)
    : descriptor_(openForAppending(target)), highestLevel_(chosenLevel()) {
    current = this;
}

Log::~Log() {
    current = nullptr;
    if (descriptor_ >= 0) close(descriptor_);
}

void Log::set(int, int, const char*, int, int) noexcept {}

void Log::libCatchlog() noexcept {
    current = this;
}

bool Log::writes(int level) const noexcept {
    return descriptor_ >= 0 && level <= highestLevel_;
}

void Log::append(const char* line, std::size_t length) const noexcept {
    const lumo::WriteSignalGuard guard;
    // A full disk may take part of a line: the next one begins anew.
    static std::atomic<bool> torn{false};
    char lineEnd = '\n';
    const std::size_t extra = torn.exchange(false) ? 1 : 0;
    const iovec pieces[] = {{&lineEnd, extra}, {const_cast<char*>(line), length}};
    ssize_t written = 0;
    do {
        written = writev(descriptor_, pieces, 2);
    } while (written < 0 && errno == EINTR);
    if (written < 0 ? extra != 0 : static_cast<std::size_t>(written) < extra + length) torn = true;
}

void slog(int level, const char* format, ...) noexcept {
    const Log* log = current;
    if (log == nullptr || !log->writes(level)) return;
    const int savedErrno = errno;

    constexpr std::size_t shortMessage = 1024;
    char message[shortMessage];
    char line[prefixRoom + 4 * shortMessage + 1];
    va_list arguments, again;
    va_start(arguments, format);
    va_copy(again, arguments);
    const int length = std::vsnprintf(message, sizeof message, format, arguments);
    va_end(arguments);

    const auto count = length < 0 ? std::size_t{0} : static_cast<std::size_t>(length);
    // A longer message is formatted anew; without memory for it, its beginning is written.
    const std::unique_ptr<char[]> longMessage(
        count < shortMessage ? nullptr
                             : new (std::nothrow) char[count + 1 + prefixRoom + 4 * count + 1]);
    if (longMessage) {
        std::vsnprintf(longMessage.get(), count + 1, format, again);
        writeLine(*log, level, longMessage.get(), count, longMessage.get() + count + 1);
    } else {
        writeLine(*log, level, message, count < shortMessage ? count : shortMessage - 1, line);
    }
    va_end(again);
    errno = savedErrno;
}
