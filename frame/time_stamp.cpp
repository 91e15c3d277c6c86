// The C library formats and reads the numbers; the names, English in every locale, are put in here.
#include "frame/time_stamp.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "platform/local_time.h"

namespace lumo {
namespace {

constexpr char dayNames[][4] = {"Sun", "Mon", "Tue", "Wed", "Thu", "Fri", "Sat"};
constexpr char monthNames[][4] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                  "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

}  // namespace

void FormatTimeStamp(char* text, const std::tm* time) noexcept {
    if (std::strftime(text, timeStampSize, "XXX, %d XXX %Y %H:%M:%S GMT", time) == 0) {
        text[0] = '\0';
        return;
    }
    if (time->tm_wday >= 0 && time->tm_wday < std::ssize(dayNames))
        std::memcpy(text, dayNames[time->tm_wday], 3);
    if (time->tm_mon >= 0 && time->tm_mon < std::ssize(monthNames))
        std::memcpy(text + 8, monthNames[time->tm_mon], 3);
}

void CurrentTimeStamp(char* text) noexcept {
    const std::tm now = localTime(std::time(nullptr));
    FormatTimeStamp(text, &now);
}

int ParseTimeStamp(const char* text, std::tm* time) noexcept {
    if (std::strlen(text) != timeStampSize - 1) return -1;
    time->tm_sec = 0;
    char day[4] = "", month[4] = "";
    const int fields = std::sscanf(text, "%3s, %d %3s %d %d:%d:%d GMT", day, &time->tm_mday, month,
                                   &time->tm_year, &time->tm_hour, &time->tm_min, &time->tm_sec);
    if (fields < 7) return -1;
    time->tm_mon = 0;
    for (int i = 0; i < std::ssize(monthNames); ++i)
        if (std::strcmp(month, monthNames[i]) == 0) time->tm_mon = i;
    // In 64 bits: the text may hold any year.
    time->tm_year = static_cast<int>(std::int64_t{time->tm_year} - 1900);
    return 0;
}

}  // namespace lumo
