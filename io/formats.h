// The table of formats: one row each, for recognising, reading, writing and naming it.
#pragma once

#include <array>
#include <span>
#include <string_view>

#include "lumo.h"
#include "platform/file.h"

namespace lumo {

struct Format {
    ImageFormat number;
    std::array<std::string_view, 2> signatures;  ///< of a file's first bytes; none: empty
    const char* extension;
    /// Reads the file, which it takes over behind its signature; `fileName` leads to what else
    /// belongs to the image.
    int (*read)(lmImage** place, FilePtr file, const char* fileName);
    int (*write)(lmImage* image, const char* fileName);  ///< null: not written
    const char* name;                                    ///< for people
    bool isImage;                                        ///< its files are read as images
    bool isWhole;                                        ///< nothing but the file belongs to it
};

/// The format of a file with these first bytes; FormatXyz where none has such a signature.
[[nodiscard]] const Format& formatOfStart(std::span<const char> start) noexcept;

/// The first row with this extension, in any case; null for none.
[[nodiscard]] const Format* formatOfExtension(const char* extension) noexcept;

/// The row of an ::ImageFormat; null for FormatAuto and what is no format.
[[nodiscard]] const Format* formatOfNumber(int number) noexcept;

}  // namespace lumo
