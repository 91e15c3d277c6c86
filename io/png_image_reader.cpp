// Chunks are read in blocks of the file, expanded some rows at a time, and unfiltered while these
// are in the cache.
#include "io/png_image_reader.h"

#include <algorithm>
#include <cstring>

#include "io/deflate.h"
#include "io/png_unfilter.h"

namespace lumo {
namespace {

constexpr std::size_t blockSize = std::size_t{128} << 10;  // bytes
constexpr std::size_t mostChunks = 1000;                   ///< of texts, or before the image data
/// libpng takes no longer ones; what comes near its limit is left to it.
constexpr std::uint32_t longestText = 7'900'000;

/// A file's bytes, in order, from blocks.
class Blocks {
public:
    Blocks(std::FILE* file, std::uint64_t from) : file_(file), at_(from), block_(blockSize) {}

    /// Up to `most` of the next bytes; none at the end of the file.
    std::span<const std::uint8_t> some(std::size_t most) {
        if (rest_.empty()) {
            rest_ = std::span(block_).first(readBytesAt(file_, at_, block_.data(), block_.size()));
            at_ += rest_.size();
        }
        const auto taken = rest_.first(std::min(most, rest_.size()));
        rest_ = rest_.subspan(taken.size());
        return taken;
    }

    [[nodiscard]] bool take(void* to, std::size_t size) {
        for (auto* place = static_cast<std::uint8_t*>(to); size > 0;) {
            const auto bytes = some(size);
            if (bytes.empty()) return false;
            std::memcpy(place, bytes.data(), bytes.size());
            place += bytes.size();
            size -= bytes.size();
        }
        return true;
    }

private:
    std::FILE* file_;
    std::uint64_t at_;
    std::vector<std::uint8_t> block_;
    std::span<const std::uint8_t> rest_;
};

/// A chunk's head, and the checksum of what has been read of it.
struct Chunk {
    std::uint32_t size, checksum;
    png_byte type[4];

    [[nodiscard]] bool is(const char* name) const {
        return std::memcmp(type, name, sizeof type) == 0;
    }
    void check(const void* bytes, std::size_t count) {
        checksum = continueCrc32(checksum, bytes, count);
    }
};

bool takeHead(Blocks& blocks, Chunk& chunk) {
    png_byte head[8];
    if (!blocks.take(head, sizeof head)) return false;
    chunk.size = png_get_uint_32(head);
    std::memcpy(chunk.type, head + 4, sizeof chunk.type);
    chunk.checksum = 0;
    chunk.check(chunk.type, sizeof chunk.type);
    return true;
}

bool endsSound(Blocks& blocks, const Chunk& chunk) {
    png_byte checksum[4];
    return blocks.take(checksum, sizeof checksum) && png_get_uint_32(checksum) == chunk.checksum;
}

/// The place of the first chunk of image data; 0 if there is none near the beginning.
std::uint64_t imageDataPlace(std::FILE* file, std::uint64_t at) {
    png_byte head[8];
    for (std::size_t i = 0; i < mostChunks; ++i) {
        if (readBytesAt(file, at, head, sizeof head) != sizeof head) return 0;
        if (std::memcmp(head + 4, "IDAT", 4) == 0) return at;
        at += sizeof head + png_get_uint_32(head) + 4;
    }
    return 0;
}

/// Compressed bytes in, rows of the raster out.
class Rows {
public:
    Rows(int depth, Target raster)
        : depth_(depth),
          raster_(raster),
          rowSize_(filteredRowSize(raster.width, depth)),
          rowsAtOnce_(static_cast<int>(blockSize / rowSize_ / 8 + 1) * 8),
          filtered_(static_cast<std::size_t>(rowsAtOnce_) * rowSize_) {}

    /// False if the stream is damaged, or holds more than the image.
    [[nodiscard]] bool take(std::span<const std::uint8_t> input) {
        for (bool more = true; more;) {
            // Behind the last row there is room for a byte, which must stay empty.
            const std::size_t room = std::max(wanted(), std::size_t{1});
            const std::size_t count =
                inflater_.run(input, std::span(filtered_).subspan(filled_, room));
            filled_ += count;
            if (inflater_.failed() || (count > 0 && wantedRows() == 0)) return false;
            if (wantedRows() > 0 && wanted() == 0 && !unfilter()) return false;
            more = count == room || (count > 0 && !input.empty());
        }
        return input.empty();
    }
    [[nodiscard]] bool complete() const { return wantedRows() == 0 && inflater_.ended(); }

private:
    [[nodiscard]] int wantedRows() const {
        return std::min(rowsAtOnce_, raster_.height - rowsDone_);
    }
    [[nodiscard]] std::size_t wanted() const {
        return static_cast<std::size_t>(wantedRows()) * rowSize_ - filled_;
    }
    bool unfilter() {
        const int count = wantedRows();
        if (!unfilterRows(filtered_.data(), depth_, raster_, rowsDone_, count)) return false;
        rowsDone_ += count;
        filled_ = 0;
        return true;
    }

    int depth_;
    Target raster_;
    std::size_t rowSize_;
    int rowsAtOnce_, rowsDone_ = 0;
    std::vector<std::uint8_t> filtered_;
    std::size_t filled_ = 0;
    Inflater inflater_;
};

bool takeImageData(Blocks& blocks, Chunk chunk, Rows& rows) {
    for (std::size_t left = chunk.size; left > 0;) {
        const auto bytes = blocks.some(left);
        if (bytes.empty()) return false;
        chunk.check(bytes.data(), bytes.size());
        if (!rows.take(bytes)) return false;
        left -= bytes.size();
    }
    return endsSound(blocks, chunk);
}

bool takeText(Blocks& blocks, Chunk chunk, std::size_t mostText, PngTexts& texts) {
    texts.size += chunk.size + 1;
    if (chunk.size > longestText || texts.size > mostText || texts.entries.size() >= mostChunks)
        return false;
    auto& block = texts.blocks.emplace_back(std::make_unique<char[]>(chunk.size + 1));
    if (!blocks.take(block.get(), chunk.size)) return false;
    chunk.check(block.get(), chunk.size);
    png_text& entry = texts.entries.emplace_back();
    entry.compression = PNG_TEXT_COMPRESSION_NONE;
    entry.key = block.get();
    const std::size_t keySize = std::strlen(entry.key);
    entry.text = entry.key + std::min<std::size_t>(keySize + 1, chunk.size);
    return endsSound(blocks, chunk);
}

/// Whether the zlib stream begins as usual: deflate with the largest window, no dictionary. libpng
/// holds a smaller window against data that reach beyond it.
bool beginsAsUsual(std::FILE* file, std::uint64_t place) {
    std::uint8_t start[2];
    return readBytesAt(file, place + 8, start, sizeof start) == sizeof start && start[0] == 0x78 &&
           (start[0] << 8 | start[1]) % 31 == 0 && (start[1] & 0x20) == 0;
}

}  // namespace

bool readImageFast(std::FILE* file, std::uint64_t firstChunk, int depth, Target raster,
                   std::size_t mostText, PngTexts& texts) {
    const std::uint64_t place = imageDataPlace(file, firstChunk);
    if (place == 0 || !beginsAsUsual(file, place)) return false;
    Blocks blocks(file, place);
    Rows rows(depth, raster);
    Chunk chunk{};
    bool sound = takeHead(blocks, chunk);
    for (; sound && chunk.is("IDAT"); sound = sound && takeHead(blocks, chunk))
        sound = chunk.size > 0 && takeImageData(blocks, chunk, rows);
    sound = sound && rows.complete();
    for (; sound && chunk.is("tEXt"); sound = sound && takeHead(blocks, chunk))
        sound = takeText(blocks, chunk, mostText, texts);
    return sound && chunk.is("IEND") && chunk.size == 0 && endsSound(blocks, chunk);
}

}  // namespace lumo
