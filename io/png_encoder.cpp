// One PNG file being written by libpng.
//
// Functions that set a recovery point (setjmp) hold only plain values that do not change after it.
#include "io/png_encoder.h"

#include "frame/ini2.h"
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

bool PngWrite::takesRows(const lmImage& image, int count) const noexcept {
    const bool sameSize = image.width == width_ && image.height == height_;
    return !dead_ && sameSize && count <= height_ - rowsWritten_;
}

int PngWrite::writeRows(png_bytepp rows, int count) noexcept {
    const WriteSignalGuard guard;
    if (setjmp(png_jmpbuf(png_)) != 0) return LumoErrorWrite;
    png_write_rows(png_, rows, static_cast<png_uint_32>(count));
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

int PngWrite::complete(const lmImage& image) noexcept {
    if (!takesRows(image, 0) || rowsWritten_ != height_) return LumoErrorWrite;
    char empty[] = "";
    const WriteSignalGuard guard;
    const int code = writeEnd(image.metaData != nullptr ? image.metaData : empty);
    const bool closed = closeWritten(std::move(file_));
    return code == LumoOk && !closed ? LumoErrorWrite : code;
}

}  // namespace lumo
