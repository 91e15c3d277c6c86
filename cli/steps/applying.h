// Steps as the verbs use them: checked before the first file is touched, applied to images, and
// what they report printed.
#pragma once

#include <string>
#include <vector>

#include "cli/files/batch.h"
#include "lumo_steps.h"

namespace lumo::cli {

/// A step's text, and where it stands for messages: "panel.txt:3"; empty on the command line.
struct StepText {
    std::string text, place;
};

/// A value as a word of a step's text.
[[nodiscard]] std::string quotedWord(const std::string& word);

/// Throws a usage error for a step that is refused or makes a picture of its own, with `verb` in
/// front unless it has a place; then a CommandError for a file that one names and cannot use.
void checkSteps(const std::vector<StepText>& steps, const std::string& verb);

/// What every verb that changes pictures by steps has.
struct StepRun : ChangeOptions {
    BatchOptions batch;
    bool json = false;
    std::string pitch;  ///< of --pitch, which verbs have that work in millimetres
};

/// Declares files and folders as addBatchOptions(), and --json.
void addStepRunOptions(CLI::App& verb, StepRun& run);

/// The texts behind IN and OUT; where a batch brings its own files, what was read as IN and OUT are
/// the first of them.
[[nodiscard]] std::vector<std::string> takeTexts(StepRun& run, std::vector<std::string> texts);

/// Checks the steps and applies them to the file or the files of the batch: one read, one write.
/// @param verb  as messages name it, such as "lumo window"
Status runSteps(const StepRun& run, const std::vector<StepText>& steps, const std::string& verb);

}  // namespace lumo::cli
