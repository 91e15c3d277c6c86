// Local time without the C library's time-zone lock.
#pragma once

#include <ctime>

namespace lumo {

/// Calendar fields of local time. Safe in several threads and in a child process forked while
/// another thread held the C library's time-zone lock: the offset from UTC is asked for once a
/// quarter of an hour (all time zones change at such a boundary), the rest is arithmetic.
[[nodiscard]] std::tm localTime(std::time_t time) noexcept;

}  // namespace lumo
