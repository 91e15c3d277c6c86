// The time-stamp text of "Creation Time" values: "Mon, 01 Dec 2008 09:05:03 GMT".
#pragma once

#include <ctime>

namespace lumo {

constexpr int timeStampSize = 30;  ///< characters of a time stamp and its terminating zero

/// Writes the stamp of the calendar fields; a day of week or month out of range shows as XXX, and a
/// year that makes the stamp too long gives the empty text.
/// @param text  [out] timeStampSize bytes
void FormatTimeStamp(char* text, const std::tm* time) noexcept;

/// Writes the stamp of the current local time (the text says GMT all the same).
void CurrentTimeStamp(char* text) noexcept;

/// Reads seconds to year from a stamp. The name of the day is ignored, an unknown month is January.
/// @return 0; -1 if the text is not a stamp (fields read before the fault are then changed)
[[nodiscard]] int ParseTimeStamp(const char* text, std::tm* time) noexcept;

}  // namespace lumo
