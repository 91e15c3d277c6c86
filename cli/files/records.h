// What a verb prints of files as JSON: one array of objects, in which files that failed stay.
#pragma once

#include <functional>
#include <iostream>
#include <sstream>
#include <string>

#include "cli/error.h"
#include "cli/json.h"

namespace lumo::cli {

class Records {
public:
    explicit Records(bool asJson) : asJson_(asJson) {
        if (asJson_) json_.beginArray();
    }

    [[nodiscard]] bool asJson() const { return asJson_; }

    /// An object that begins with "file"; `addEntries` gives the others.
    void add(const std::string& file, const std::function<void(JsonWriter&)>& addEntries) {
        json_.beginObject();
        json_.entry("file", file);
        addEntries(json_);
        json_.end();
    }

    /// Nothing without --json: messages say it then.
    void addFailure(const std::string& file, const CommandError& error) {
        if (asJson_) add(file, [&](JsonWriter& json) { json.entry("error", error.what()); });
    }

    void end() {
        if (!asJson_) return;
        json_.end();
        std::cout << text_.str();
    }

private:
    bool asJson_;
    std::ostringstream text_;  // whole at the end, so that no progress line cuts into it
    JsonWriter json_{text_};
};

}  // namespace lumo::cli
