// Work on all image files of whole folders, for the verbs that offer --batch.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/change.h"

namespace lumo::cli {

class Records;

struct BatchOptions {
    std::vector<std::string> folders;
    std::string out;

    [[nodiscard]] bool chosen() const { return !folders.empty(); }
};

/// Declares IN, OUT, --format and --force as for one file, none of them required, and --batch and
/// --out.
void addBatchOptions(CLI::App& verb, ChangeOptions& single, BatchOptions& batch);

/// Throws a usage error unless there are IN and OUT, or a batch.
void requireFiles(const BatchOptions& batch, const ChangeOptions& single, const char* verb);

/// Runs the work on IN and OUT, or on every image file below the folders: files that end in .png,
/// .xyz or .raw, in any case. Each goes to its own place below the output folder. A file that fails
/// is told at the end, the others go on; a bar shows how far it is if messages go to a terminal.
/// @param options  IN and OUT, or for a batch the format and whether to replace
/// @param records  receive the failures of a batch
Status runOnFiles(const BatchOptions& batch, const ChangeOptions& options,
                  const std::function<void(const ChangeOptions&)>& work,
                  Records* records = nullptr);

}  // namespace lumo::cli
