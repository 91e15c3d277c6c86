// Image files that verbs read: how they are declared, and going on after one that fails.
#pragma once

#include <new>
#include <string>
#include <vector>

#include "cli/command.h"
#include "cli/files/reading.h"
#include "cli/messages.h"

namespace lumo::cli {

inline void addInputOption(CLI::App& verb, std::string& file) {
    verb.add_option("IN", file, "Image file to read")->required();
}

inline void addInputOption(CLI::App& verb, std::vector<std::string>& files) {
    verb.add_option("FILE", files, "Image files to read")->required();
}

/// Runs the work for each file, or part of one; one that fails is told, the others go on.
template <class Item, class WorkOnItem>
[[nodiscard]] Status forEach(const std::vector<Item>& items, WorkOnItem work) {
    Status status = done;
    for (const Item& item : items) {
        try {
            work(item);
        } catch (const CommandError& error) {
            printMessage(error.what());
            status = failed;
        } catch (const std::bad_alloc&) {
            printMessage("lumo: no memory for one of the images");
            status = failed;
        }
    }
    return status;
}

}  // namespace lumo::cli
