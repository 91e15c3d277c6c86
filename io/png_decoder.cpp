// Decoding of PNG files to 16-bit grey rows.
//
// Functions that set a recovery point (setjmp) hold only plain pointers that do not change after
// it.
#include "io/png_decoder.h"

#include <cstring>

#include "io/deflate.h"
#include "io/png_support.h"
#include "lumo.h"
#include "platform/log.h"
#include "platform/memory.h"

namespace lumo {
namespace {

constexpr std::uint32_t defaultPitch = 352778;  ///< 25.4 mm / 72
constexpr std::uint64_t bestDeflateRatio = 1032;

/// Memory for any file, and as much again as a multiple of the file's size: compressed texts may
/// not grow without bounds.
constexpr std::size_t memoryForAnyFile = std::size_t{64} << 20;
constexpr std::size_t memoryPerByte = 16;

void* allocate(png_structp png, png_alloc_size_t size) {
    auto* memory = static_cast<PngMemory*>(png_get_mem_ptr(png));
    void* block = size <= memory->limit - memory->used ? std::malloc(size) : nullptr;
    // What the allocator adds in whole blocks is counted too, as freeing finds no other size.
    if (block != nullptr) memory->used += blockSize(block);
    memory->used = std::min(memory->used, memory->limit);
    memory->failed |= block == nullptr;
    return block;
}

void release(png_structp png, void* block) {
    auto* memory = static_cast<PngMemory*>(png_get_mem_ptr(png));
    memory->used -= std::min(memory->used, blockSize(block));
    std::free(block);
}

int libpngFailed() {
    slog(3, "libpng error");
    return LumoErrorFile;
}

/// Widens 8-bit samples in place to 16-bit ones of 256 times the value, from the end of the row.
void WidenRow8To16(png_structp, png_row_infop row, png_bytep bytes) {
    for (std::size_t i = row->width; i-- > 0;) {
        bytes[2 * i + 1] = bytes[i];
        bytes[2 * i] = 0;
    }
}

/// Grey values come from the samples alone: libpng would let these chunks change its grey weights
/// or compute in linear light.
void ignoreColourSpace(png_structp png) {
    constexpr png_byte chunks[] = "cHRM\0gAMA\0iCCP\0sRGB";
    png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_NEVER, chunks, 4);
}

/// Asks libpng for 16-bit grey samples without alpha.
void requestConversions(png_structp png, int depth, int colourType) {
    const bool palette = colourType == PNG_COLOR_TYPE_PALETTE;
    if (palette) png_set_palette_to_rgb(png);
    if (depth < 8 && !palette) png_set_expand_gray_1_2_4_to_8(png);
    // A transparent palette becomes an alpha channel.
    if (palette || (colourType & PNG_COLOR_MASK_ALPHA) != 0) png_set_strip_alpha(png);
    if ((colourType & PNG_COLOR_MASK_COLOR) != 0)
        png_set_rgb_to_gray_fixed(png, PNG_ERROR_ACTION_WARN, PNG_RGB_TO_GRAY_DEFAULT,
                                  PNG_RGB_TO_GRAY_DEFAULT);
    if (depth == 16) {
        png_set_swap(png);
    } else {
        png_set_read_user_transform_fn(png, WidenRow8To16);
        png_set_user_transform_info(png, nullptr, 16, 1);
    }
}

/// Decodes all rows and the chunks behind them into `info`.
int decode(png_structp png, png_infop info, png_bytepp rows, const PngProperties* properties) {
    if (setjmp(png_jmpbuf(png)) != 0) return libpngFailed();
    requestConversions(png, properties->depth, properties->colourType);
    png_set_rows(png, info, rows);
    png_set_interlace_handling(png);
    png_read_update_info(png, info);
    if (png_get_rowbytes(png, info) != std::size_t{properties->width} * sizeof(std::uint16_t))
        png_error(png, "rows of an unexpected size");
    png_read_image(png, rows);
    png_read_end(png, info);
    return LumoOk;
}

/// libpng adds them one by one to a list that it copies: more would take seconds.
constexpr png_uint_32 mostTextChunks = 20000;

std::uint32_t pitchOf(std::uint32_t pixelsPerMetre) {
    return pixelsPerMetre == 0 ? defaultPitch : nanometresPerMetre / pixelsPerMetre;
}

struct Resolution {
    png_uint_32 x = 0, y = 0;  ///< pixels per metre; 0 if the file does not tell
};

Resolution resolutionOf(png_const_structp png, png_infop info) {
    Resolution resolution;
    int unit = PNG_RESOLUTION_UNKNOWN;
    const bool told = png_get_pHYs(png, info, &resolution.x, &resolution.y, &unit) != 0 &&
                      unit == PNG_RESOLUTION_METER && resolution.x != 0 && resolution.y != 0;
    return told ? resolution : Resolution{};
}

}  // namespace

int PngDecoder::open(FilePtr file) noexcept {
    file_ = std::move(file);
    firstChunk_ = positionOf(file_.get());
    memory_.limit = memoryForAnyFile + memoryPerByte * fileSize(file_.get()).value_or(0);
    png_ = png_create_read_struct_2(PNG_LIBPNG_VER_STRING, nullptr, onPngError, onPngWarning,
                                    &memory_, allocate, release);
    if (png_ == nullptr) return LumoErrorMemory;
    info_ = png_create_info_struct(png_);
    return info_ != nullptr ? LumoOk : LumoErrorMemory;
}

bool PngDecoder::holdsItsChunks() const noexcept {
    constexpr std::uint64_t checksumSize = 4;
    png_byte header[8];  // length and type
    const std::optional<std::uint64_t> size = fileSize(file_.get());
    if (!size) return true;
    std::uint64_t at = firstChunk_;
    while (readBytesAt(file_.get(), at, header, sizeof header) == sizeof header) {
        at += sizeof header + png_get_uint_32(header) + checksumSize;
        if (std::memcmp(header + 4, "IEND", 4) == 0) return true;
        if (at > *size) return std::memcmp(header + 4, "IDAT", 4) == 0;
    }
    return true;
}

int PngDecoder::readHeader(PngProperties& properties) noexcept {
    if (setjmp(png_jmpbuf(png_)) != 0) return libpngFailed();
    png_init_io(png_, file_.get());
    png_set_sig_bytes(png_, 8);  // read already
    ignoreColourSpace(png_);
    // By default a damaged text or pitch would be left out, and the file look whole.
    png_set_crc_action(png_, PNG_CRC_ERROR_QUIT, PNG_CRC_ERROR_QUIT);
    png_set_chunk_cache_max(png_, mostTextChunks);
    // Our own limit is lower and answered with its own code.
    png_set_user_limits(png_, PNG_UINT_31_MAX, PNG_UINT_31_MAX);
    png_read_info(png_, info_);
    properties.width = png_get_image_width(png_, info_);
    properties.height = png_get_image_height(png_, info_);
    properties.depth = png_get_bit_depth(png_, info_);
    properties.channels = png_get_channels(png_, info_);
    properties.colourType = png_get_color_type(png_, info_);
    return LumoOk;
}

bool PngDecoder::canHold(const PngProperties& properties) const noexcept {
    const std::optional<std::uint64_t> size = fileSize(file_.get());
    if (!size) return true;
    const std::uint64_t bitsPerPixel = std::uint64_t{properties.depth} * properties.channels;
    const std::uint64_t pixels = std::uint64_t{properties.width} * properties.height;
    return pixels * bitsPerPixel / 8 <= *size * bestDeflateRatio;
}

std::uint32_t PngDecoder::pitchX() const noexcept {
    return pitchOf(resolutionOf(png_, info_).x);
}

std::uint32_t PngDecoder::pitchY() const noexcept {
    return pitchOf(resolutionOf(png_, info_).y);
}

/// Grey samples that need no conversion but of their size and byte order, in a file that can be
/// read at any place.
bool PngDecoder::isPlain(const PngProperties& properties) const noexcept {
    return hasFastDeflate() && properties.colourType == PNG_COLOR_TYPE_GRAY &&
           properties.depth >= 8 && png_get_interlace_type(png_, info_) == PNG_INTERLACE_NONE &&
           fileSize(file_.get());
}

int PngDecoder::readRows(Target raster, std::uint16_t** rows, const PngProperties& properties) {
    if (isPlain(properties) && readImageFast(file_.get(), firstChunk_, properties.depth, raster,
                                             memory_.limit - memory_.used, lastTexts_))
        return memory_.failed ? LumoErrorMemory : LumoOk;
    lastTexts_ = {};
    const int code = decode(png_, info_, reinterpret_cast<png_bytepp>(rows), &properties);
    return code == LumoOk && memory_.failed ? LumoErrorMemory : code;
}

std::span<const png_text> PngDecoder::texts() const noexcept {
    png_textp entries = nullptr;
    int count = 0;
    png_get_text(png_, info_, &entries, &count);
    return {entries, static_cast<std::size_t>(count)};
}

void PngDecoder::close() noexcept {
    file_.reset();
    if (png_ != nullptr) png_destroy_read_struct(&png_, &info_, nullptr);
}

}  // namespace lumo
