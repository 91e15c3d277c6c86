// PNG writing: the whole image, or row by row between a start and an end.
//
// Functions that set a recovery point (setjmp) hold only plain pointers that do not change after
// it.
#include <png.h>

#include <atomic>
#include <iterator>
#include <memory>
#include <new>
#include <utility>

#include "frame/call_frame.h"
#include "frame/file.h"
#include "frame/ini2.h"
#include "image/lm_image.h"
#include "image/png_write_state.h"
#include "image/view.h"
#include "io/png_support.h"
#include "platform/write_signals.h"

namespace lumo {
namespace {

constexpr std::uint32_t nanometresPerMetre = 1000000000;
/// libpng reads no text chunk larger than this; a longer metadata text would be lost.
constexpr std::int32_t longestMetaData = 8000000 - 100;

std::atomic<int> compressionLevel{6};

void releaseState(PngWriteState* state) {
    png_destroy_write_struct(&state->png, &state->info);
    if (state->file != nullptr) {
        const WriteSignalGuard guard;
        std::fclose(state->file);
    }
    delete state;
}

/// Ends the image's write without completing the file.
void abandonWrite(lmImage& image) {
    if (image.pngWriter != nullptr) releaseState(image.pngWriter);
    image.pngWriter = nullptr;
}

/// Values of the entries that have chunks of their own, at most 1023 characters each.
struct ImageTexts {
    char values[std::size(imageKeywords)][1024];

    explicit ImageTexts(const lmImage& image) {
        ini2 store(image.metaData, image.metaSize);
        for (std::size_t i = 0; i < std::size(imageKeywords); ++i)
            store.get("Image", imageKeywords[i], values[i], nullptr);
    }
};

void setText(png_textp entry, const char* keyword, char* text) {
    *entry = {};
    entry->compression = PNG_TEXT_COMPRESSION_NONE;
    entry->key = const_cast<char*>(keyword);
    entry->text = text;
}

std::uint32_t pixelsPerMetre(std::uint32_t pitch) {
    return pitch == 0 ? 0 : nanometresPerMetre / pitch;
}

/// Writes everything up to the image data.
int writeHeader(PngWriteState* state, const lmImage* image, ImageTexts* texts) {
    const png_structp png = state->png;
    const png_infop info = state->info;
    if (setjmp(png_jmpbuf(png)) != 0) return LumoErrorWrite;
    png_init_io(png, state->file);
    png_set_compression_level(png, compressionLevel);
    png_set_IHDR(png, info, image->width, image->height, 16, PNG_COLOR_TYPE_GRAY,
                 PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    const std::uint32_t perMetreX = pixelsPerMetre(image->pixelsizeX);
    const std::uint32_t perMetreY = pixelsPerMetre(image->pixelsizeY);
    if (perMetreX == 0 || perMetreY == 0) return LumoErrorImage;
    png_set_pHYs(png, info, perMetreX, perMetreY, PNG_RESOLUTION_METER);

    png_text entries[std::size(imageKeywords)];
    for (std::size_t i = 0; i < std::size(imageKeywords); ++i)
        setText(&entries[i], imageKeywords[i], texts->values[i]);
    png_set_text(png, info, entries, static_cast<int>(std::size(imageKeywords)));
    png_write_info(png, info);
    png_set_swap(png);  // rasters are little-endian, PNG is not
    return LumoOk;
}

int writeRow(PngWriteState* state, png_const_bytep row) {
    const png_structp png = state->png;
    if (setjmp(png_jmpbuf(png)) != 0) return LumoErrorWrite;
    png_write_row(png, row);
    return LumoOk;
}

int writeRows(PngWriteState* state, png_bytepp rows, png_uint_32 count) {
    const png_structp png = state->png;
    if (setjmp(png_jmpbuf(png)) != 0) return LumoErrorWrite;
    png_set_rows(png, state->info, rows);
    png_write_rows(png, rows, count);
    return LumoOk;
}

int writeEnd(PngWriteState* state, char* metaData) {
    const png_structp png = state->png;
    const png_infop info = state->info;
    if (setjmp(png_jmpbuf(png)) != 0) return LumoErrorWrite;
    png_text entry;
    setText(&entry, metaDataKeyword, metaData);
    png_set_text(png, info, &entry, 1);
    png_write_end(png, info);
    return LumoOk;
}

/// Whether the image is still the one that the write began with, and nothing has failed since.
bool isAlive(const lmImage& image) {
    const PngWriteState& state = *image.pngWriter;
    return !state.dead && image.width == state.width && image.height == state.height;
}

/// Counts the rows that `write` hands over; a failure, or rows beyond the last, ends the write's
/// life.
template <class Write>
int handOver(lmImage& image, int rows, Write write) {
    PngWriteState& state = *image.pngWriter;
    int code = LumoErrorWrite;
    if (isAlive(image) && rows <= state.height - state.rowsWritten) {
        const WriteSignalGuard guard;
        code = write(&state);
        state.rowsWritten += rows;
    }
    if (code != LumoOk) state.dead = true;
    return code;
}

int handOverRow(lmImage& image, const unsigned short* row) {
    return handOver(image, 1, [row](PngWriteState* state) {
        return writeRow(state, reinterpret_cast<png_const_bytep>(row));
    });
}

/// Checked before a write begins and again when it ends: nothing may be lost silently.
bool metaDataFits(const lmImage& image) {
    if (image.metaSize <= longestMetaData) return true;
    slog(3, "libpng: a metadata text of %d bytes cannot be read back from a PNG file",
         image.metaSize);
    return false;
}

void openWrite(lmImage& image, const char* fileName) {
    abandonWrite(image);
    image.pngWriter = new (std::nothrow)
        PngWriteState{nullptr, nullptr, nullptr, image.width, image.height, 0, false, releaseState};
    if (image.pngWriter == nullptr) raise(LumoErrorMemory);
    PngWriteState& state = *image.pngWriter;
    if (!metaDataFits(image)) raise(LumoErrorWrite);
    state.file = openFile(fileName, "wb").release();
    if (state.file == nullptr) raise(LumoErrorWrite);
    state.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, onPngError, onPngWarning);
    if (state.png == nullptr) raise(LumoErrorWrite);
    state.info = png_create_info_struct(state.png);
    if (state.info == nullptr) raise(LumoErrorWrite);
    const auto texts = std::make_unique<ImageTexts>(image);
    const WriteSignalGuard guard;
    raiseFailure(writeHeader(&state, &image, texts.get()));
}

/// Completes the file; 0 only if every row and the metadata are in it.
int completeWrite(lmImage& image) {
    PngWriteState& state = *image.pngWriter;
    if (!isAlive(image) || state.rowsWritten != state.height || !metaDataFits(image))
        return LumoErrorWrite;
    char empty[] = "";
    const WriteSignalGuard guard;
    const int code = writeEnd(&state, image.metaData != nullptr ? image.metaData : empty);
    const bool closed = closeWritten(FilePtr(std::exchange(state.file, nullptr)));
    return code == LumoOk && !closed ? LumoErrorWrite : code;
}

}  // namespace
}  // namespace lumo

extern "C" {

int LumoSetWriteCompressionLevel(int level) {
    if (level < 0 || level > 9) return LumoErrorRange;
    lumo::compressionLevel = level;
    return LumoOk;
}

int LumoPngWriteStart(lmImage* image, const char* fileName) {
    slog(8, "LumoPngWriteStart entry");
    if (image == nullptr) return LumoErrorImage;
    const int code = lumo::guarded([=] { lumo::openWrite(*image, fileName); });
    if (code != LumoOk) lumo::abandonWrite(*image);
    return code;
}

int LumoPngWriteRow(lmImage* image, const unsigned short* row) {
    if (image == nullptr) return LumoErrorImage;
    if (image->pngWriter == nullptr || row == nullptr) return LumoErrorMemory;
    return lumo::handOverRow(*image, row);
}

int LumoPngWriteRows(lmImage* image) {
    if (image == nullptr) return LumoErrorImage;
    if (image->pngWriter == nullptr) return LumoErrorMemory;
    return lumo::handOver(*image, image->height, [image](PngWriteState* state) {
        if (image->data == nullptr) return +LumoErrorWrite;
        const int code = lumo::guarded([=] { lumo::buildRowPointers(*image); });
        if (code != LumoOk) return code;
        return lumo::writeRows(state, reinterpret_cast<png_bytepp>(image->rowPointers),
                               image->height);
    });
}

int LumoPngWriteEnd(lmImage* image) {
    if (image == nullptr) return LumoErrorImage;
    if (image->pngWriter == nullptr) return LumoErrorMemory;
    const int code = lumo::completeWrite(*image);
    lumo::abandonWrite(*image);
    return code;
}

int LumoWriteImagePNG(lmImage* image, const char* fileName) {
    slog(8, "LumoWriteImagePNG entry");
    int code = LumoOk;
    if (image == nullptr || image->data == nullptr) {
        code = LumoErrorImage;
        lumo::reportFailure("LumoWriteImagePNG", code);
    } else if (code = LumoPngWriteStart(image, fileName); code == LumoOk) {
        const int rowsCode = LumoPngWriteRows(image);
        const int endCode = LumoPngWriteEnd(image);
        code = rowsCode != LumoOk ? rowsCode : endCode;
    }
    slog(7, "LumoWriteImagePNG return %d", code);
    return code;
}

}  // extern "C"

int LumoPngWriteRows2(lmImage* image) {
    if (image == nullptr || image->pngWriter == nullptr) return LumoErrorMemory;
    if (image->data == nullptr) image->pngWriter->dead = true;
    if (!lumo::isAlive(*image)) return LumoErrorWrite;
    for (int y = 0; y < image->height; ++y) {
        const int code = lumo::handOverRow(*image, lumo::viewOf(*image).row(y));
        if (code != LumoOk) return code;
    }
    return LumoOk;
}
