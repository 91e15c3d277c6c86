// Opening files.
#pragma once

#include <cstdio>

/// Opens a file like fopen(), closed on exec; null when it cannot, when the name is null or when it
/// names a folder.
[[nodiscard]] std::FILE* fopen_ex(const char* name, const char* mode) noexcept;
