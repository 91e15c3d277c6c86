// Rows are filtered one by one and compressed some at a time, while they are in the cache.
#include "io/png_image_writer.h"

#include <algorithm>
#include <cstring>

namespace lumo {
namespace {

constexpr std::size_t rowsAtOnce = std::size_t{128} << 10;     // bytes
constexpr std::size_t mostChunkData = std::size_t{512} << 10;  // bytes
constexpr std::size_t headSize = 8, checksumSize = 4;
constexpr std::size_t typeSize = 4;

void putBigEndian(std::uint8_t* to, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) *to++ = static_cast<std::uint8_t>(value >> shift);
}

}  // namespace

PngImageWriter::PngImageWriter(int width)
    : filter_(width),
      rows_(std::max(rowsAtOnce, filter_.rowSize()) + PngFilter::room),
      chunk_(headSize + mostChunkData + checksumSize) {}

bool PngImageWriter::addRow(std::FILE* file, const std::uint16_t* row) noexcept {
    if (rowsSize_ + filter_.rowSize() + PngFilter::room > rows_.size() && !compress(file, false))
        return false;
    filter_.filter(row, rows_.data() + rowsSize_);
    rowsSize_ += filter_.rowSize();
    return true;
}

bool PngImageWriter::finish(std::FILE* file) noexcept {
    return compress(file, true) && (dataSize_ == 0 || writeChunk(file));
}

/// Compresses the waiting rows and writes each chunk that becomes full.
bool PngImageWriter::compress(std::FILE* file, bool last) noexcept {
    std::span<const std::uint8_t> input(rows_.data(), rowsSize_);
    rowsSize_ = 0;
    for (;;) {
        const std::span<std::uint8_t> room(chunk_.data() + headSize + dataSize_,
                                           mostChunkData - dataSize_);
        dataSize_ += deflater_.run(input, room, last);
        if (dataSize_ < mostChunkData) return true;
        if (!writeChunk(file)) return false;
    }
}

bool PngImageWriter::writeChunk(std::FILE* file) noexcept {
    std::uint8_t* const head = chunk_.data();
    putBigEndian(head, static_cast<std::uint32_t>(dataSize_));
    std::memcpy(head + headSize - typeSize, "IDAT", typeSize);
    const std::size_t checked = typeSize + dataSize_;
    const std::uint32_t checksum = continueCrc32(0, head + headSize - typeSize, checked);
    putBigEndian(head + headSize + dataSize_, checksum);
    const std::size_t size = headSize + dataSize_ + checksumSize;
    dataSize_ = 0;
    return writeBytes(file, head, size);
}

}  // namespace lumo
