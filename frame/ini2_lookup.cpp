// A single question to a settings text: the search for its section, then for its entry.
#include "frame/ini2_lookup.h"

#include "frame/ini2_text.h"

namespace lumo::ini {
namespace {

/// False for most lines whose key is another one.
bool mayHold(std::string_view line, std::string_view key) {
    const char first = line[0];
    if (first == ';' || first == '%' || isBlank(first) || key.empty()) return true;
    // Numbered keys differ at their ends: looking there first saves most calls.
    return key.size() <= line.size() && line[key.size() - 1] == key.back() && line.starts_with(key);
}

std::optional<std::string> valueIn(std::string_view lines, std::string_view key) {
    std::string lineScratch, scratch;
    Entry entry;
    std::string_view line;
    for (Lines rest(lines); rest.next(line);) {
        if (mayHold(line, key) && readEntry(line, lineScratch, entry) &&
            plain(entry.key, scratch) == key)
            return std::string(plain(entry.value, scratch));
    }
    return std::nullopt;
}

}  // namespace

std::optional<std::string> findValue(std::string_view text, std::string_view section,
                                     std::string_view key) {
    text.remove_prefix(byteOrderMarks(text));
    std::string scratch;
    for (SectionHeader header = findHeader(text, 0); header.at < text.size();) {
        const std::size_t begin = header.at + header.line.size();
        const bool isMeant = plain(header.name, scratch) == section;
        header = findHeader(text, begin);
        if (!isMeant) continue;
        std::optional<std::string> value = valueIn(text.substr(begin, header.at - begin), key);
        if (value) return value;
    }
    return std::nullopt;
}

}  // namespace lumo::ini
