// PNG writing: the whole image, or row by row between a start and an end.
#include <algorithm>
#include <atomic>
#include <memory>
#include <new>

#include "frame/call_frame.h"
#include "image/lm_image.h"
#include "image/view.h"
#include "io/png_encoder.h"

namespace lumo {
namespace {

/// Readers need not take a text chunk of more bytes: libpng has such a limit and warns.
constexpr std::int32_t longestMetaData = 8000000 - 100;

std::atomic<int> compressionLevel{6};

PngWrite& writeOf(lmImage& image) {
    return *static_cast<PngWrite*>(image.pngWriter);
}

/// Ends the image's write; a file that is not complete stays as it is.
void endWrite(lmImage& image) {
    delete image.pngWriter;
    image.pngWriter = nullptr;
}

/// Checked before a write begins and again when it ends: nothing may be lost silently.
void requireReadableMetaData(const lmImage& image) {
    if (image.metaSize <= longestMetaData) return;
    slog(4, "metadata of %d bytes could not be read back from a PNG file", image.metaSize);
    raise(LumoErrorWrite);
}

void startWrite(lmImage& image, const char* fileName) {
    endWrite(image);
    image.pngWriter = new PngWrite(image);
    requireReadableMetaData(image);
    PngWrite& write = writeOf(image);
    raiseFailure(write.open(fileName));
    const auto texts = std::make_unique<ImageTexts>(image);
    const int level = compressionLevel;
    raiseFailure(write.writeHeader(image, *texts, level));
    raiseFailure(write.beginRows(level));
}

/// Hands over the rows that the file still lacks. Surplus ones are refused and leave it as it is;
/// another failure ends the write's life.
int handOver(lmImage& image, std::uint16_t** rows, int count) {
    PngWrite& write = writeOf(image);
    const int fitting = std::min(count, write.rowsToCome());
    int code = LumoErrorWrite;
    if (write.goesOn(image)) code = fitting > 0 ? write.writeRows(rows, fitting) : LumoOk;
    if (code != LumoOk) write.kill();
    return fitting < count ? LumoErrorWrite : code;
}

int handOverRow(lmImage& image, const unsigned short* row) {
    auto* only = const_cast<std::uint16_t*>(row);  // libpng only reads it
    return handOver(image, &only, 1);
}

/// Row calls need a raster to take rows from.
bool hasRaster(lmImage& image) {
    if (image.data == nullptr) writeOf(image).kill();
    return image.data != nullptr;
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
    const int code = lumo::guarded([=] { lumo::startWrite(*image, fileName); });
    if (code != LumoOk) lumo::endWrite(*image);
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
    if (!lumo::hasRaster(*image)) return LumoErrorWrite;
    const int code = lumo::guarded([=] { lumo::buildRowPointers(*image); });
    return code != LumoOk ? code : lumo::handOver(*image, image->rowPointers, image->height);
}

int LumoPngWriteEnd(lmImage* image) {
    if (image == nullptr) return LumoErrorImage;
    if (image->pngWriter == nullptr) return LumoErrorMemory;
    const int code = lumo::guarded([=] {
        lumo::requireReadableMetaData(*image);
        lumo::raiseFailure(lumo::writeOf(*image).complete(*image));
    });
    lumo::endWrite(*image);
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
    if (!lumo::hasRaster(*image)) return LumoErrorWrite;
    const lumo::Target raster = lumo::viewOf(*image);
    for (int y = 0; y < raster.height; ++y) {
        const int code = lumo::handOverRow(*image, raster.row(y));
        if (code != LumoOk) return code;
    }
    return LumoOk;
}
