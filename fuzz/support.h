// What the fuzz targets share: taking an input apart, checks that trap, files, images.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <vector>

#include "lumo_legacy.h"

namespace lumo::fuzz {

using Bytes = std::vector<std::uint8_t>;

/// Ends the process with a word on what is broken, unless the condition holds.
void require(bool holds, const char* what);

/// Takes numbers and texts from the front of a fuzzer's bytes; beyond the end everything is zero.
class Input {
public:
    Input(const std::uint8_t* data, std::size_t size) : rest_(data, size) {}

    [[nodiscard]] bool empty() const { return rest_.empty(); }
    std::uint8_t byte();
    std::uint16_t word();
    std::uint32_t longWord();
    template <class Element, std::size_t count>
    const Element& oneOf(const Element (&choices)[count]) {
        return choices[byte() % count];
    }
    /// At most `count` bytes, fewer at the end.
    Bytes bytes(std::size_t count);
    Bytes rest() { return bytes(rest_.size()); }
    /// The bytes up to the next zero, at most `longest`.
    std::string text(std::size_t longest = 4096);

private:
    std::span<const std::uint8_t> rest_;
};

/// A name in a folder of this process, which goes away with it.
[[nodiscard]] std::string fileNamed(const char* name);
void writeFile(const std::string& name, std::span<const std::uint8_t> bytes);
/// The file's bytes; none if it is missing.
[[nodiscard]] Bytes readFile(const std::string& name);

/// A little-endian number of 2 or 4 bytes; the block must hold it.
[[nodiscard]] std::uint32_t littleEndian(const Bytes& bytes, std::size_t at, std::size_t size);
void setLittleEndian(Bytes& bytes, std::size_t at, std::size_t size, std::uint32_t value);

/// What a pixel file promises and holds, by a reader of its own.
struct PixelFile {
    bool whole = false;  ///< header, and at least one pixel, and all of them
    bool headed = false;
    bool eightBit = false;
    int width = 0, height = 0;
    std::vector<std::uint16_t> pixels;  ///< those there are; as many as promised if whole

    explicit PixelFile(const Bytes& bytes);
};

/// Whether the pixel file claims more than a fuzz run should spend on it.
[[nodiscard]] bool claimsTooMuch(const Bytes& pixelFile);

/// Whether readers accept the values of a header of 101 bytes, by checks of its own.
[[nodiscard]] bool isAcceptable(const Bytes& header);

/// An image that is destroyed with the object.
struct ImageOwner {
    lmImage* image = nullptr;
    ImageOwner() = default;
    ~ImageOwner() { LumoDestroyImage(&image); }
    ImageOwner(const ImageOwner&) = delete;
    ImageOwner& operator=(const ImageOwner&) = delete;
    lmImage* operator->() const { return image; }
    [[nodiscard]] std::vector<std::uint16_t> pixels() const;
    [[nodiscard]] std::string metaData() const { return image->metaData; }
    [[nodiscard]] std::string entry(const char* section, const char* key) const;
    [[nodiscard]] Bytes extHeader() const;
};

/// Sides, raster, row pointers and metadata agree with each other.
void requireSound(const lmImage* image);

/// The same size and the same pixels.
void requireSameRaster(const ImageOwner& one, const ImageOwner& other, const char* what);

/// What a PNG file makes of metadata: the four entries with chunks of their own exist.
[[nodiscard]] std::string asPngKeeps(const std::string& metaData);

/// Each text holds every entry and line of the other.
void requireSameEntries(const std::string& one, const std::string& other, const char* what);

/// The pitch that comes back from whole pixels per metre.
[[nodiscard]] std::uint32_t asPngKeepsPitch(std::uint32_t pitch);

}  // namespace lumo::fuzz
