// The pixels of a TIFF page as a raster of 16-bit values.
#include "interchange/tiff_pixels.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "interchange/helper_main.h"

namespace lumo::interchange {

namespace {

void requireBytes(const TiffFile& file, tmsize_t got, std::uint64_t expected) {
    if (got < 0 || static_cast<std::uint64_t>(got) < expected) file.refuseAsDamaged();
}

void readStrips(const TiffFile& file, const TiffLayout& layout, std::uint16_t* raster) {
    const bool direct = layout.bits == 16;
    std::vector<std::uint8_t> strip(direct ? 0 : layout.blockBytes);
    const std::uint32_t strips = TIFFNumberOfStrips(file.get());
    std::uint32_t top = 0;
    for (std::uint32_t i = 0; i < strips && top < layout.height; ++i) {
        const std::uint32_t rows = layout.rowsIn(i);
        const std::uint64_t bytes = layout.rowBytes * rows;
        std::uint16_t* const to = raster + std::size_t{top} * layout.width;
        void* const place = direct ? static_cast<void*>(to) : strip.data();
        requireBytes(file, TIFFReadEncodedStrip(file.get(), i, place, static_cast<tmsize_t>(bytes)),
                     bytes);
        for (std::uint32_t y = 0; y < rows && !direct; ++y)
            unpackRow(strip.data() + y * layout.rowBytes, layout.bits, layout.width,
                      to + std::size_t{y} * layout.width);
        top += rows;
    }
    if (top < layout.height) file.refuseAsDamaged();
}

void readTiles(const TiffFile& file, const TiffLayout& layout, std::uint16_t* raster) {
    std::vector<std::uint8_t> tile(layout.blockBytes);
    for (std::uint32_t top = 0; top < layout.height; top += layout.blockHeight) {
        for (std::uint32_t left = 0; left < layout.width; left += layout.blockWidth) {
            const std::uint32_t i = TIFFComputeTile(file.get(), left, top, 0, 0);
            requireBytes(
                file,
                TIFFReadEncodedTile(file.get(), i, tile.data(), static_cast<tmsize_t>(tile.size())),
                tile.size());
            const std::uint32_t rows = std::min(layout.blockHeight, layout.height - top);
            const std::uint32_t columns = std::min(layout.blockWidth, layout.width - left);
            for (std::uint32_t y = 0; y < rows; ++y)
                unpackRow(tile.data() + y * layout.rowBytes, layout.bits, columns,
                          raster + std::size_t{top + y} * layout.width + left);
        }
    }
}

}  // namespace

void unpackRow(const std::uint8_t* from, std::uint16_t bits, std::size_t count, std::uint16_t* to) {
    if (bits == 16) {
        std::memcpy(to, from, count * sizeof *to);
        return;
    }
    if (bits == 8) {
        std::copy_n(from, count, to);
        return;
    }
    std::uint32_t held = 0, heldBits = 0;
    for (std::size_t i = 0; i < count; ++i) {
        for (; heldBits < bits; heldBits += 8) held = held << 8 | *from++;
        heldBits -= bits;
        to[i] = static_cast<std::uint16_t>(held >> heldBits);
        held &= (1U << heldBits) - 1;
    }
}

void readTiffPixels(const TiffFile& file, const TiffLayout& layout, std::uint16_t* raster) {
    if (layout.tiled)
        readTiles(file, layout, raster);
    else
        readStrips(file, layout, raster);
}

}  // namespace lumo::interchange
