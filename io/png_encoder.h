// One PNG file being written by libpng, its image data by a faster library where the compression
// level allows it. Each step has its recovery point, at which a libpng error becomes a result.
#pragma once

#include <png.h>

#include <optional>

#include "image/png_write_state.h"
#include "io/png_image_writer.h"
#include "io/png_support.h"
#include "lumo.h"
#include "platform/file.h"

namespace lumo {

/// The texts of the entries that have chunks of their own.
struct ImageTexts {
    explicit ImageTexts(const lmImage& image);
    char values[std::size(imageKeywords)][imageTextSize];
};

class PngWrite final : public PngWriteState {
public:
    explicit PngWrite(const lmImage& image) : width_(image.width), height_(image.height) {}
    /// Abandons what is not complete: the file stays as far as it was written.
    ~PngWrite() override;

    /// Creates the file and libpng's structures. @return 0; -16
    [[nodiscard]] int open(const char* fileName) noexcept;
    /// Writes everything up to the image data. @return 0; -50 for a pitch that pHYs cannot hold;
    /// -16
    [[nodiscard]] int writeHeader(const lmImage& image, ImageTexts& texts, int level) noexcept;
    /// Makes the rows ready to be taken. @return 0; -16. Memory may be lacking: std::bad_alloc
    [[nodiscard]] int beginRows(int level);
    /// Whether the image still has the size that the write began with, and nothing failed.
    [[nodiscard]] bool goesOn(const lmImage& image) const noexcept;
    [[nodiscard]] int rowsToCome() const noexcept { return height_ - rowsWritten_; }
    /// @return 0; -16
    [[nodiscard]] int writeRows(std::uint16_t* const* rows, int count) noexcept;
    /// Adds the metadata, completes and closes the file. @return 0; -16 also if rows are missing
    [[nodiscard]] int complete(const lmImage& image) noexcept;
    /// Hands nothing more to libpng.
    void kill() noexcept { dead_ = true; }

private:
    [[nodiscard]] int writeFastRows(std::uint16_t* const* rows, int count) noexcept;
    [[nodiscard]] int writeEnd(char* metaData) noexcept;
    [[nodiscard]] int writeFastEnd(std::FILE* file, const char* metaData) noexcept;

    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    FilePtr file_;
    std::optional<PngImageWriter> fast_;  ///< none: libpng compresses
    int width_, height_;
    int rowsWritten_ = 0;
    bool dead_ = false;
};

}  // namespace lumo
