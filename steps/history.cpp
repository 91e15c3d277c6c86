// The processing history of an image as steps.
#include "steps/history.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "frame/ini2_text.h"
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

using Texts = std::map<std::uint32_t, std::string>;

/// The entries of a section's body; of equal keys the first counts.
void takeEntries(std::string_view body, Texts& texts) {
    ini::Lines lines(body);
    for (std::string_view line; lines.next(line);) {
        std::string scratch, keyScratch, valueScratch;
        ini::Entry entry;
        if (!ini::readEntry(ini::withoutEnd(line), scratch, entry)) continue;
        if (const auto number = numberOf(ini::plain(entry.key, keyScratch)))
            texts.emplace(*number, ini::plain(entry.value, valueScratch));
    }
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
    std::string_view text = image.metaData != nullptr ? image.metaData : "";
    constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
    if (text.starts_with(utf8Mark)) text.remove_prefix(utf8Mark.size());
    Texts texts;
    for (ini::Header header = ini::findHeader(text, 0); header.at < text.size();) {
        const std::size_t body = header.at + ini::firstLine(text.substr(header.at)).size();
        const ini::Header next = ini::findHeader(text, body);
        std::string scratch;
        if (ini::plain(header.name, scratch) == "PerformedSteps")
            takeEntries(text.substr(body, next.at - body), texts);
        header = next;
    }
    std::vector<RecordedStep> steps;
    for (auto& [number, step] : texts) steps.push_back({number, std::move(step)});
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
