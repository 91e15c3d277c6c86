// Texts with their lengths in front, one after another; both ends are the same program.
#include "cli/files/outcome.h"

#include <cstdint>
#include <cstring>

namespace lumo::cli {

namespace {

constexpr std::string_view endMark = "end";

void put(std::string& to, std::string_view text) {
    const std::uint64_t size = text.size();
    char bytes[sizeof size];
    std::memcpy(bytes, &size, sizeof size);
    to.append(bytes, sizeof bytes).append(text);
}

class Reader {
public:
    explicit Reader(std::string_view bytes) : bytes_(bytes) {}

    std::string text() {
        std::uint64_t size = 0;
        if (bytes_.size() < sizeof size) return {};
        std::memcpy(&size, bytes_.data(), sizeof size);
        bytes_.remove_prefix(sizeof size);
        std::string result(bytes_.substr(0, size));
        bytes_.remove_prefix(result.size());
        return result;
    }
    std::size_t number() {
        const std::string digits = text();
        return digits.empty() ? 0 : std::stoul(digits);
    }

private:
    std::string_view bytes_;
};

}  // namespace

std::string encode(const Outcome& outcome) {
    std::string bytes;
    put(bytes, outcome.succeeded ? "1" : "0");
    put(bytes, std::to_string(-static_cast<std::int64_t>(outcome.code)));
    put(bytes, outcome.error);
    put(bytes, outcome.printed);
    put(bytes, std::to_string(outcome.parts.size()));
    for (const std::string& part : outcome.parts) put(bytes, part);
    put(bytes, std::to_string(outcome.messages.size()));
    for (const auto& [file, kind, text] : outcome.messages) {
        put(bytes, file);
        put(bytes, kind);
        put(bytes, text);
    }
    put(bytes, endMark);
    return bytes;
}

std::optional<Outcome> decode(std::string_view bytes) {
    if (!bytes.ends_with(endMark)) return {};
    Reader reader(bytes);
    Outcome outcome;
    outcome.succeeded = reader.number() != 0;
    outcome.code = -static_cast<int>(reader.number());
    outcome.error = reader.text();
    outcome.printed = reader.text();
    for (std::size_t count = reader.number(); count > 0; --count)
        outcome.parts.push_back(reader.text());
    for (std::size_t count = reader.number(); count > 0; --count) {
        Message message{reader.text(), reader.text(), reader.text()};
        outcome.messages.push_back(std::move(message));
    }
    if (reader.text() != endMark) return {};
    return outcome;
}

}  // namespace lumo::cli
