// The processing history of an image as steps.
#include "steps/history.h"

#include <charconv>
#include <map>

#include "frame/call_frame.h"
#include "steps/call_forms.h"
#include "steps/step.h"
#include "steps/words.h"

struct LumoHistory {
    struct Entry {
        std::uint32_t number = 0, flags = 0;
        std::string recorded, text, reason;
    };
    std::vector<Entry> entries;
};

namespace lumo {
namespace {

/// The number in "Step12"; nothing for other keys.
std::optional<std::uint32_t> numberOf(std::string_view key) {
    constexpr std::string_view prefix = "Step";
    if (!key.starts_with(prefix)) return std::nullopt;
    std::uint32_t number = 0;
    const char *begin = key.data() + prefix.size(), *end = key.data() + key.size();
    const auto [rest, error] = std::from_chars(begin, end, number);
    if (error != std::errc() || rest != end || begin == end) return std::nullopt;
    return number;
}

/// What a walk through the entries gathers.
struct Gathering {
    std::map<std::uint32_t, std::string> texts;
    int code = LumoOk;
};

/// Takes an entry if it is a step; ends the walk when memory is short.
int take(const char* section, const char* key, const char* value, void* user) {
    auto& gathering = *static_cast<Gathering*>(user);
    if (std::string_view(section) != "PerformedSteps") return 0;
    const std::optional<std::uint32_t> number = numberOf(key);
    if (!number) return 0;
    gathering.code = guarded([&] { gathering.texts.emplace(*number, value); });
    return gathering.code;
}

LumoHistory::Entry entryOf(const RecordedStep& recorded, bool first) {
    LumoHistory::Entry entry{recorded.number, 0, recorded.text, {}, {}};
    const std::optional<StepArguments> step = stepOf(recorded.text, &entry.reason);
    if (!step) return entry;
    entry.text = step->normalForm();
    entry.flags = step->flags();
    if ((entry.flags & LumoStepSource) != 0 && !first) entry.reason = "begins a picture of its own";
    return entry;
}

void readHistory(lmImage* image, LumoHistory** history) {
    if (image == nullptr) raise(LumoErrorImage);
    if (history == nullptr) raise(LumoErrorParameter);
    LumoDestroyHistory(history);
    auto made = std::make_unique<LumoHistory>();
    for (const RecordedStep& recorded : recordedSteps(*image))
        made->entries.push_back(entryOf(recorded, made->entries.empty()));
    *history = made.release();
}

}  // namespace

std::vector<RecordedStep> recordedSteps(const lmImage& image) {
    Gathering gathering;
    // Not changed: the visitor does not.
    raiseFailure(LumoForEachMetaEntry(const_cast<lmImage*>(&image), take, &gathering));
    raiseFailure(gathering.code);
    std::vector<RecordedStep> steps;
    for (auto& [number, step] : gathering.texts) steps.push_back({number, std::move(step)});
    return steps;
}

std::optional<StepArguments> stepOf(const std::string& recorded, std::string* reason) {
    LumoStepReport report;
    std::optional<StepArguments> step;
    const int code =
        guarded([&] { step = parseStep(stepOfCall(recorded).value_or(recorded), report); });
    if (code == LumoErrorMemory) raise(code);
    if (!step && reason != nullptr) *reason = report.message;
    return step;
}

}  // namespace lumo

extern "C" {

int LumoReadHistory(lmImage* image, LumoHistory** history) {
    return lumo::guarded([=] { lumo::readHistory(image, history); });
}

int32_t LumoCountHistory(const LumoHistory* history) {
    return history != nullptr ? static_cast<std::int32_t>(history->entries.size()) : 0;
}

int LumoGetHistoryStep(const LumoHistory* history, int32_t index, LumoHistoryStep* step) {
    return lumo::guarded([=] {
        if (index < 0 || index >= LumoCountHistory(history)) lumo::raise(LumoErrorParameter);
        const LumoHistory::Entry& entry = history->entries[static_cast<std::size_t>(index)];
        lumo::handOut(
            LumoHistoryStep{sizeof *step, entry.flags, entry.number, 0, entry.recorded.c_str(),
                            entry.text.c_str(), entry.reason.c_str()},
            step);
    });
}

int LumoDestroyHistory(LumoHistory** history) {
    if (history == nullptr) return LumoErrorParameter;
    delete *history;
    *history = nullptr;
    return LumoOk;
}

}  // extern "C"
