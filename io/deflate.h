// The fast deflate and inflate library (ISA-L) behind PNG's image data: zlib streams, piece by
// piece, and CRC-32. A build without the library has neither; libpng does all the work then.
#pragma once

#include <cstdint>
#include <memory>
#include <span>

namespace lumo {

/// Whether this build has the library, and no test does without it at present.
[[nodiscard]] bool hasFastDeflate() noexcept;

/// Leaves all PNG files to libpng while alive. For tests.
class WithoutFastDeflate {
public:
    WithoutFastDeflate() noexcept;
    ~WithoutFastDeflate();
    WithoutFastDeflate(const WithoutFastDeflate&) = delete;
    WithoutFastDeflate& operator=(const WithoutFastDeflate&) = delete;
};

/// The levels of compression that the library stands in for; 0 stores, and above these zlib gains
/// the last per cent.
constexpr int firstFastLevel = 1, lastFastLevel = 6;

/// CRC-32 as PNG has it, of more bytes behind those of `crc` (0 at first).
[[nodiscard]] std::uint32_t continueCrc32(std::uint32_t crc, const void* bytes,
                                          std::size_t size) noexcept;

/// One zlib stream being written.
class Deflater {
public:
    Deflater();
    ~Deflater();
    Deflater(const Deflater&) = delete;
    Deflater& operator=(const Deflater&) = delete;

    /// Compresses from the front of `input` until it or the room ends.
    /// @param last   nothing comes behind this input
    /// @return the bytes written; with all input taken and room left, there are no more yet
    [[nodiscard]] std::size_t run(std::span<const std::uint8_t>& input,
                                  std::span<std::uint8_t> room, bool last) noexcept;

private:
    struct Stream;
    std::unique_ptr<Stream> stream_;
};

/// One zlib stream being read; stricter than zlib nowhere, laxer nowhere.
class Inflater {
public:
    Inflater();
    ~Inflater();
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    /// Expands from the front of `input` until it, the room or the stream ends.
    /// @return the bytes written
    [[nodiscard]] std::size_t run(std::span<const std::uint8_t>& input,
                                  std::span<std::uint8_t> room) noexcept;
    [[nodiscard]] bool failed() const noexcept { return failed_; }
    /// Whether the stream has ended, its checksum right.
    [[nodiscard]] bool ended() const noexcept;

private:
    struct Stream;
    std::unique_ptr<Stream> stream_;
    bool failed_ = false;
};

}  // namespace lumo
