// libpng's calls in the order of the file's chunks, and what ends a write early.
//
// Functions that set a recovery point (setjmp) hold only plain values that do not change after it.
#include "io/png_encoder.h"

#include <cstring>

#include "frame/ini2.h"
#include "frame/written_file.h"
#include "platform/write_signals.h"

namespace lumo {
namespace {

constexpr char metaDataKeyword[] = "Image_X";

void setText(png_textp entry, const char* keyword, char* text) {
    *entry = {};
    entry->compression = PNG_TEXT_COMPRESSION_NONE;
    entry->key = const_cast<char*>(keyword);
    entry->text = text;
}

std::uint32_t pixelsPerMetre(std::uint32_t pitch) {
    return pitch == 0 ? 0 : nanometresPerMetre / pitch;
}

}  // namespace

ImageTexts::ImageTexts(const lmImage& image) {
    ini2 store(image.metaData, image.metaSize);
    for (std::size_t i = 0; i < std::size(imageKeywords); ++i)
        store.get("Image", imageKeywords[i], values[i], nullptr);
}

PngWrite::~PngWrite() {
    const WriteSignalGuard guard;
    png_destroy_write_struct(&png_, &info_);
    file_.reset();
}

int PngWrite::open(const char* fileName) noexcept {
    file_ = openFile(fileName, "wb");
    if (!file_) return LumoErrorWrite;
    png_ = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, onPngError, onPngWarning);
    if (png_ == nullptr) return LumoErrorWrite;
    info_ = png_create_info_struct(png_);
    return info_ != nullptr ? LumoOk : LumoErrorWrite;
}

int PngWrite::writeHeader(const lmImage& image, ImageTexts& texts, int level) noexcept {
    const WriteSignalGuard guard;
    if (setjmp(png_jmpbuf(png_)) != 0) return LumoErrorWrite;
    png_init_io(png_, file_.get());
    png_set_compression_level(png_, level);
    png_set_IHDR(png_, info_, image.width, image.height, 16, PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const std::uint32_t perMetreX = pixelsPerMetre(image.pixelsizeX);
    const std::uint32_t perMetreY = pixelsPerMetre(image.pixelsizeY);
    if (perMetreX == 0 || perMetreY == 0) return LumoErrorImage;
    png_set_pHYs(png_, info_, perMetreX, perMetreY, PNG_RESOLUTION_METER);

    png_text entries[std::size(imageKeywords)];
    for (std::size_t i = 0; i < std::size(imageKeywords); ++i)
        setText(&entries[i], imageKeywords[i], texts.values[i]);
    png_set_text(png_, info_, entries, static_cast<int>(std::size(imageKeywords)));
    png_write_info(png_, info_);
    png_set_swap(png_);  // rasters are little-endian, PNG is not
    return LumoOk;
}

bool PngWrite::goesOn(const lmImage& image) const noexcept {
    return !dead_ && image.width == width_ && image.height == height_;
}

int PngWrite::beginRows(int level) {
    if (!hasFastDeflate() || level < firstFastLevel || level > lastFastLevel) return LumoOk;
    fast_.emplace(width_);
    // What libpng has written comes before what goes past the stream's buffer from now on.
    const WriteSignalGuard guard;
    return std::fflush(file_.get()) == 0 ? LumoOk : LumoErrorWrite;
}

int PngWrite::writeRows(std::uint16_t* const* rows, int count) noexcept {
    const WriteSignalGuard guard;
    if (fast_) return writeFastRows(rows, count);
    if (setjmp(png_jmpbuf(png_)) != 0) return LumoErrorWrite;
    png_write_rows(png_, reinterpret_cast<png_bytepp>(const_cast<std::uint16_t**>(rows)),
                   static_cast<png_uint_32>(count));
    rowsWritten_ += count;
    return LumoOk;
}

int PngWrite::writeFastRows(std::uint16_t* const* rows, int count) noexcept {
    if (setjmp(png_jmpbuf(png_)) != 0) return LumoErrorWrite;
    for (int i = 0; i < count; ++i)
        if (!fast_->addRow(file_.get(), rows[i])) png_error(png_, "Write Error");
    rowsWritten_ += count;
    return LumoOk;
}

int PngWrite::writeEnd(char* metaData) noexcept {
    if (setjmp(png_jmpbuf(png_)) != 0) return LumoErrorWrite;
    png_text entry;
    setText(&entry, metaDataKeyword, metaData);
    png_set_text(png_, info_, &entry, 1);
    png_write_end(png_, info_);
    return LumoOk;
}

/// libpng refuses to end a file whose image data it has not seen, so the last chunks are named to
/// it one by one.
int PngWrite::writeFastEnd(std::FILE* file, const char* metaData) noexcept {
    if (setjmp(png_jmpbuf(png_)) != 0) return LumoErrorWrite;
    if (!fast_->finish(file)) png_error(png_, "Write Error");
    const auto bytes = [](const char* text) { return reinterpret_cast<png_const_bytep>(text); };
    const std::size_t length = std::strlen(metaData);
    png_write_chunk_start(png_, bytes("tEXt"),
                          static_cast<png_uint_32>(sizeof metaDataKeyword + length));
    png_write_chunk_data(png_, bytes(metaDataKeyword), sizeof metaDataKeyword);
    png_write_chunk_data(png_, bytes(metaData), length);
    png_write_chunk_end(png_);
    png_write_chunk(png_, bytes("IEND"), nullptr, 0);
    return LumoOk;
}

int PngWrite::complete(const lmImage& image) noexcept {
    if (!goesOn(image) || rowsToCome() > 0) return LumoErrorWrite;
    char empty[] = "";
    const WriteSignalGuard guard;
    char* const metaData = image.metaData != nullptr ? image.metaData : empty;
    return writeAndClose(std::move(file_), [&](std::FILE* file) {
        return fast_ ? writeFastEnd(file, metaData) : writeEnd(metaData);
    });
}

}  // namespace lumo
