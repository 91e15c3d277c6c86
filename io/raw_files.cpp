// The older raw pixel files: reading, writing, writing turned.
#include <algorithm>

#include "frame/call_frame.h"
#include "frame/written_file.h"
#include "image/turned_row.h"
#include "io/pixel_file.h"
#include "lumo_legacy.h"
#include "platform/memory.h"

namespace {

using lumo::FilePtr;
using lumo::QuarterTurn;
using lumo::View;

/// Pixels that a turned write holds at a time: at least one row of any image.
constexpr int bandSize = 65535;

/// Writes the raster in bands of turned rows.
template <class Pixel>
int writeTurnedRows(std::FILE* file, View<const Pixel> raster, QuarterTurn turn) {
    const int width = swapsSides(turn) ? raster.height : raster.width;
    const int height = swapsSides(turn) ? raster.width : raster.height;
    const int rowsAtOnce = bandSize / std::max(1, width);
    const lumo::MallocPtr<Pixel> band(static_cast<Pixel*>(std::malloc(bandSize * sizeof(Pixel))));
    if (!band) return LumoErrorMemory;
    for (int y = 0; y < height; y += rowsAtOnce) {
        const int count = std::min(rowsAtOnce, height - y);
        lumo::turnedRows(raster, turn, y, count, band.get());
        const std::size_t size = static_cast<std::size_t>(count) * static_cast<std::size_t>(width);
        if (!lumo::writeBytes(file, band.get(), size * sizeof(Pixel))) return LumoErrorWrite;
    }
    return LumoOk;
}

template <class Pixel>
int writePixels(std::FILE* file, View<const Pixel> raster, QuarterTurn turn) {
    if (turn != QuarterTurn::None) return writeTurnedRows(file, raster, turn);
    return lumo::writeBlock(file, raster.pixels, raster.count() * sizeof(Pixel));
}

/// Creates the file and writes header and pixels; `headerOf` makes the header of the written size.
template <class Pixel, class HeaderOf>
int writeFile(const char* fileName, View<const Pixel> raster, QuarterTurn turn, HeaderOf headerOf) {
    FilePtr file = lumo::openFile(fileName, "wb");
    if (!file) return LumoErrorOpen;
    const bool turned = swapsSides(turn);
    const auto header =
        headerOf(turned ? raster.height : raster.width, turned ? raster.width : raster.height);
    return lumo::writeAndClose(std::move(file), [&](std::FILE* to) {
        const int code = lumo::writeBlock(to, header.data(), header.size());
        return code == LumoOk ? writePixels(to, raster, turn) : code;
    });
}

int writeImage16(const char* fileName, const Image& image, QuarterTurn turn) {
    if (image.data == nullptr) return LumoErrorImage;
    return writeFile(fileName, lumo::asSource(lumo::viewOf(image)), turn, lumo::header16);
}

int read8(std::FILE* file, const lumo::PixelFileHeader& header, Image* image) {
    lumo::Pixel8Reader reader(header.width);
    if (!reader.hasMemory()) return LumoErrorMemory;
    const int code = Create_Image(header.width, header.height, image);
    return code != LumoOk ? code : reader.read(file, header.whiteLevel, lumo::viewOf(*image));
}

int read16(std::FILE* file, const lumo::PixelFileHeader& header, Image* image) {
    const int code = Create_Image(header.width, header.height, image);
    return code != LumoOk ? code : lumo::readPixels16(file, lumo::viewOf(*image));
}

constexpr bool isSide(std::int32_t length) {
    return 0 <= length && length <= 65535;
}

}  // namespace

extern "C" {

int Read_Image(const char* fileName, Image* image) {
    if (image == nullptr) return LumoErrorParameter;
    *image = {};
    const FilePtr file = lumo::openFile(fileName, "rb");
    if (!file) return LumoErrorOpen;
    lumo::PixelFileHeader header;
    if (!lumo::readHeader(file.get(), false, header)) return LumoErrorImage;
    return header.eightBit ? read8(file.get(), header, image) : read16(file.get(), header, image);
}

int Write_Image(const char* fileName, Image image) {
    return writeImage16(fileName, image, QuarterTurn::None);
}

int WriteImage8Rot(Image8 image, const char* fileName, int rotation) {
    slog(8, "WriteImage8Rot entry");
    if (image.pixels == nullptr || !isSide(image.width) || !isSide(image.height))
        return LumoErrorImage;
    const View<const std::uint8_t> raster{image.pixels, image.width, image.height};
    return writeFile(fileName, raster, lumo::quarterTurn(rotation), [&](int width, int height) {
        return lumo::header8(width, height, static_cast<std::uint16_t>(image.whiteLevel));
    });
}

}  // extern "C"

int WriteImageRot(Image image, char* fileName, int rotation) {
    return writeImage16(fileName, image, lumo::quarterTurn(rotation));
}
