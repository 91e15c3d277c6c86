// Reading of PNG files: raster, pitch and metadata of the image.
#include <algorithm>
#include <climits>
#include <cstring>

#include "frame/call_frame.h"
#include "frame/ini2.h"
#include "image/lm_image.h"
#include "io/codecs.h"
#include "io/png_decoder.h"
#include "io/png_support.h"

namespace lumo {
namespace {

constexpr std::uint32_t longestSide = 65535;

[[noreturn]] void raiseTooShort(const char* what) {
    slog(3, "libpng: the file is too short for its %s", what);
    slog(3, "libpng error");
    raise(LumoErrorFile);
}

PngProperties readProperties(PngDecoder& decoder) {
    PngProperties properties{};
    if (!decoder.holdsItsChunks()) raiseTooShort("chunks");
    raiseFailure(decoder.readHeader(properties));
    slog(7, "LumoReadImagePNG PNG properties: width=%d height=%d depth=%d channels=%d type=%d",
         static_cast<int>(properties.width), static_cast<int>(properties.height), properties.depth,
         properties.channels, properties.colourType);
    if (properties.width > longestSide || properties.height > longestSide) raise(LumoErrorImage);
    if (!decoder.canHold(properties)) raiseTooShort("image");
    return properties;
}

bool isImageKeyword(const char* keyword) {
    return std::ranges::any_of(
        imageKeywords, [keyword](const char* known) { return std::strcmp(known, keyword) == 0; });
}

/// Whether the chunk's text is the beginning, cut at a chunk's limit, of the value in the store.
bool isCutOf(ini2& store, const png_text& entry) {
    char value[imageTextSize] = "";
    store.get("Image", entry.key, value, nullptr);
    return std::strlen(value) == imageTextSize - 1 && std::strcmp(value, entry.text) == 0;
}

/// Takes the chunks from the last to the first, so that the four entries with chunks of their own
/// prevail over the whole metadata text at the end of our own files.
void takeTexts(ini2& store, std::span<const png_text> texts) {
    for (std::size_t i = texts.size(); i-- > 0;) {
        const png_text& entry = texts[i];
        if (isImageKeyword(entry.key)) {
            if (!isCutOf(store, entry)) store.set("Image", entry.key, entry.text, nullptr);
        } else if (entry.text != nullptr) {
            const std::size_t size =
                std::min(std::strlen(entry.text), std::size_t{INT_MAX - 1}) + 1;
            ini2 chunk(entry.text, static_cast<int>(size));
            store.set(chunk);
        }
    }
}

std::uint16_t wholeNumber(ini2& store, const char* key) {
    long value = 0;
    store.get("Image_X", key, &value, 0L);
    return static_cast<std::uint16_t>(value);
}

void readImage(PngDecoder& decoder, lmImage** place, FilePtr file, bool& created) {
    raiseFailure(decoder.open(std::move(file)));
    const PngProperties properties = readProperties(decoder);
    raiseFailure(LumoCreateImage(place, static_cast<std::uint16_t>(properties.width),
                                 static_cast<std::uint16_t>(properties.height)));
    created = true;
    lmImage& image = **place;
    image.pixelsizeX = decoder.pitchX();
    image.pixelsizeY = decoder.pitchY();
    buildRowPointers(image);
    raiseFailure(decoder.readRows(viewOf(image), image.rowPointers, properties));

    ini2 store(image.metaData, image.metaSize);
    takeTexts(store, decoder.lastTexts());
    takeTexts(store, decoder.texts());
    image.maxPix = wholeNumber(store, "MaxPix");
    image.avgPix = wholeNumber(store, "AvgPix");
    image.equivHigh = 65535;
    image.equivLow = 0;
    replaceMetaData(image, store);
}

}  // namespace

int LumoReadImagePNG(lmImage** place, FilePtr file) noexcept {
    slog(8, "LumoReadImagePNG entry");
    PngDecoder decoder;
    bool created = false;
    const int code =
        reporting("LumoReadImagePNG", [&] { readImage(decoder, place, std::move(file), created); });
    if (code != LumoOk && created) LumoDestroyImage(place);
    decoder.close();
    slog(7, "LumoReadImagePNG return %d", code);
    return code;
}

}  // namespace lumo
