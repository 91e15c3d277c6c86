// Reading of XYZ images: the pixel file, then the information file whose values become metadata.
#include <algorithm>
#include <cstring>
#include <vector>

#include "frame/call_frame.h"
#include "frame/ini2.h"
#include "frame/time_stamp.h"
#include "image/info_header.h"
#include "image/info_name.h"
#include "image/lm_image.h"
#include "io/codecs.h"
#include "io/pixel_file.h"

namespace lumo {
namespace {

/// Creates the image and fills its raster. Raises -11, -50 or a code of LumoCreateImage().
/// @return false without memory for the buffer of rows
bool readPixelFile(lmImage** place, std::FILE* file, bool eightBit) {
    // A pipe does not give the first bytes again.
    if (!seekTo(file, 0)) raise(LumoErrorFile);
    PixelFileHeader header;
    if (!readHeader(file, eightBit, header)) raise(LumoErrorImage);
    raiseFailure(LumoCreateImage(place, header.width, header.height));
    const Target raster = viewOf(**place);
    if (raster.count() == 0) raise(LumoErrorImage);
    if (!header.eightBit) {
        raiseFailure(readPixels16(file, raster));
        return true;
    }
    Pixel8Reader reader(raster.width);
    if (!reader.hasMemory()) return false;
    raiseFailure(reader.read(file, header.whiteLevel, raster));
    return true;
}

/// The extended header: what the file holds of `size` bytes. Memory grows with what is there, not
/// with what the header claims.
std::vector<char> readExtendedHeader(std::FILE* file, std::size_t size) {
    std::vector<char> body;
    for (std::size_t step = 64 * 1024; body.size() < size; step = body.size()) {
        const std::size_t before = body.size();
        body.resize(before + std::min(step, size - before));
        const std::size_t count = readBytes(file, body.data() + before, body.size() - before);
        const bool atEnd = count < body.size() - before;
        if (atEnd) body.resize(before + count);
        if (atEnd) break;
    }
    return body;
}

void setCreationTime(ini2& store, const ImageInfo& info) {
    std::tm time{};
    time.tm_year = info.year - 1900;
    time.tm_mon = info.month - 1;
    time.tm_mday = info.day;
    time.tm_hour = info.hour;
    time.tm_min = info.minute;
    time.tm_sec = info.second;
    time.tm_wday = -1;  // the header holds no weekday
    char stamp[timeStampSize];
    FormatTimeStamp(stamp, &time);
    store.set("Image", "Creation Time", stamp, nullptr);
}

void setSource(ini2& store, const ImageInfo& info) {
    char source[sizeof info.source + 1] = "";
    std::memcpy(source, info.source, sizeof info.source);
    store.set("Image", "Source", source, nullptr);
}

/// Fills store and record from the header, entries in their customary order.
void takeHeader(ini2& store, lmImage& image, const ImageInfo& info) {
    const auto set = [&store](const char* key, long value, const char* comment = nullptr) {
        store.set("Image_X", key, value, comment);
    };
    set("Res_X", info.resX);
    image.pixelsizeX = static_cast<std::uint32_t>(info.resX);
    set("Res_Y", info.resY);
    image.pixelsizeY = static_cast<std::uint32_t>(info.resY);
    set("bits", info.bits);
    set("Offset_X", info.offsetX, "Start_Slot");
    set("SlotMask", info.slotMask, "Slot");
    setCreationTime(store, info);
    setSource(store, info);
    set("Rotation", info.rotation);
    set("Pixelsize", info.pixelsize);
    store.set("Image_X", "Scale", static_cast<double>(info.scale), nullptr);
    set("MaxPix", info.maxPix);
    image.maxPix = info.maxPix;
    set("AvgPix", info.avgPix);
    image.avgPix = info.avgPix;
    set("ModeUuid", info.modeUuid);
    set("MaxPixValue", info.maxPixValue);
    image.equivHigh = 65535;
    image.equivLow = 0;
}

void readInfoFile(lmImage& image, const char* infoName) {
    const FilePtr file = openFile(infoName, "rb");
    if (!file) raise(LumoErrorInfoMissing);
    ImageInfo info{};
    if (readInfoHeader(file.get(), info) < infoHeaderItems || !isValid(info))
        raise(LumoErrorInfoInvalid);
    ini2 store;
    if (info.extHeaderSize > 0) {
        const auto size = static_cast<std::size_t>(info.extHeaderSize);
        const std::vector<char> body = readExtendedHeader(file.get(), size);
        store.setBody("Image_XHEAD", body.data(), static_cast<int>(body.size()), nullptr);
    }
    takeHeader(store, image, info);
    replaceMetaData(image, store);
}

/// Failures of the information file are warnings in the log.
constexpr int logLevel(int code) {
    return -13000 <= code && code <= -10000 ? 4 : 3;
}

}  // namespace

int LumoReadImageXYZ(lmImage** place, FilePtr file, const char* fileName, int eightBit) noexcept {
    slog(8, "LumoReadImageXYZ entry");
    bool rowBuffer = true;
    const int code = guarded([&] {
        rowBuffer = readPixelFile(place, file.get(), eightBit != 0);
        if (!rowBuffer) return;
        const InfoName infoName = infoNameForReading(fileName);
        if (infoName.exists()) readInfoFile(**place, infoName.text);
    });
    if (!rowBuffer) return LumoErrorMemory;
    if (code != LumoOk) reportFailure("LumoReadImageXYZ", code, logLevel(code));
    slog(7, "LumoReadImageXYZ return %d", code);
    return code;
}

}  // namespace lumo
