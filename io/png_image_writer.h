// The image data of a PNG file on the fast path: rows in, IDAT chunks out.
#pragma once

#include <cstdint>
#include <vector>

#include "io/deflate.h"
#include "io/png_filter.h"
#include "platform/file.h"

namespace lumo {

class PngImageWriter {
public:
    explicit PngImageWriter(int width);

    /// Takes the next row of `width` pixels; false when the file cannot be written.
    [[nodiscard]] bool addRow(std::FILE* file, const std::uint16_t* row) noexcept;
    /// Writes what is still held; no row comes after it.
    [[nodiscard]] bool finish(std::FILE* file) noexcept;

private:
    [[nodiscard]] bool compress(std::FILE* file, bool last) noexcept;
    [[nodiscard]] bool writeChunk(std::FILE* file) noexcept;

    PngFilter filter_;
    Deflater deflater_;
    std::vector<std::uint8_t> rows_;   ///< filtered, waiting
    std::vector<std::uint8_t> chunk_;  ///< the next one, with its head and room for its checksum
    std::size_t rowsSize_ = 0, dataSize_ = 0;
};

}  // namespace lumo
