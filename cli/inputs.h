// Image files that verbs read: how they are declared, and going on after one that fails.
#pragma once

#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/messages.h"

namespace lumo::cli {

inline void addInputOption(CLI::App& verb, std::string& file) {
    verb.add_option("IN", file, "Image file to read")->required();
}

inline void addInputOption(CLI::App& verb, std::vector<std::string>& files) {
    verb.add_option("FILE", files, "Image files to read")->required();
}

/// Runs the work for each of the files; one that fails is told, the others go on.
template <class WorkOnFile>
[[nodiscard]] Status forEachFile(const std::vector<std::string>& files, WorkOnFile work) {
    Status status = done;
    for (const std::string& file : files) {
        try {
            work(file);
        } catch (const CommandError& error) {
            printMessage(error.what());
            status = failed;
        }
    }
    return status;
}

}  // namespace lumo::cli
