// Local time from the C library's offset and calendar arithmetic.
#include "platform/local_time.h"

#include <pthread.h>

#include <chrono>
#include <cstdint>
#include <mutex>

#include "platform/fork.h"

namespace lumo {
namespace {

/// The host's zone as far as tzset() shows it, and the quarter of an hour since 1970: all zones
/// change their offset at such a boundary.
struct Moment {
    std::int64_t quarterHour = INT64_MIN;
    long west = 0;
    int daylight = 0;
    const char* names[2] = {};
    bool operator==(const Moment&) const = default;
};

Moment momentOf(std::time_t time) {
    constexpr std::int64_t quarterHour = 15 * 60;
    return {time / quarterHour, ::timezone, ::daylight, {::tzname[0], ::tzname[1]}};
}

/// Held while the C library is asked, so that at a fork none of this library's threads holds the
/// lock of its time zones.
constinit std::mutex lock;
/// For a forked child: when and where an offset held, and the offset in seconds.
Moment knownMoment;
std::int64_t knownOffset = 0;

std::int64_t ask(std::time_t time) {
    std::tm fields{};
    return localtime_r(&time, &fields) != nullptr ? fields.tm_gmtoff : 0;
}

void remember(std::time_t time) {
    knownOffset = ask(time);
    knownMoment = momentOf(time);
}

std::int64_t offsetFromUtc(std::time_t time) {
    const std::lock_guard guard(lock);
    if (!isForked()) return ask(time);
    if (knownMoment != momentOf(time)) remember(time);
    return knownOffset;
}

std::time_t forkTime = 0;

void beforeFork() {
    lock.lock();
    forkTime = std::time(nullptr);
    knownOffset = ask(forkTime);
}

void inParent() {
    lock.unlock();
}

/// Takes the zone as it stands in the child: a thread may have been about to change it, and there
/// is none to go on.
void inChild() {
    knownMoment = momentOf(forkTime);
    lock.unlock();
}

[[maybe_unused]] const int registered = pthread_atfork(beforeFork, inParent, inChild);

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
