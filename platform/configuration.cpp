// Machine-wide settings, read from an INI file at each call.
#include "platform/configuration.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "platform/file_open.h"
#include "platform/ini_lines.h"

namespace {

constexpr const char* defaultFile = "/etc/orvel.ini";

/// Reads a line, or the beginning of one that is longer than the buffer and whose rest is skipped.
bool readLine(std::FILE* file, char* buffer, int size) {
    if (std::fgets(buffer, size, file) == nullptr) return false;
    char rest[settingSize];
    bool whole = std::strchr(buffer, '\n') != nullptr;
    while (!whole && std::fgets(rest, sizeof rest, file) != nullptr)
        whole = std::strchr(rest, '\n') != nullptr;
    return true;
}

void readSetting(std::FILE* file, std::string_view key, std::string_view name, char* value) {
    char buffer[4 * settingSize];
    bool inSection = false;
    lumo::ini::Entry entry;
    while (readLine(file, buffer, sizeof buffer)) {
        std::string_view line = buffer;
        line.remove_prefix(lumo::ini::byteOrderMarks(line));
        line = lumo::ini::trimmed(line);
        if (const auto section = lumo::ini::sectionName(line)) {
            inSection = *section == key;
        } else if (inSection && lumo::ini::splitEntry(line, entry) && entry.key == name) {
            value[entry.value.copy(value, settingSize - 1)] = '\0';
            return;
        }
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
