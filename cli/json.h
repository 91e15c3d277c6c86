// A small JSON writer: values in the order in which they are given, indented, escaped.
#pragma once

#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::cli {

/// Objects and arrays nest; inside an object a key() goes before each value. The caller closes what
/// it opened with end().
class JsonWriter {
public:
    /// @param depth  of what encloses the text in another, for its indentation
    explicit JsonWriter(std::ostream& out, std::size_t depth = 0) : out_(out), depth_(depth) {}

    void beginObject() { open('{', '}'); }
    void beginArray() { open('[', ']'); }
    void end();
    void key(std::string_view name);

    /// Bytes that are not UTF-8 are taken as Latin-1.
    void text(std::string_view value);
    void number(std::int64_t value);
    void number(double value, int decimals);
    /// With so many significant digits; null for what is no number.
    void significant(double value, int digits);
    void null();
    /// A value that another writer has made, for this depth.
    void written(std::string_view value);

    /// The shorthands for entries of an object.
    void entry(std::string_view name, std::string_view value) { key(name), text(value); }
    void entry(std::string_view name, std::int64_t value) { key(name), number(value); }
    void entry(std::string_view name, double value, int decimals) {
        key(name), number(value, decimals);
    }
    void emptyEntry(std::string_view name) { key(name), null(); }

private:
    void open(char bracket, char closing);
    void beginValue();
    void newLine();

    std::ostream& out_;
    std::size_t depth_;
    std::vector<char> closing_;  // what ends the open objects and arrays
    bool first_ = true;          // nothing stands in the innermost one yet
    bool afterKey_ = false;
};

}  // namespace lumo::cli
