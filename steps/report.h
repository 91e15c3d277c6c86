// What a call on a step reports to its caller, and how a refusal gets there.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "frame/call_frame.h"
#include "lumo_steps.h"

struct LumoStepReport {
    struct Value {
        const char *name, *label, *unit;  ///< constant texts
        double value;
        int decimals;
    };

    std::uint32_t flags = 0;
    std::string message, text;
    std::vector<Value> values;
    std::vector<std::string> notes;

    void count(const char* name, const char* label, std::int64_t number) {
        values.push_back({name, label, "", static_cast<double>(number), 0});
    }
};

namespace lumo {

/// Raises the code with a message, one line that begins with the step's name.
[[noreturn]] void refuse(LumoStepReport& report, int code, std::string message);

/// After a failure: gives the report a message if it has none, and takes back the rest.
void explain(LumoStepReport& report, int code) noexcept;

/// Runs the body with a report, which goes to the place if there is one, also after a failure.
/// Raises the body's code.
template <class Body>
void withReport(LumoStepReport** place, Body body) {
    if (place != nullptr) LumoDestroyStepReport(place);
    auto report = std::make_unique<LumoStepReport>();
    const int code = guarded([&] { body(*report); });
    if (code != LumoOk) explain(*report, code);
    if (place != nullptr) *place = report.release();
    raiseFailure(code);
}

/// Copies as much of a record as the caller's version of it holds, whose size it keeps.
/// Raises -2 for none, or one that does not hold its first two fields.
template <class Record>
void handOut(const Record& from, Record* to) {
    if (to == nullptr || to->size < 2 * sizeof to->size) raise(LumoErrorParameter);
    const std::uint32_t size = to->size;
    std::memcpy(to, &from, std::min<std::size_t>(size, sizeof from));
    to->size = size;
}

}  // namespace lumo
