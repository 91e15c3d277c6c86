// Formats that the library does not read, so that a file can be called by its name.
#pragma once

#include <span>

namespace lumo {

/// Bytes at the start of a file that are enough to know it.
constexpr std::size_t longestForeignStart = 132;

/// A name for people of the format that a file's first bytes show; the empty text for those that
/// the library reads and for what is not known.
[[nodiscard]] const char* foreignFormat(std::span<const char> start) noexcept;

}  // namespace lumo
