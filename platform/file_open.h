// Opening files.
#pragma once

#include <cstdio>
#include <memory>

/// Opens a file like fopen(), closed on exec; null when it cannot, when the name is null or when it
/// names a folder.
[[nodiscard]] std::FILE* fopen_ex(const char* name, const char* mode) noexcept;

/// A stream for reading from a copy of an open descriptor; null when that cannot be, or is a
/// folder.
[[nodiscard]] std::FILE* fopen_copy(int descriptor) noexcept;

namespace lumo {

struct FileCloser {
    void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
/// A stream that is closed with its owner.
using FilePtr = std::unique_ptr<std::FILE, FileCloser>;

}  // namespace lumo
