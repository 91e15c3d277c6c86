// The processing history among a picture's entries, and what of it changed the picture how.
#include "interchange/dicom/history.h"

#include <algorithm>
#include <map>

#include "interchange/dicom/numbers.h"

namespace lumo::interchange::dicom {

namespace {

constexpr std::string_view stepPrefix = "Step";

using Steps = std::map<std::int64_t, std::string>;

Steps numberedSteps(const std::vector<Entry>& entries) {
    Steps steps;
    for (const Entry& entry : entries) {
        if (entry.section != historySection || !entry.key.starts_with(stepPrefix)) continue;
        const std::string_view digits = std::string_view(entry.key).substr(stepPrefix.size());
        if (digits.find_first_not_of("0123456789") != std::string_view::npos) continue;
        if (const auto number = integer(digits)) steps.emplace(*number, entry.value);
    }
    return steps;
}

}  // namespace

std::vector<std::string> stepsOf(const std::vector<Entry>& entries) {
    std::vector<std::string> texts;
    for (auto& [number, text] : numberedSteps(entries)) texts.push_back(text);
    return texts;
}

bool isGeometric(std::string_view step) {
    // Commands of the program, and calls of the library.
    constexpr std::string_view beginnings[] = {
        "rotate",          "mirror",           "shear", "crop", "bin", "LumoRotateImage",
        "LumoMirrorImage", "RotationNewImage", "Shear",
    };
    return std::ranges::any_of(beginnings, [&](std::string_view word) {
        return step.starts_with(word) &&
               (step.size() == word.size() || step[word.size()] == ' ' || step[word.size()] == '(');
    });
}

}  // namespace lumo::interchange::dicom
