// Any pixel file with any information file: the code and the record that a reader of our own
// predicts, and after success a way through a written file that keeps every byte of the header.
//
// Input: flags, length of the information file in two bytes, that file, the pixel file.
#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "support.h"

namespace {

using namespace lumo::fuzz;

constexpr std::size_t headerSize = 101;

struct Pair {
    Bytes info, pixels;
    bool infoMissing;
};

int expectedCode(const Pair& pair, const PixelFile& file) {
    if (!file.whole) return LumoErrorImage;
    if (pair.infoMissing) return LumoErrorInfoMissing;
    const bool valid = pair.info.size() >= headerSize && isAcceptable(pair.info);
    return valid ? LumoOk : LumoErrorInfoInvalid;
}

/// What the reader leaves in the place after a failure: what it had read until then.
void leavesWhatWasRead(const ImageOwner& owner, const PixelFile& file) {
    if (!file.headed) {
        require(owner.image == nullptr, "no record without a header");
        return;
    }
    requireSound(owner.image);
    const bool hasRaster = file.width != 0 && file.height != 0;
    require(owner->width == (hasRaster ? file.width : 0) &&
                owner->height == (hasRaster ? file.height : 0),
            "the record has the size that the header promises");
    // Of 8-bit files whole rows are kept.
    const std::size_t kept = file.eightBit && file.width != 0
                                 ? file.pixels.size() / static_cast<std::size_t>(file.width) *
                                       static_cast<std::size_t>(file.width)
                                 : file.pixels.size();
    require(kept == 0 || std::equal(owner->data, owner->data + kept, file.pixels.begin()),
            "the pixels that there were are in the raster");
    require(owner->pixelsizeX == 100000 && owner->pixelsizeY == 100000 && owner->maxPix == 0,
            "the record is as it was created");
    require(owner.metaData().starts_with("[Image]\nCreation Time=") && owner->metaSize < 64,
            "the metadata is as it was created");
}

std::int32_t impliedPixelsize(const lmImage* image, float scale) {
    const double size = std::sqrt(static_cast<double>(image->pixelsizeY) * image->pixelsizeX) *
                        static_cast<double>(scale);
    if (std::isnan(size)) return 0;
    return static_cast<std::int32_t>(std::clamp(size, double{INT32_MIN}, double{INT32_MAX}));
}

/// The header as the writer makes it from what the reader took out of this one.
Bytes expectedHeader(const Bytes& info, const lmImage* image, std::size_t bodySize) {
    Bytes header(info.begin(), info.begin() + headerSize);
    setLittleEndian(header, 0, 4, 108);
    setLittleEndian(header, 4, 4, image->width);
    setLittleEndian(header, 8, 4, image->height);
    if (header[28] == 0) header[28] = 1;  // a month that has no name becomes January
    const auto source = header.begin() + 33, reserved = source + 32;
    std::fill(std::find(source, reserved, 0), reserved, std::uint8_t{0});
    std::fill(reserved, reserved + 16, std::uint8_t{0});
    const float scale = std::bit_cast<float>(littleEndian(header, 86, 4));
    if (littleEndian(header, 82, 4) == 0)
        setLittleEndian(header, 82, 4, static_cast<std::uint32_t>(impliedPixelsize(image, scale)));
    setLittleEndian(header, 97, 4, static_cast<std::uint32_t>(bodySize));
    return header;
}

/// Blanks what need not come back: times beyond the time stamp's four digits, the bits of a NaN.
void blankTheUnkept(Bytes& header, const Bytes& original) {
    if (littleEndian(original, 26, 2) > 9999)
        std::fill(header.begin() + 26, header.begin() + 33, std::uint8_t{0});
    const float scale = std::bit_cast<float>(littleEndian(header, 86, 4));
    if (std::isnan(scale)) setLittleEndian(header, 86, 4, 0);
}

Bytes bodyOf(const Bytes& info) {
    const auto claimed = static_cast<std::int32_t>(littleEndian(info, 97, 4));
    const std::size_t size =
        std::min(info.size() - headerSize, static_cast<std::size_t>(std::max(claimed, 0)));
    const auto begin = info.begin() + headerSize;
    return {begin, begin + static_cast<std::ptrdiff_t>(size)};
}

void isAsTheFilesTell(const ImageOwner& owner, const Bytes& info, const PixelFile& file) {
    requireSound(owner.image);
    require(owner.pixels() == file.pixels, "the raster holds the file's pixels");
    require(owner->pixelsizeX == littleEndian(info, 12, 4) &&
                owner->pixelsizeY == littleEndian(info, 16, 4) &&
                owner->maxPix == littleEndian(info, 90, 2) &&
                owner->avgPix == littleEndian(info, 92, 2) && owner->equivLow == 0 &&
                owner->equivHigh == 65535,
            "the record holds the header's values");
    require(owner.extHeader() == bodyOf(info), "the extended header comes byte for byte");
    char source[33] = "";
    std::memcpy(source, &info[33], 32);
    require(owner.entry("Image", "Source") == source, "the source is an entry");
}

/// Writes the image, compares the files with those it came from, and goes round once more.
void comesBack(const ImageOwner& owner, const Bytes& info) {
    const std::string name = fileNamed("again.xyz"), infoName = fileNamed("again.txt");
    require(LumoWriteImage(owner.image, name.c_str(), FormatAuto) == 0, "what was read is written");
    const Bytes pixels = readFile(name), written = readFile(infoName), body = bodyOf(info);
    require(PixelFile(pixels).pixels == owner.pixels(), "the pixel file holds the raster");
    require(written.size() == headerSize + body.size() &&
                std::equal(body.begin(), body.end(), written.begin() + headerSize),
            "the information file ends with the extended header");
    Bytes header(written.begin(), written.begin() + headerSize);
    Bytes expected = expectedHeader(info, owner.image, body.size());
    blankTheUnkept(header, info);
    blankTheUnkept(expected, info);
    require(header == expected, "the header keeps its bytes");

    ImageOwner again;
    require(LumoReadImage(&again.image, name.c_str()) == 0, "what was written is read");
    requireSameRaster(owner, again, "the raster comes back");
    require(LumoWriteImage(again.image, name.c_str(), FormatXyz) == 0, "it is written again");
    require(readFile(name) == pixels && readFile(infoName) == written, "the same bytes again");
}

void comesBackCoded(const ImageOwner& owner) {
    const std::string name = fileNamed("coded.xyz");
    require(LumoWriteImage(owner.image, name.c_str(), FormatXyz8) == 0, "8-bit files are written");
    const std::size_t count = owner.pixels().size();
    Bytes codes(count);
    std::uint16_t whiteLevel = 0;
    Convert_Image16_8(owner->data, codes.data(), owner->width, owner->height, 0, &whiteLevel);
    std::vector<std::uint16_t> expected(count);
    Convert_Image8_16(codes.data(), expected.data(), owner->width, owner->height, whiteLevel);
    ImageOwner again;
    require(LumoReadImage(&again.image, name.c_str()) == 0, "8-bit files are read");
    require(again.pixels() == expected, "8-bit files lose what the coding loses");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const std::uint8_t flags = in.byte();
    Pair pair;
    pair.infoMissing = flags % 16 == 1;
    pair.info = in.bytes(in.word());
    pair.pixels = in.rest();
    constexpr char pngStart[] = "\x89PNG";
    const bool isPng = pair.pixels.size() >= 4 && std::memcmp(pair.pixels.data(), pngStart, 4) == 0;
    if (isPng || claimsTooMuch(pair.pixels)) return 0;
    const std::string name = fileNamed("any.xyz"), infoName = fileNamed("any.txt");
    writeFile(name, pair.pixels);
    writeFile(infoName, pair.info);
    if (pair.infoMissing) std::remove(infoName.c_str());

    const PixelFile file(pair.pixels);
    ImageOwner owner;
    const int code = LumoReadImage(&owner.image, name.c_str());
    require(code == expectedCode(pair, file), "the code is the one that the files deserve");
    if (code != LumoOk) {
        leavesWhatWasRead(owner, file);
        return 0;
    }
    isAsTheFilesTell(owner, pair.info, file);
    comesBack(owner, pair.info);
    if (flags >= 128) comesBackCoded(owner);
    return 0;
}
