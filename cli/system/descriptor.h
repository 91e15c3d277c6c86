// Files by their descriptors: opened only if they are what is expected, read from any place.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "cli/system/input_file.h"

namespace lumo::cli {

/// Opens a regular file for reading, without waiting for the other end of what is none; not valid,
/// and errno set, if there is no such file (EINVAL: it is another kind of file).
[[nodiscard]] Descriptor openRegular(const std::string& file);
/// Creates a file for writing and reading; not valid, and errno set, after a failure.
[[nodiscard]] Descriptor createFile(const std::string& file, unsigned mode = 0666);
/// Size in bytes of an open file.
[[nodiscard]] std::uint64_t sizeOf(const Descriptor& file);
/// Reads from a place up to the count or the end; throws std::system_error.
std::size_t readAt(const Descriptor& file, void* to, std::size_t count, std::uint64_t place);
/// Writes all bytes; throws std::system_error.
void writeAll(const Descriptor& file, const void* from, std::size_t count);

}  // namespace lumo::cli
