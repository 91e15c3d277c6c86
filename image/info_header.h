// The fixed header of an XYZ image's information file, as bytes and as a record.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>
#include <span>

#include "lumo_legacy.h"

namespace lumo {

constexpr std::size_t infoHeaderSize = 101;  ///< bytes of the fixed header
constexpr int infoHeaderItems = 69;          ///< its numbers and characters, counted one by one

/// Fills the record from the bytes, in file order, until they end.
/// @return the number of items read; infoHeaderItems for a whole header
[[nodiscard]] int decodeInfoHeader(std::span<const std::uint8_t> bytes, ImageInfo& info);

[[nodiscard]] std::array<std::uint8_t, infoHeaderSize> encodeInfoHeader(const ImageInfo& info);

/// Reads the fixed header from the start of a file; result as decodeInfoHeader().
[[nodiscard]] int readInfoHeader(std::FILE* file, ImageInfo& info);

/// Whether all values lie in the ranges that readers accept.
[[nodiscard]] bool isValid(const ImageInfo& info);

}  // namespace lumo
