// Work on all image files of whole folders or of a list, for the verbs that offer --batch.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "cli/change.h"

namespace lumo::cli {

class Records;

struct BatchOptions {
    std::vector<std::string> folders;
    std::string list;  // of file names
    std::string out;
    int jobs = 0;  // 0: as many as there are processors
    bool dryRun = false, quiet = false, skipExisting = false;

    [[nodiscard]] bool chosen() const { return !folders.empty() || !list.empty(); }
};

/// Declares IN, OUT, --format and --force as for one file, none of them required, and --batch,
/// --files-from, --out and what goes with them.
void addBatchOptions(CLI::App& verb, ChangeOptions& single, BatchOptions& batch);

/// Throws a usage error unless there are IN and OUT, or a batch.
void requireFiles(const BatchOptions& batch, const ChangeOptions& single, const char* verb);

/// What is done to one file.
using FileWork = std::function<void(const ChangeOptions&)>;

/// Runs the work on IN and OUT, or on every file of the batch, each in a process of its own and
/// several side by side: what the work changes of the caller's variables is lost. What it prints
/// comes in the files' order, and so do failures, at the end. A file that fails does not stop the
/// others. Each result goes to its own place below the output folder.
/// @param options  IN and OUT, or for a batch the format and whether to replace
/// @param records  what the work adds to these reaches them also from the processes
Status runOnFiles(const BatchOptions& batch, const ChangeOptions& options, const FileWork& work,
                  Records* records = nullptr);

}  // namespace lumo::cli
