// Machine-wide settings.
#pragma once

#include <cstddef>

/// The part of the machine's configuration to read; there is one.
enum RegistryHive { HKEY_LOCAL_MACHINE };

constexpr std::size_t settingSize = 1024;  ///< bytes of a setting's buffer

/// Reads a text value of the machine's configuration: entry `name` in section `key` of the INI file
/// that ORVEL_CONFIG names, else of /etc/orvel.ini. Blanks around a value are
/// no part of it; otherwise it is taken as it stands, without escapes.
/// @param value  [out] settingSize bytes; the empty text when there is no such value, a longer
/// value
///               is cut
void Get_RegStr(RegistryHive hive, const char* key, const char* name, char* value) noexcept;
