// The set-up functions of the verbs, one a file of this folder: each declares its verb's command
// line and returns its work. The table of all verbs is made of them.
#pragma once

#include <span>

#include "cli/command.h"

namespace lumo::cli {

[[nodiscard]] std::span<const Verb> verbs();

Work setUpBin(CLI::App& verb);
Work setUpCalibrate(CLI::App& verb);
Work setUpConvert(CLI::App& verb);
Work setUpCrop(CLI::App& verb);
Work setUpDeflash(CLI::App& verb);
Work setUpDose(CLI::App& verb);
Work setUpEqualize(CLI::App& verb);
Work setUpFilter(CLI::App& verb);
Work setUpHistogram(CLI::App& verb);
Work setUpHistory(CLI::App& verb);
Work setUpInfo(CLI::App& verb);
Work setUpInvert(CLI::App& verb);
Work setUpMirror(CLI::App& verb);
Work setUpPhantom(CLI::App& verb);
Work setUpPreview(CLI::App& verb);
Work setUpProfile(CLI::App& verb);
Work setUpRotate(CLI::App& verb);
Work setUpShear(CLI::App& verb);
Work setUpSheet(CLI::App& verb);
Work setUpStats(CLI::App& verb);
Work setUpWindow(CLI::App& verb);

}  // namespace lumo::cli
