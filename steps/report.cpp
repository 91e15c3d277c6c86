// What a call on a step reports to its caller, and how a refusal gets there.
#include "steps/report.h"

#include <utility>

namespace lumo {

void refuse(LumoStepReport& report, int code, std::string message) {
    report.message = std::move(message);
    raise(code);
}

void explain(LumoStepReport& report, int code) noexcept {
    report.flags = 0;
    report.text.clear();
    report.values.clear();
    report.notes.clear();
    if (!report.message.empty()) return;
    // The memory for a whole sentence may be missing; these few letters need none.
    if (guarded([&] { report.message = lmtErrorMessage(code); }) != LumoOk)
        report.message = "no memory";
}

}  // namespace lumo

extern "C" {

int LumoGetStepReport(const LumoStepReport* report, LumoStepSummary* summary) {
    return lumo::guarded([=] {
        if (report == nullptr) lumo::raise(LumoErrorParameter);
        const LumoStepSummary whole{sizeof whole,
                                    report->flags,
                                    report->message.c_str(),
                                    report->text.c_str(),
                                    static_cast<std::int32_t>(report->values.size()),
                                    static_cast<std::int32_t>(report->notes.size())};
        lumo::handOut(whole, summary);
    });
}

int LumoGetStepValue(const LumoStepReport* report, int32_t index, LumoStepValue* value) {
    return lumo::guarded([=] {
        const auto place = static_cast<std::size_t>(index);
        if (report == nullptr || index < 0 || place >= report->values.size())
            lumo::raise(LumoErrorParameter);
        const LumoStepReport::Value& from = report->values[place];
        const LumoStepValue whole{sizeof whole, from.decimals, from.name,
                                  from.label,   from.unit,     from.value};
        lumo::handOut(whole, value);
    });
}

const char* LumoGetStepNote(const LumoStepReport* report, int32_t index) {
    const auto place = static_cast<std::size_t>(index);
    const bool exists = report != nullptr && index >= 0 && place < report->notes.size();
    return exists ? report->notes[place].c_str() : nullptr;
}

int LumoDestroyStepReport(LumoStepReport** report) {
    if (report == nullptr) return LumoErrorParameter;
    delete *report;
    *report = nullptr;
    return LumoOk;
}

}  // extern "C"
