// Machine-wide settings, read from an INI file at each call.
#include "platform/configuration.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
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

void readSetting(std::FILE* file, std::string_view key, std::string_view name, char* value) {
    char buffer[4 * settingSize];
    bool inSection = false;
    while (std::fgets(buffer, sizeof buffer, file) != nullptr) {
        const std::string_view line = trimmed(buffer);
        if (line.starts_with('[') && line.ends_with(']'))
            inSection = line.substr(1, line.size() - 2) == key;
        else if (inSection && takeValue(line, name, value))
            return;
    }
}

}  // namespace

void Get_RegStr(RegistryHive, const char* key, const char* name, char* value) noexcept {
    value[0] = '\0';
    const char* configured = std::getenv("ORVEL_CONFIG");
    std::FILE* file = fopen_ex(configured != nullptr ? configured : defaultFile, "r");
    if (file == nullptr) return;
    readSetting(file, key, name, value);
    std::fclose(file);
}

void strxcat(char* buffer, const char* text, std::size_t limit) noexcept {
    const std::size_t length = strnlen(buffer, limit);
    if (length + 1 >= limit) return;
    const std::size_t count = strnlen(text, limit - length - 1);
    std::memcpy(buffer + length, text, count);
    buffer[length + count] = '\0';
}
