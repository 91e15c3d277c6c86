// Local time from a cached offset and calendar arithmetic.
#include "platform/local_time.h"

#include <atomic>
#include <chrono>
#include <cstdint>

namespace lumo {
namespace {

constexpr std::int64_t quarterHour = 15 * 60;

/// Where the C library keeps the zone that the host has set with tzset(): seconds west of UTC.
std::int64_t hostZone() {
    return ::timezone;
}

/// When and where an offset holds, and the offset: quarter of an hour since 1970 (24 bits and
/// more), the host's zone in minutes (12 bits) and the offset in minutes (12 bits, signed).
std::atomic<std::int64_t> cachedOffset{INT64_MIN};

std::int64_t keyOf(std::time_t time) {
    return ((time / quarterHour) << 12) | (hostZone() / 60 & 0xFFF);
}

std::int64_t offsetFromUtc(std::time_t time) {
    const std::int64_t cached = cachedOffset.load(std::memory_order_relaxed);
    if ((cached >> 12) == keyOf(time)) return (cached << 52 >> 52) * 60;
    std::tm fields{};
    if (localtime_r(&time, &fields) == nullptr) return 0;
    const std::int64_t offset = fields.tm_gmtoff;
    // Zones that are no whole minute off, all of them long past, are asked for every time.
    if (offset % 60 == 0)
        cachedOffset.store((keyOf(time) << 12) | (offset / 60 & 0xFFF), std::memory_order_relaxed);
    return offset;
}

}  // namespace

std::tm localTime(std::time_t time) noexcept {
    using namespace std::chrono;
    const sys_seconds local{seconds{time + offsetFromUtc(time)}};
    const sys_days day = floor<days>(local);
    const year_month_day date{day};
    const hh_mm_ss clock{local - day};
    std::tm fields{};
    fields.tm_year = static_cast<int>(date.year()) - 1900;
    fields.tm_mon = static_cast<int>(static_cast<unsigned>(date.month())) - 1;
    fields.tm_mday = static_cast<int>(static_cast<unsigned>(date.day()));
    fields.tm_hour = static_cast<int>(clock.hours().count());
    fields.tm_min = static_cast<int>(clock.minutes().count());
    fields.tm_sec = static_cast<int>(clock.seconds().count());
    fields.tm_wday = static_cast<int>(weekday{day}.c_encoding());
    fields.tm_yday = static_cast<int>((day - sys_days{date.year() / January / 1}).count());
    fields.tm_isdst = -1;
    return fields;
}

}  // namespace lumo
