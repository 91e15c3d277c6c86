// Local time without the C library's time-zone lock.
#pragma once

#include <ctime>

namespace lumo {

/// Calendar fields of local time. The C library is asked for the offset from UTC only once a
/// quarter of an hour (all time zones change at such a boundary) or when the host has changed the
/// zone; the rest is arithmetic. So a child process forked while another thread held the C
/// library's time-zone lock, as every log line and time stamp would, does not wait for that lock.
[[nodiscard]] std::tm localTime(std::time_t time) noexcept;

}  // namespace lumo
