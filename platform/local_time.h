// Local time, also in a child process forked while another thread held the C library's time-zone
// lock.
#pragma once

#include <ctime>

namespace lumo {

/// Calendar fields of local time in the zone that the host set last with tzset(). A forked child
/// goes on with the offset of its parent to the end of the quarter of an hour, or until the host
/// sets a zone of other names or another standard time: the lock of a thread that is not there
/// would keep it for ever.
[[nodiscard]] std::tm localTime(std::time_t time) noexcept;

}  // namespace lumo
