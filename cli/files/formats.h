// The kinds of files that begin in a way that can be recognised: those that can be read, and common
// others, so that a refusal can name them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "lumo.h"

namespace lumo::cli {

/// A pixel file of XYZ, as its first bytes describe it.
struct XyzLayout {
    std::uint32_t width, height;
    bool eightBit;
    std::uint64_t size;  ///< bytes of the whole file
};

/// Nothing if the bytes do not hold a header.
[[nodiscard]] std::optional<XyzLayout> xyzLayout(std::string_view start);

/// The library's format of a file that begins so: XYZ is what has no signature.
[[nodiscard]] ImageFormat formatOf(std::string_view start);

/// A format's name for people.
[[nodiscard]] const char* nameOf(ImageFormat format);

/// The name of another program's format, or null for bytes that say nothing.
[[nodiscard]] const char* foreignFormat(std::string_view start);

/// Bytes of a file that its recognition takes.
constexpr std::size_t recognisedBytes = 132;

/// Whether a name ends as those of pixel files do, in any case.
[[nodiscard]] bool isImageName(const std::string& name);

}  // namespace lumo::cli
