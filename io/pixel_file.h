// The pixel file of the XYZ format, shared with the older raw files: 16-bit pixels behind a header
// of 4 bytes, or 8-bit codes behind one of 256.
#pragma once

#include <array>
#include <cstdint>
#include <cstdio>

#include "image/view.h"
#include "platform/file.h"
#include "platform/memory.h"

namespace lumo {

struct PixelFileHeader {
    std::uint16_t width = 0, height = 0;
    bool eightBit = false;
    std::uint16_t whiteLevel = 0;  ///< 8-bit form: the 16-bit level that the codes span
};

constexpr std::size_t header16Size = 4;
constexpr std::size_t header8Size = 256;

/// Reads the header; `eightBit` expects the 8-bit form whatever the first bytes are.
/// @return false for a file shorter than its header
[[nodiscard]] bool readHeader(std::FILE* file, bool eightBit, PixelFileHeader& header) noexcept;

[[nodiscard]] std::array<std::uint8_t, header16Size> header16(int width, int height) noexcept;
[[nodiscard]] std::array<std::uint8_t, header8Size> header8(int width, int height,
                                                            std::uint16_t whiteLevel) noexcept;

/// Reads 16-bit pixels straight into the raster.
/// @return 0; -50 for zero pixels or too few, those there were being in the raster
[[nodiscard]] int readPixels16(std::FILE* file, Target raster) noexcept;

/// Reads and widens 8-bit codes through a buffer of whole rows.
class Pixel8Reader {
public:
    explicit Pixel8Reader(int width) noexcept;
    [[nodiscard]] bool hasMemory() const { return buffer_ != nullptr; }
    /// @return 0; -50 for too few pixels, the whole rows there were being in the raster
    [[nodiscard]] int read(std::FILE* file, std::uint16_t whiteLevel, Target raster) noexcept;

private:
    int rowsAtOnce_;
    MallocPtr<std::uint8_t> buffer_;
};

}  // namespace lumo
