// The logger: one line per message, appended to "orvellog.log" with a single write, so that lines
// of threads, processes and forks never mix.
#pragma once

#include <cstddef>

/// A log file. The numeric arguments are accepted as hosts pass them and have no effect.
class Log {
public:
    /// Opens `target` for appending in the log folder: ORVEL_LOG_DIR, else the program's
    /// lumoLogDirectory(), else the current folder. What cannot be opened, or is a symbolic link,
    /// is silently not written.
    Log(int, int, const char* target, int, int);
    ~Log();
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /// Accepts a network target; lines keep going to the file.
    void set(int, int, const char* target, int, int) noexcept;
    /// Makes this the logger that slog() writes to.
    void libCatchlog() noexcept;

    [[nodiscard]] bool writes(int level) const noexcept;
    void append(const char* line, std::size_t length) const noexcept;

private:
    int descriptor_ = -1;
    int highestLevel_;
};

/// Writes one printf-style line at a level: 3 failure, 4 warning, 5 event, 7 result, 8 tracing.
/// Control characters of the message come out as \xNN. Never fails; errno is kept.
[[gnu::format(printf, 2, 3)]] void slog(int level, const char* format, ...) noexcept;
