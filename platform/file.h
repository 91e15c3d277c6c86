// Files: owned streams that are closed on every path, and whole-block reads and writes past the
// stream's buffer. Do not mix these with buffered calls on the same stream.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>

#include "platform/file_open.h"

namespace lumo {

/// File names are handled up to this length; a longer one cannot be opened.
constexpr std::size_t longestFileName = 1023;

/// Opens a file; empty when it cannot, or the name is null or too long.
[[nodiscard]] FilePtr openFile(const char* name, const char* mode) noexcept;

/// Opens a file for reading as openFile(), but nothing that is no file, such as a pipe: opening
/// that might wait for a writer.
[[nodiscard]] FilePtr openRegularFile(const char* name) noexcept;

/// A stream for reading from a copy of an open descriptor, which stays the caller's; empty when it
/// cannot be read, or is a folder.
[[nodiscard]] FilePtr openCopy(int descriptor) noexcept;

/// Reads up to `size` bytes; fewer at the end of the file or after an error.
[[nodiscard]] std::size_t readBytes(std::FILE* file, void* target, std::size_t size) noexcept;

/// Reads at a position of the file without moving its own; otherwise as readBytes().
[[nodiscard]] std::size_t readBytesAt(std::FILE* file, std::uint64_t position, void* target,
                                      std::size_t size) noexcept;

/// Positions the stream, in bytes from the start; false where it cannot (a pipe).
[[nodiscard]] bool seekTo(std::FILE* file, std::uint64_t offset) noexcept;

/// Bytes from the start of the file to the stream's position; 0 where there is none (a pipe).
[[nodiscard]] std::uint64_t positionOf(std::FILE* file) noexcept;

/// Writes all bytes or returns false.
[[nodiscard]] bool writeBytes(std::FILE* file, const void* source, std::size_t size) noexcept;

/// Closes a written file; false if what it still held could not be written.
[[nodiscard]] bool closeWritten(FilePtr file) noexcept;

/// Removes a file, never a folder; false when it cannot, or the name is null or too long.
[[nodiscard]] bool removeFile(const char* name) noexcept;

/// Size of a regular file; nothing for a pipe or device.
[[nodiscard]] std::optional<std::uint64_t> fileSize(std::FILE* file) noexcept;

}  // namespace lumo
