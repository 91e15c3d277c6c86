// Steps as the verbs use them: checked before the first file is touched, applied to images, and
// what they report printed.
#include "cli/steps/applying.h"

#include <cmath>
#include <cstdio>
#include <iostream>
#include <memory>
#include <new>
#include <utility>

#include "cli/files/inputs.h"
#include "cli/files/pitch.h"
#include "cli/files/records.h"
#include "cli/messages.h"

namespace lumo::cli {
namespace {

/// A report of the library that is freed with the object.
class Report {
public:
    Report() = default;
    ~Report() { LumoDestroyStepReport(&report_); }
    Report(const Report&) = delete;
    Report& operator=(const Report&) = delete;

    [[nodiscard]] LumoStepReport** place() { return &report_; }
    [[nodiscard]] LumoStepSummary get() const {
        LumoStepSummary summary{};
        summary.size = sizeof summary;
        // There is none where the memory for it was missing.
        if (LumoGetStepReport(report_, &summary) != LumoOk) throw std::bad_alloc();
        return summary;
    }
    [[nodiscard]] LumoStepValue value(int index) const {
        LumoStepValue value{};
        value.size = sizeof value;
        LumoGetStepValue(report_, index, &value);
        return value;
    }
    [[nodiscard]] const char* note(int index) const { return LumoGetStepNote(report_, index); }

private:
    LumoStepReport* report_ = nullptr;
};

/// A step that was applied; the texts of its values are constants of the library.
struct AppliedStep {
    std::string text;
    std::vector<LumoStepValue> values;
};

std::string placed(const StepText& step, const std::string& message) {
    return step.place.empty() ? message : step.place + ": " + message;
}

AppliedStep apply(lmImage* image, const StepText& step, const std::string& file) {
    Report report;
    const int code = LumoApplyStep(image, step.text.c_str(), report.place());
    const LumoStepSummary summary = report.get();
    if (code != LumoOk)
        throw CommandError(file + ": " + placed(step, summary.message), failed, code);
    for (int i = 0; i < summary.noteCount; ++i) printNote(file, report.note(i), report.note(i));
    AppliedStep applied{summary.text, {}};
    for (int i = 0; i < summary.valueCount; ++i) applied.values.push_back(report.value(i));
    return applied;
}

std::string numberOf(const LumoStepValue& value) {
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", value.decimals, value.value);
    return text;
}

void printValues(const std::string& file, const std::vector<AppliedStep>& steps) {
    bool named = false;
    for (const AppliedStep& step : steps) {
        if (step.values.empty()) continue;
        clearProgress();
        if (!std::exchange(named, true)) std::cout << printable(file) << '\n';
        if (steps.size() > 1) std::cout << "  " << step.text << '\n';
        for (const LumoStepValue& value : step.values)
            std::cout << "  " << value.label << ": " << numberOf(value)
                      << (*value.unit != '\0' ? " " : "") << value.unit << '\n';
    }
}

void writeSteps(JsonWriter& json, const std::vector<AppliedStep>& steps) {
    json.key("steps");
    json.beginArray();
    for (const AppliedStep& step : steps) {
        json.beginObject();
        json.entry("step", step.text);
        for (const LumoStepValue& value : step.values)
            if (value.decimals > 0)
                json.entry(value.name, value.value, value.decimals);
            else
                json.entry(value.name, static_cast<std::int64_t>(value.value));
        json.end();
    }
    json.end();
}

void checkText(const StepText& step, const std::string& verb) {
    Report report;
    const int code = LumoCheckStep(step.text.c_str(), 0, report.place());
    const LumoStepSummary summary = report.get();
    const std::string front = step.place.empty() ? verb : step.place;
    if (code == LumoErrorMemory) throw std::bad_alloc();
    if (code != LumoOk) {
        std::string message = summary.message;
        // "lumo window: --lo", not "lumo window: window: --lo".
        const std::string name = verb.substr(verb.rfind(' ') + 1) + ": ";
        if (step.place.empty() && message.starts_with(name)) message.erase(0, name.size());
        throw usageError(front + ": " + message);
    }
    if ((summary.flags & LumoStepSource) != 0)
        throw usageError(front + ": " + step.text + ": makes a picture, so it is no step of one");
}

void checkFiles(const StepText& step) {
    Report report;
    const int code = LumoCheckStep(step.text.c_str(), 1, report.place());
    if (code != LumoOk) throw CommandError(placed(step, report.get().message), failed, code);
}

}  // namespace

std::string quotedWord(const std::string& word) {
    std::int32_t size = 0;
    check(LumoQuoteStepWord(word.c_str(), nullptr, &size), word);
    std::string text(static_cast<std::size_t>(size), '\0');
    check(LumoQuoteStepWord(word.c_str(), text.data(), &size), word);
    text.pop_back();  // the terminating zero
    return text;
}

void checkSteps(const std::vector<StepText>& steps, const std::string& verb) {
    for (const StepText& step : steps) checkText(step, verb);
    for (const StepText& step : steps) checkFiles(step);
}

void addStepRunOptions(CLI::App& verb, StepRun& run) {
    addBatchOptions(verb, run, run.batch);
    addJsonOption(verb, run.json);
}

std::vector<std::string> takeTexts(StepRun& run, std::vector<std::string> texts) {
    if (!run.batch.chosen()) return texts;
    for (std::string* file : {&run.output.file, &run.input})
        if (!file->empty()) texts.insert(texts.begin(), std::exchange(*file, ""));
    return texts;
}

Status runSteps(const StepRun& run, const std::vector<StepText>& steps, const std::string& verb) {
    requireFiles(run.batch, run, verb.c_str());
    const std::optional<Pitch> pitch = parsePitch(run.pitch);
    checkSteps(steps, verb);
    Records records(run.json);
    const auto work = [&](const ChangeOptions& each) {
        std::vector<AppliedStep> applied;
        changeImage(each, [&](ImageHandle& image) {
            if (pitch) setPitch(image.get(), *pitch, each.input);
            for (const StepText& step : steps)
                applied.push_back(apply(image.get(), step, each.input));
        });
        if (records.asJson())
            records.add(each.output.file, [&](JsonWriter& json) { writeSteps(json, applied); });
        else
            printValues(each.output.file, applied);
    };
    const Status status = runOnFiles(run.batch, run, work, &records);
    records.end();
    return status;
}

}  // namespace lumo::cli
