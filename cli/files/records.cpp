// Objects are written apart and then put into the array, so that one which fails leaves no half.
#include "cli/files/records.h"

#include <new>
#include <sstream>

namespace lumo::cli {

void Records::add(const std::string& file, const std::function<void(JsonWriter&)>& addEntries) {
    std::ostringstream object;
    JsonWriter writer(object, 1);
    writer.beginObject();
    writer.entry("file", file);
    addEntries(writer);
    writer.end();
    if (!object) throw std::bad_alloc();
    if (keepsParts_)
        parts_.push_back(object.str());
    else
        addPart(object.str());
}

void Records::begin() {
    if (!begun_) json_.beginArray();
    begun_ = true;
}

void Records::addPart(const std::string& object) {
    begin();
    json_.written(object);
}

void Records::end() {
    if (!asJson_) return;
    begin();
    json_.end();
}

void Records::addFailure(const std::string& file, const CommandError& error) {
    if (!asJson_) return;
    add(file, [&](JsonWriter& writer) {
        writer.entry("error", reasonOf(error, file));
        writer.key("code");
        if (error.code == 0)
            writer.null();
        else
            writer.number(std::int64_t{error.code});
    });
}

std::string reasonOf(const CommandError& error, const std::string& file) {
    std::string text = error.what();
    for (const std::string& prefix :
         {file + ": ", std::string("standard input: "), std::to_string(error.code) + ' '})
        if (text.starts_with(prefix)) text.erase(0, prefix.size());
    return text;
}

}  // namespace lumo::cli
