// What a verb prints of files: text as it comes, or with --json one array of objects, in which
// files that failed stay.
#pragma once

#include <functional>
#include <iostream>
#include <string>
#include <vector>

#include "cli/error.h"
#include "cli/json.h"

namespace lumo::cli {

class Records {
public:
    explicit Records(bool asJson) : asJson_(asJson) {}

    [[nodiscard]] bool asJson() const { return asJson_; }

    /// An object that begins with "file"; `addEntries` gives the others.
    void add(const std::string& file, const std::function<void(JsonWriter&)>& addEntries);

    /// Nothing without --json: messages say it then.
    void addFailure(const std::string& file, const CommandError& error);

    /// In a worker: what add() makes is kept to be handed over instead of printed.
    void keepParts() { keepsParts_ = true; }
    [[nodiscard]] const std::vector<std::string>& parts() const { return parts_; }
    void addPart(const std::string& object);

    /// Without it nothing is printed, or an array that is not closed.
    void end();

private:
    void begin();

    bool asJson_, keepsParts_ = false, begun_ = false;
    std::vector<std::string> parts_;
    JsonWriter json_{std::cout};
};

/// A failure's text without the file's name and the code in front.
[[nodiscard]] std::string reasonOf(const CommandError& error, const std::string& file);

}  // namespace lumo::cli
