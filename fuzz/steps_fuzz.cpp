// Steps from arbitrary text, on a small image: a refusal says why and changes nothing; what was
// applied is in the history in its normal form and gives the same picture again.
#include <cstring>
#include <string>
#include <string_view>

#include "lumo_steps.h"
#include "support.h"

namespace {

using lumo::fuzz::require;

struct Picture {
    lmImage* image = nullptr;
    Picture() {
        require(LumoCreateImage(&image, 20, 17) == 0, "an image can be made");
        for (unsigned i = 0; i < 20U * 17U; ++i)
            image->data[i] = static_cast<std::uint16_t>(i * 2654435761U >> 13);
        LumoSetMetaEntry(image, "Image", "Creation Time", "now");
    }
    ~Picture() { LumoDestroyImage(&image); }
    Picture(const Picture&) = delete;
    Picture& operator=(const Picture&) = delete;
    [[nodiscard]] bool operator==(const Picture& other) const {
        return image->width == other.image->width && image->height == other.image->height &&
               image->pixelsizeX == other.image->pixelsizeX &&
               std::string_view(image->metaData) == other.image->metaData &&
               std::memcmp(image->data, other.image->data,
                           std::size_t{2} * image->width * image->height) == 0;
    }
};

struct Report {
    LumoStepReport* report = nullptr;
    ~Report() { LumoDestroyStepReport(&report); }
    [[nodiscard]] LumoStepSummary get() const {
        LumoStepSummary summary{};
        summary.size = sizeof summary;
        require(LumoGetStepReport(report, &summary) == 0, "there is a report");
        return summary;
    }
};

bool isOneLine(std::string_view text) {
    for (const char c : text)
        if (static_cast<unsigned char>(c) < ' ' || c == 0x7F) return false;
    return true;
}

void applyTwice(const std::string& text) {
    Picture first, second;
    const Picture untouched;
    Report report;
    if (LumoApplyStep(first.image, text.c_str(), &report.report) != 0) {
        require(*report.get().message != '\0' && isOneLine(report.get().message), "a reason");
        return require(first == untouched, "a failure changes nothing");
    }
    LumoHistory* history = nullptr;
    LumoHistoryStep step{};
    step.size = sizeof step;
    require(LumoReadHistory(first.image, &history) == 0 && LumoCountHistory(history) == 1 &&
                LumoGetHistoryStep(history, 0, &step) == 0,
            "the step is in the history");
    require(std::string_view(step.recorded) == step.text && *step.reason == '\0', "as it stands");
    require(LumoApplyStep(second.image, step.text, nullptr) == 0 && first == second,
            "the history makes the picture again");
    LumoDestroyHistory(&history);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Report report, again;
    const int code = LumoCheckStep(text.c_str(), 0, &report.report);
    const LumoStepSummary summary = report.get();
    require(code == 0 || code == -2, "accepted or refused");
    require((*summary.message == '\0') == (code == 0) && isOneLine(summary.message), "a message");
    if (code != 0) return 0;
    require(isOneLine(summary.text), "one line");
    require(LumoCheckStep(summary.text, 0, &again.report) == 0 &&
                std::string_view(again.get().text) == summary.text,
            "the normal form is its own");
    const bool namesFile = std::string_view(summary.text).starts_with("calibrate");
    if (!namesFile && (summary.flags & LumoStepSource) == 0) applyTwice(text);
    return 0;
}
