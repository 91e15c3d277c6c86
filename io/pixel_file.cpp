// Header fields byte by byte; 16-bit pixels in one read, 8-bit codes through a buffer of rows.
#include "io/pixel_file.h"

#include <algorithm>
#include <bit>

#include "frame/bytes.h"
#include "image/depth.h"
#include "lumo.h"

namespace lumo {
namespace {

// Pixels go between file and raster as they lie in memory.
static_assert(std::endian::native == std::endian::little);

constexpr std::uint16_t marker8First = 65535, marker8Second = 0;
constexpr int bufferSize = 64 * 1024;

}  // namespace

bool readHeader(std::FILE* file, bool eightBit, PixelFileHeader& header) noexcept {
    std::array<std::uint8_t, header8Size> bytes;
    if (readBytes(file, bytes.data(), header16Size) < header16Size) return false;
    ByteReader start(bytes);
    start.take(header.width);
    start.take(header.height);
    header.eightBit = eightBit || (header.width == marker8First && header.height == marker8Second);
    if (!header.eightBit) return true;

    constexpr std::size_t restSize = header8Size - header16Size;
    if (readBytes(file, bytes.data(), restSize) < restSize) return false;
    ByteReader rest(bytes);
    rest.take(header.width);
    rest.take(header.height);
    rest.take(header.whiteLevel);
    return true;
}

std::array<std::uint8_t, header16Size> header16(int width, int height) noexcept {
    std::array<std::uint8_t, header16Size> bytes;
    ByteWriter writer(bytes);
    writer.put(static_cast<std::uint16_t>(width));
    writer.put(static_cast<std::uint16_t>(height));
    return bytes;
}

std::array<std::uint8_t, header8Size> header8(int width, int height,
                                              std::uint16_t whiteLevel) noexcept {
    std::array<std::uint8_t, header8Size> bytes{};
    ByteWriter writer(bytes);
    writer.put(marker8First);
    writer.put(marker8Second);
    writer.put(static_cast<std::uint16_t>(width));
    writer.put(static_cast<std::uint16_t>(height));
    writer.put(whiteLevel);
    return bytes;
}

int readPixels16(std::FILE* file, Target raster) noexcept {
    const std::size_t size = raster.count() * sizeof *raster.pixels;
    if (size == 0 || readBytes(file, raster.pixels, size) < size) return LumoErrorImage;
    return LumoOk;
}

Pixel8Reader::Pixel8Reader(int width) noexcept
    : rowsAtOnce_(std::max(1, bufferSize / std::max(1, width))),
      buffer_(static_cast<std::uint8_t*>(std::malloc(
          static_cast<std::size_t>(rowsAtOnce_) * std::max(1U, static_cast<unsigned>(width))))) {}

int Pixel8Reader::read(std::FILE* file, std::uint16_t whiteLevel, Target raster) noexcept {
    const WideningTable table(whiteLevel);
    const auto width = static_cast<std::size_t>(raster.width);
    for (int y = 0; y < raster.height; y += rowsAtOnce_) {
        const auto rows = static_cast<std::size_t>(std::min(rowsAtOnce_, raster.height - y));
        const std::size_t count = readBytes(file, buffer_.get(), rows * width);
        const std::size_t wholeRows = width > 0 ? count / width : rows;
        table.widen(buffer_.get(), raster.row(y), wholeRows * width);
        if (wholeRows < rows) return LumoErrorImage;
    }
    return LumoOk;
}

}  // namespace lumo
