// Options for files of other formats, as verbs declare them.
#pragma once

#include "cli/command.h"
#include "cli/files/import.h"

namespace lumo::cli {

/// Declares --from, --frame, --pitch-from, --monochrome2, --keep, and those of dumps.
void addImportOptions(CLI::App& verb, ImportOptions& options);

}  // namespace lumo::cli
