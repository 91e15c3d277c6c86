// What the exported figures share: records that begin with their size, refusals with a reason,
// curves handed out by count.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "frame/call_frame.h"
#include "lumo_quality.h"

namespace lumo {

constexpr double missing = std::numeric_limits<double>::quiet_NaN();

/// Raised codes at and below this one carry a reason; measured() turns them into -30.
constexpr int refusalBase = -1000000;

[[noreturn]] inline void refuse(LumoQualityReason reason) {
    raise(refusalBase - static_cast<int>(reason));
}

/// Raises -2 unless the caller's record is there and as large as it is known here.
template <class Record>
void requireRecord(const Record* record) {
    if (record == nullptr || record->size < sizeof(Record)) raise(LumoErrorParameter);
}

/// The caller's options, or the defaults.
template <class Options>
[[nodiscard]] Options optionsOf(const Options* given, const Options& defaults) {
    if (given == nullptr) return defaults;
    requireRecord(given);
    return *given;
}

/// Raises -2 unless a number is finite and inside its range.
inline void requireBetween(double value, double least, double most) {
    if (!(value >= least && value <= most)) raise(LumoErrorParameter);
}

/// A pitch in millimetres. PNG files without a pitch read as 72 pixels an inch, or nearly so: what
/// was never measured would make every length wrong.
[[nodiscard]] inline double pitchInMillimetres(std::uint32_t nanometres, bool known) {
    constexpr std::uint32_t firstAssumed = 352777, lastAssumed = 352859;
    if (nanometres == 0 || nanometres > 1000000000) raise(LumoErrorParameter);
    if (!known && nanometres >= firstAssumed && nanometres <= lastAssumed)
        refuse(LumoReasonAssumedPitch);
    return nanometres * 1e-6;
}

/// callFrame() for bodies that refuse: the reason goes to its place, the result is -30 (-50 for a
/// region outside the image).
template <class Body>
[[nodiscard]] int withReason(const char* function, std::uint32_t& reason, Body&& body) noexcept {
    reason = LumoReasonNone;
    return callFrame(function, [&] {
        const int code = guarded(body);
        if (code > refusalBase) return raiseFailure(code);
        reason = static_cast<std::uint32_t>(refusalBase - code);
        slog(3, "%s: %s", function, LumoQualityReasonText(reason));
        raise(reason == LumoReasonRegionOutside ? int{LumoErrorImage} : int{LumoErrorQuality});
    });
}

/// withReason() for a result record: `empty` but for the reason unless the body succeeds.
template <class Record, class Body>
[[nodiscard]] int measured(const char* function, Record* result, const Record& empty,
                           Body&& body) noexcept {
    std::uint32_t reason = LumoReasonNone;
    bool writable = false;
    Record figures = empty;
    const int code = withReason(function, reason, [&] {
        requireRecord(result);
        writable = true;
        body(figures);
    });
    if (!writable) return code;
    const std::uint32_t size = result->size;
    *result = code == LumoOk ? figures : empty;
    result->size = size;
    result->reason = reason;
    return code;
}

/// Hands points out by the protocol of the header.
template <class Point>
void handOut(const std::vector<Point>& points, Point* buffer, std::int32_t* count) {
    if (count == nullptr) return;
    const auto all = static_cast<std::int32_t>(points.size());
    if (buffer == nullptr || *count <= 0) {
        *count = all;
        return;
    }
    *count = std::min(*count, all);
    std::copy_n(points.begin(), *count, buffer);
}

}  // namespace lumo
