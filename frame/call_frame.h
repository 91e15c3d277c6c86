// The frame around every exported function: entry and result lines, and the wall at which a failure
// that was raised inside becomes a result code.
#pragma once

#include "lumo.h"
#include "platform/log.h"

namespace lumo {

/// Raises a result code; the nearest frame turns it into the call's result. Nothing else is thrown.
[[noreturn]] inline void raise(int code) {
    throw code;
}
/// An exact match, so that the C library's raise() is never meant.
[[noreturn]] inline void raise(LumoResult code) {
    throw static_cast<int>(code);
}

/// Raises a nested call's code unless it is 0.
inline void raiseFailure(int code) {
    if (code != LumoOk) raise(code);
}

/// Runs the body; a raised code comes back as the result. For calls that do not log failures.
template <class Body>
[[nodiscard]] int guarded(Body&& body) noexcept {
    try {
        body();
    } catch (int code) {
        return code;
    } catch (...) {
        // Only the C++ library throws else, when it cannot get memory or another resource.
        return LumoErrorMemory;
    }
    return LumoOk;
}

/// Records a failure as the last error and logs it under the function's name.
inline void reportFailure(const char* function, int code, int level = 3) noexcept {
    lmtSetLastError(code);
    slog(level, "%s %d %s", function, code, lmtErrorMessage(code));
}

/// guarded(), with the failure reported.
template <class Body>
[[nodiscard]] int reporting(const char* function, Body&& body) noexcept {
    const int code = guarded(body);
    if (code != LumoOk) reportFailure(function, code);
    return code;
}

/// reporting(), between the entry line and the result line.
template <class Body>
[[nodiscard]] int callFrame(const char* function, Body&& body) noexcept {
    slog(8, "%s entry", function);
    const int code = reporting(function, body);
    slog(7, "%s return %d", function, code);
    return code;
}

}  // namespace lumo
