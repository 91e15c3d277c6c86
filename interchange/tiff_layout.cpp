// What a page of a TIFF file says of its pixels, checked before any of them is touched.
#include "interchange/tiff_layout.h"

#include <algorithm>
#include <string>

#include "interchange/helper_main.h"
#include "interchange/transfer.h"

namespace lumo::interchange {

namespace {

/// Bytes of pixels that one byte of the file can hold at most: LZW's longest texts, deflate 1032.
constexpr std::uint64_t bestCompression = 2000;
/// A block may be larger than a small picture.
constexpr std::uint64_t usualBlock = 4 << 20;

struct Name {
    std::uint16_t value;
    const char* name;
};
constexpr Name compressions[] = {{2, "fax (CCITT)"},
                                 {3, "fax (group 3)"},
                                 {4, "fax (group 4)"},
                                 {6, "JPEG (old)"},
                                 {7, "JPEG"},
                                 {9, "JBIG"},
                                 {10, "JBIG colour"},
                                 {32766, "NeXT"},
                                 {32809, "ThunderScan"},
                                 {32909, "PixarLog"},
                                 {34661, "JBIG"},
                                 {34676, "LogLuv"},
                                 {34677, "LogLuv (24 bits)"},
                                 {34712, "JPEG 2000"},
                                 {34887, "LERC"},
                                 {34925, "LZMA"},
                                 {50000, "Zstandard"},
                                 {50001, "WebP"},
                                 {50002, "JPEG XL"}};
constexpr std::uint16_t takenCompressions[] = {COMPRESSION_NONE, COMPRESSION_LZW,
                                               COMPRESSION_ADOBE_DEFLATE, COMPRESSION_DEFLATE,
                                               COMPRESSION_PACKBITS};
constexpr Name colours[] = {{PHOTOMETRIC_RGB, "RGB"},           {PHOTOMETRIC_PALETTE, "palette"},
                            {PHOTOMETRIC_MASK, "mask"},         {PHOTOMETRIC_SEPARATED, "CMYK"},
                            {PHOTOMETRIC_YCBCR, "YCbCr"},       {PHOTOMETRIC_CIELAB, "CIE L*a*b*"},
                            {PHOTOMETRIC_ICCLAB, "ICC L*a*b*"}, {PHOTOMETRIC_ITULAB, "ITU L*a*b*"},
                            {PHOTOMETRIC_CFA, "filter array"}};

template <std::size_t count>
std::string nameOf(const Name (&names)[count], std::uint16_t value) {
    for (const Name& entry : names)
        if (entry.value == value) return entry.name;
    return "number " + std::to_string(value);
}

/// Grey, and which way round.
bool checkedMinIsWhite(const TiffFile& file) {
    std::uint16_t photometric = PHOTOMETRIC_MINISBLACK;
    TIFFGetField(file.get(), TIFFTAG_PHOTOMETRIC, &photometric);
    const auto samples = file.number<std::uint16_t>(TIFFTAG_SAMPLESPERPIXEL, 1);
    if (photometric != PHOTOMETRIC_MINISBLACK && photometric != PHOTOMETRIC_MINISWHITE)
        throw Refusal("colour (" + nameOf(colours, photometric) + "); lumo takes grey images");
    if (samples != 1)
        throw Refusal(std::to_string(samples) +
                      " samples a pixel (alpha, or channels); lumo takes grey images");
    return photometric == PHOTOMETRIC_MINISWHITE;
}

/// Numbers of 8 to 16 bits; whether they are signed.
bool checkedSign(const TiffFile& file, std::uint16_t bits) {
    const auto format = file.number<std::uint16_t>(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    const std::string size = std::to_string(bits);
    if (format == SAMPLEFORMAT_IEEEFP)
        throw Refusal(size + "-bit floating point; values would have to be scaled");
    if (format == SAMPLEFORMAT_COMPLEXINT || format == SAMPLEFORMAT_COMPLEXIEEEFP)
        throw Refusal("complex numbers; lumo takes grey images");
    if (bits > 16) throw Refusal(size + " bits a pixel; lumo holds 16");
    if (bits < 8)
        throw Refusal(size + (bits == 1 ? " bit" : " bits") + " a pixel; lumo takes 8 to 16");
    if (format == SAMPLEFORMAT_INT && bits != 16)
        throw Refusal("signed values of " + size + " bits; lumo takes those of 16");
    return format == SAMPLEFORMAT_INT;
}

void checkEncoding(const TiffFile& file) {
    const auto compression = file.number<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    if (std::ranges::find(takenCompressions, compression) == std::end(takenCompressions))
        throw Refusal("compressed as " + nameOf(compressions, compression) +
                      ", which is not supported");
    const auto orientation = file.number<std::uint16_t>(TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    if (orientation != ORIENTATION_TOPLEFT)
        throw Refusal("stored turned (orientation " + std::to_string(orientation) + ')');
}

void readSides(const TiffFile& file, TiffLayout& layout) {
    if (TIFFGetField(file.get(), TIFFTAG_IMAGEWIDTH, &layout.width) != 1 ||
        TIFFGetField(file.get(), TIFFTAG_IMAGELENGTH, &layout.height) != 1 || layout.width == 0 ||
        layout.height == 0)
        throw Refusal("damaged (no size)");
    if (layout.width > largestSide || layout.height > largestSide)
        throw Refusal(std::to_string(layout.width) + " x " + std::to_string(layout.height) +
                      " pixels; lumo holds " + std::to_string(largestSide) + " a side");
    if (layout.rasterBytes() >= rasterLimit)
        throw Refusal(std::to_string(layout.width) + " x " + std::to_string(layout.height) +
                      " pixels; lumo holds less than 4 GiB");
}

void readBlocks(const TiffFile& file, TiffLayout& layout) {
    TIFF* const tiff = file.get();
    layout.tiled = TIFFIsTiled(tiff) != 0;
    layout.blockWidth = layout.width;
    if (layout.tiled) {
        layout.blockWidth = file.number<std::uint32_t>(TIFFTAG_TILEWIDTH, 0);
        layout.blockHeight = file.number<std::uint32_t>(TIFFTAG_TILELENGTH, 0);
    } else {
        layout.blockHeight = std::min(
            file.number<std::uint32_t>(TIFFTAG_ROWSPERSTRIP, layout.height), layout.height);
    }
    if (layout.blockWidth == 0 || layout.blockHeight == 0)
        throw Refusal("damaged (strips or tiles without size)");
    layout.rowBytes = (std::uint64_t{layout.blockWidth} * layout.bits + 7) / 8;
    layout.blockBytes = layout.rowBytes * layout.blockHeight;
    if (layout.blockBytes > std::max(2 * layout.rasterBytes(), usualBlock))
        throw Refusal("damaged (tiles of " + std::to_string(layout.blockBytes) +
                      " bytes in a picture of " + std::to_string(layout.rasterBytes()) + ')');
}

/// Bytes of packed pixels that lie within the file, and those that there should be.
void checkExtent(const TiffFile& file, const TiffLayout& layout) {
    TIFF* const tiff = file.get();
    const std::uint32_t count = layout.tiled ? TIFFNumberOfTiles(tiff) : TIFFNumberOfStrips(tiff);
    std::uint64_t present = 0, expected = 0;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint64_t place = TIFFGetStrileOffset(tiff, i);
        const std::uint64_t needed = layout.compressed ? TIFFGetStrileByteCount(tiff, i)
                                     : layout.tiled    ? layout.blockBytes
                                                       : layout.rowBytes * layout.rowsIn(i);
        const std::uint64_t left = place == 0 || place > file.size() ? 0 : file.size() - place;
        expected += needed;
        present += std::min(needed, left);
    }
    if (present < expected)
        throw Refusal("ends early: " + std::to_string(present) + " of " + std::to_string(expected) +
                      " bytes of pixels");
    if (layout.rasterBytes() / bestCompression > file.size())
        throw Refusal("damaged (" + std::to_string(layout.width) + " x " +
                      std::to_string(layout.height) + " pixels in " + std::to_string(file.size()) +
                      " bytes)");
}

}  // namespace

std::uint32_t TiffLayout::rowsIn(std::uint32_t strip) const {
    const std::uint64_t above = std::uint64_t{strip} * blockHeight;
    return above >= height
               ? 0
               : static_cast<std::uint32_t>(std::min<std::uint64_t>(blockHeight, height - above));
}

TiffLayout checkedLayout(const TiffFile& file) {
    TiffLayout layout;
    layout.minIsWhite = checkedMinIsWhite(file);
    layout.bits = file.number<std::uint16_t>(TIFFTAG_BITSPERSAMPLE, 1);
    layout.isSigned = checkedSign(file, layout.bits);
    checkEncoding(file);
    layout.compressed =
        file.number<std::uint16_t>(TIFFTAG_COMPRESSION, COMPRESSION_NONE) != COMPRESSION_NONE;
    readSides(file, layout);
    readBlocks(file, layout);
    checkExtent(file, layout);
    return layout;
}

}  // namespace lumo::interchange
