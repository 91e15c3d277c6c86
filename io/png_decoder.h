// One PNG file being decoded, by libpng but for image data that is sound and plain. Each step has
// its recovery point, at which a libpng error becomes a result.
#pragma once

#include <png.h>

#include <cstdint>
#include <span>

#include "io/png_image_reader.h"
#include "platform/file.h"

namespace lumo {

struct PngProperties {
    std::uint32_t width, height;
    std::uint8_t depth, channels, colourType;
};

/// What libpng may allocate for one file, and whether it ever could not: a failure at a text chunk
/// is only a warning to libpng.
struct PngMemory {
    std::size_t limit;
    std::size_t used = 0;
    bool failed = false;
};

class PngDecoder {
public:
    PngDecoder() = default;
    ~PngDecoder() { close(); }

    PngDecoder(const PngDecoder&) = delete;
    PngDecoder& operator=(const PngDecoder&) = delete;

    /// Takes over a file positioned behind the signature.
    /// @return 0; -8 no memory for libpng's structures
    [[nodiscard]] int open(FilePtr file) noexcept;
    /// Whether the chunks end within the file. libpng makes room for a chunk's claim before it sees
    /// that the file ends; image data it takes in pieces, so that may be cut.
    [[nodiscard]] bool holdsItsChunks() const noexcept;
    /// Reads what precedes the image data. @return 0; -11
    [[nodiscard]] int readHeader(PngProperties& properties) noexcept;
    /// Whether the file is large enough to hold the raster even at deflate's best ratio.
    [[nodiscard]] bool canHold(const PngProperties& properties) const noexcept;
    /// Pitch in nanometres; that of 72 pixels per inch if the file tells none.
    [[nodiscard]] std::uint32_t pitchX() const noexcept;
    [[nodiscard]] std::uint32_t pitchY() const noexcept;
    /// Decodes into 16-bit grey pixels, then reads the rest of the file. Memory may be lacking:
    /// std::bad_alloc
    /// @param rows  the raster's
    /// @return 0; -11; -8 if memory for a text was lacking
    [[nodiscard]] int readRows(Target raster, std::uint16_t** rows,
                               const PngProperties& properties);
    /// The text chunks before the image data and behind it, in the file's order.
    [[nodiscard]] std::span<const png_text> texts() const noexcept;
    [[nodiscard]] std::span<const png_text> lastTexts() const noexcept {
        return lastTexts_.entries;
    }
    void close() noexcept;

private:
    [[nodiscard]] bool isPlain(const PngProperties& properties) const noexcept;

    FilePtr file_;
    std::uint64_t firstChunk_ = 0;  ///< its place in the file
    PngTexts lastTexts_;            ///< those that libpng has not read
    PngMemory memory_{};
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
};

}  // namespace lumo
