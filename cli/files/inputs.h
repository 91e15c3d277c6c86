// Image files that verbs read: how they are declared, and going on after one that fails.
#pragma once

#include <new>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/files/reading.h"
#include "cli/files/records.h"
#include "cli/library.h"
#include "cli/messages.h"
#include "cli/system/input_file.h"

namespace lumo::cli {

inline void addInputOption(CLI::App& verb, std::string& file) {
    verb.add_option("IN", file, "Image file to read; -: standard input")->required();
}

inline void addInputOption(CLI::App& verb, std::vector<std::string>& files) {
    verb.add_option("FILE", files, "Image files to read; -: standard input")->required();
}

/// Runs the work for one file, or part of one; a failure is printed, and recorded with the file.
/// @return whether the verb goes on as done or failed
template <class Work>
[[nodiscard]] Status guardedFor(const std::string& file, Records& records, Work work) {
    const auto fail = [&](const CommandError& error) {
        printMessage(error.what());
        records.addFailure(file, error);
        return failed;
    };
    try {
        work();
        return done;
    } catch (const CommandError& error) {
        if (error.status == wrongCommandLine) throw;
        return fail(error);
    } catch (const std::bad_alloc&) {
        return fail(libraryError(LumoErrorMemory, shownName(file)));
    }
}

/// Runs the work for each file in turn; one that fails does not stop the others.
template <class WorkOnFile>
[[nodiscard]] Status forEachFile(const std::vector<std::string>& files, Records& records,
                                 WorkOnFile work) {
    Status status = done;
    for (const std::string& file : files)
        if (guardedFor(file, records, [&] { work(file); }) != done) status = failed;
    records.end();
    return status;
}

inline void addJsonOption(CLI::App& verb, bool& asJson) {
    verb.add_flag("--json", asJson, "As JSON: an array of objects, in which files that fail stay");
}

}  // namespace lumo::cli
