// Writing of XYZ images: the pixel file, and the information file filled from metadata.
#include <cmath>
#include <cstring>
#include <limits>
#include <string_view>

#include "frame/call_frame.h"
#include "frame/ini2.h"
#include "frame/time_stamp.h"
#include "frame/written_file.h"
#include "image/info_header.h"
#include "image/info_name.h"
#include "image/view.h"
#include "io/codecs.h"
#include "io/pixel_file.h"
#include "lumo_legacy.h"
#include "platform/local_time.h"
#include "platform/memory.h"

namespace lumo {
namespace {

constexpr std::uint32_t legacyRecordSize = 108;

void writePixelFile16(const lmImage& image, const char* fileName) {
    FilePtr file = openFile(fileName, "wb");
    if (!file) raise(LumoErrorWrite);
    const auto header = header16(image.width, image.height);
    const Target raster = viewOf(image);
    raiseFailure(writeAndClose(std::move(file), [&](std::FILE* to) {
        const int code = writeBlock(to, header.data(), header.size());
        if (code != LumoOk) return code;
        return writeBlock(to, raster.pixels, raster.count() * sizeof *raster.pixels);
    }));
}

/// Codes the raster and writes it. Raises -8; returns the result of the write.
int writePixelFile8(const lmImage& image, const char* fileName) {
    const std::size_t count = viewOf(image).count();
    const MallocPtr<std::uint8_t> codes(static_cast<std::uint8_t*>(std::malloc(count)));
    if (!codes) raise(LumoErrorMemory);
    std::uint16_t whiteLevel = 0;
    Convert_Image16_8(image.data, codes.get(), image.width, image.height, 10000, &whiteLevel);
    Image8 descriptor{};
    descriptor.width = image.width;
    descriptor.height = image.height;
    descriptor.unused4 = 1;
    descriptor.whiteLevel = whiteLevel;
    descriptor.size = static_cast<std::uint32_t>(count);
    descriptor.bytesPerPixel = 1;
    descriptor.pixels = codes.get();
    return WriteImage8Rot(descriptor, fileName, 0);
}

/// Entries of section "Image_X" as the header's numbers; a value too large keeps its low bits.
class HeaderEntries {
public:
    explicit HeaderEntries(ini2& store) : store_(store) {}

    template <class Field>
    void take(Field& field, const char* key, long fallback = 0) {
        long value = 0;
        store_.get("Image_X", key, &value, fallback);
        field = static_cast<Field>(value);
    }

private:
    ini2& store_;
};

void takeCreationTime(ImageInfo& info, ini2& store) {
    char stamp[1024] = "";
    store.get("Image", "Creation Time", stamp, nullptr);
    std::tm time{};
    if (ParseTimeStamp(stamp, &time) != 0) time = localTime(std::time(nullptr));
    info.year = static_cast<std::uint16_t>(std::int64_t{time.tm_year} + 1900);
    info.month = static_cast<std::uint8_t>(time.tm_mon + 1);
    info.day = static_cast<std::uint8_t>(time.tm_mday);
    info.hour = static_cast<std::uint8_t>(time.tm_hour);
    info.minute = static_cast<std::uint8_t>(time.tm_min);
    info.second = static_cast<std::uint8_t>(time.tm_sec);
}

void takeSource(ImageInfo& info, ini2& store) {
    char source[1024] = "";
    store.get("Image", "Source", source, "Unknown");
    std::memcpy(info.source, source, strnlen(source, sizeof info.source));
}

/// The pixel size implied by the pitches, truncated and held within 32 bits; NaN gives 0.
std::int32_t impliedPixelsize(const lmImage& image, double scale) {
    constexpr std::int32_t lowest = std::numeric_limits<std::int32_t>::min();
    constexpr std::int32_t highest = std::numeric_limits<std::int32_t>::max();
    const double area = static_cast<double>(image.pixelsizeY) * image.pixelsizeX;
    const double size = std::sqrt(area) * scale;
    if (std::isnan(size)) return 0;
    if (size <= lowest) return lowest;
    return size >= highest ? highest : static_cast<std::int32_t>(size);
}

ImageInfo headerOf(const lmImage& image, ini2& store) {
    ImageInfo info{};
    info.headerSize = legacyRecordSize;
    info.width = image.width;
    info.height = image.height;
    info.resX = static_cast<std::int32_t>(image.pixelsizeX);
    info.resY = static_cast<std::int32_t>(image.pixelsizeY);
    HeaderEntries entries(store);
    entries.take(info.bits, "bits", 16);
    entries.take(info.offsetX, "Offset_X");
    entries.take(info.slotMask, "SlotMask");
    takeCreationTime(info, store);
    takeSource(info, store);
    entries.take(info.rotation, "Rotation");
    entries.take(info.pixelsize, "Pixelsize");
    double scale = 1.0;
    store.get("Image_X", "Scale", &scale, 1.0);
    if (info.pixelsize == 0) info.pixelsize = impliedPixelsize(image, scale);
    info.scale = static_cast<float>(scale);
    entries.take(info.maxPix, "MaxPix");
    entries.take(info.avgPix, "AvgPix");
    entries.take(info.modeUuid, "ModeUuid");
    entries.take(info.maxPixValue, "MaxPixValue");
    return info;
}

struct ExtendedHeader {
    MallocPtr<char> body;
    int size = 0;
};

/// The extended header; none without memory for it, which the log tells.
ExtendedHeader extendedHeaderOf(ini2& store) {
    ExtendedHeader header;
    store.getBody("Image_XHEAD", nullptr, &header.size);
    if (header.size <= 0) return {};
    header.body.reset(static_cast<char*>(std::malloc(static_cast<std::size_t>(header.size))));
    if (!header.body) {
        slog(4, "LumoWriteImageXYZ no memory for the extended header, which is left out");
        return {};
    }
    store.getBody("Image_XHEAD", header.body.get(), &header.size);
    return header;
}

/// Everything that goes into the information file, ready before any file is created, so that
/// memory that runs out leaves nothing half written.
struct InfoFile {
    ImageInfo info;
    ExtendedHeader extended;
};

InfoFile infoFileOf(const lmImage& image) {
    ini2 store(image.metaData, image.metaSize);
    InfoFile file{headerOf(image, store), extendedHeaderOf(store)};
    file.info.extHeaderSize = file.extended.size;
    return file;
}

void writeInfoFile(FilePtr file, const InfoFile& content) {
    const auto bytes = encodeInfoHeader(content.info);
    raiseFailure(writeAndClose(std::move(file), [&](std::FILE* to) {
        const int code = writeBlock(to, bytes.data(), bytes.size());
        if (code != LumoOk) return code;
        return writeBlock(to, content.extended.body.get(),
                          static_cast<std::size_t>(content.extended.size));
    }));
    if (!isValid(content.info))
        slog(4, "LumoWriteImageXYZ the information file holds values that no reader accepts");
}

bool namesInfoFile(const char* fileName) {
    return std::string_view(fileName).ends_with("txt");
}

}  // namespace

int LumoWriteImageXYZ(lmImage* image, const char* fileName, int eightBit) noexcept {
    slog(8, "LumoWriteImageXYZ entry");
    int result = LumoOk;
    bool infoCreated = true;
    const int code = guarded([&] {
        if (image == nullptr || image->data == nullptr) raise(LumoErrorImage);
        if (fileName == nullptr) raise(LumoErrorWrite);
        const InfoFile content = infoFileOf(*image);
        if (!namesInfoFile(fileName) && eightBit != 0) result = writePixelFile8(*image, fileName);
        if (!namesInfoFile(fileName) && eightBit == 0) writePixelFile16(*image, fileName);
        FilePtr file = openFile(infoNameForWriting(fileName).text, "wb");
        infoCreated = file != nullptr;
        if (infoCreated) writeInfoFile(std::move(file), content);
    });
    if (!infoCreated) return LumoErrorWrite;
    if (code != LumoOk) {
        reportFailure("LumoWriteImageXYZ", code);
        result = code;
    }
    slog(7, "LumoWriteImageXYZ return %d", result);
    return result;
}

}  // namespace lumo
