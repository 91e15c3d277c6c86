// Machine-wide settings, read from an INI file at each call.
#include "platform/configuration.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "platform/file_open.h"

namespace {

constexpr const char* defaultFile = "/etc/orvel.ini";

std::string_view trimmed(std::string_view text) {
    constexpr const char* blanks = " \t\r\n";
    const auto first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

/// Copies the value of the entry if the line holds it.
bool takeValue(std::string_view line, std::string_view name, char* value) {
    const auto equals = line.find('=');
    if (equals == std::string_view::npos || trimmed(line.substr(0, equals)) != name) return false;
    const std::string_view found = trimmed(line.substr(equals + 1)).substr(0, settingSize - 1);
    value[found.copy(value, found.size())] = '\0';
    return true;
}

/// Reads a line, or the beginning of one that is longer than the buffer and whose rest is skipped.
bool readLine(std::FILE* file, char* buffer, int size) {
    if (std::fgets(buffer, size, file) == nullptr) return false;
    char rest[settingSize];
    bool whole = std::strchr(buffer, '\n') != nullptr;
    while (!whole && std::fgets(rest, sizeof rest, file) != nullptr)
        whole = std::strchr(rest, '\n') != nullptr;
    return true;
}

/// The name in a section's header; no value for another line.
std::optional<std::string_view> sectionName(std::string_view line) {
    const auto end = line.find(']');
    if (!line.starts_with('[') || end == std::string_view::npos) return std::nullopt;
    return line.substr(1, end - 1);
}

void readSetting(std::FILE* file, std::string_view key, std::string_view name, char* value) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    char buffer[4 * settingSize];
    bool inSection = false;
    while (readLine(file, buffer, sizeof buffer)) {
        std::string_view line = buffer;
        if (line.starts_with(byteOrderMark)) line.remove_prefix(byteOrderMark.size());
        line = trimmed(line);
        if (const auto section = sectionName(line))
            inSection = *section == key;
        else if (inSection && takeValue(line, name, value))
            return;
    }
}

}  // namespace

void Get_RegStr(RegistryHive, const char* key, const char* name, char* value) noexcept {
    value[0] = '\0';
    const char* configured = secure_getenv("ORVEL_CONFIG");
    const bool isSet = configured != nullptr && *configured != '\0';
    const lumo::FilePtr file(fopen_ex(isSet ? configured : defaultFile, "r"));
    if (file) readSetting(file.get(), key, name, value);
}
