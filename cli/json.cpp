// Commas, line ends and indentation follow from what is open.
#include "cli/json.h"

#include <cmath>
#include <cstdio>

#include "cli/messages.h"

namespace lumo::cli {

namespace {

std::string quoted(std::string_view text) {
    std::string result = "\"";
    char escape[8];
    while (!text.empty()) {
        const std::size_t length = utf8Length(text);
        const auto byte = static_cast<unsigned char>(text[0]);
        if (length > 1) {
            result += text.substr(0, length);
        } else if (byte == '"' || byte == '\\') {
            result += {'\\', text[0]};
        } else if (length == 0 || byte < 0x20 || byte == 0x7F) {
            std::snprintf(escape, sizeof escape, "\\u%04x", byte);
            result += escape;
        } else {
            result += text[0];
        }
        text.remove_prefix(length == 0 ? 1 : length);
    }
    return result + '"';
}

}  // namespace

void JsonWriter::newLine() {
    out_ << '\n' << std::string(2 * (depth_ + closing_.size()), ' ');
}

void JsonWriter::beginValue() {
    if (afterKey_) {
        afterKey_ = false;
        return;
    }
    if (!first_) out_ << ',';
    if (!closing_.empty()) newLine();
    first_ = false;
}

void JsonWriter::open(char bracket, char closing) {
    beginValue();
    out_ << bracket;
    closing_.push_back(closing);
    first_ = true;
}

void JsonWriter::end() {
    const char bracket = closing_.back();
    closing_.pop_back();
    if (!first_) newLine();
    out_ << bracket;
    first_ = false;
    if (closing_.empty() && depth_ == 0) out_ << '\n';
}

void JsonWriter::key(std::string_view name) {
    beginValue();
    out_ << quoted(name) << ": ";
    afterKey_ = true;
}

void JsonWriter::text(std::string_view value) {
    beginValue();
    out_ << quoted(value);
}

void JsonWriter::number(std::int64_t value) {
    beginValue();
    out_ << value;
}

void JsonWriter::number(double value, int decimals) {
    beginValue();
    char digits[64];
    std::snprintf(digits, sizeof digits, "%.*f", decimals, value);
    out_ << (std::isfinite(value) ? digits : "null");
}

void JsonWriter::significant(double value, int digits) {
    beginValue();
    char text[64];
    std::snprintf(text, sizeof text, "%.*g", digits, value);
    out_ << (std::isfinite(value) ? text : "null");
}

void JsonWriter::null() {
    beginValue();
    out_ << "null";
}

void JsonWriter::written(std::string_view value) {
    beginValue();
    out_ << value;
}

}  // namespace lumo::cli
