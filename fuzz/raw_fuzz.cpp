// Any raw pixel file and any information file through the older functions: predicted codes and
// values, bytes that come back, turns that agree with their definition and undo each other.
//
// Input: rotation in two bytes, length of the information file in two, that file, the pixel file.
#include <algorithm>
#include <cstring>

#include "support.h"

namespace {

using namespace lumo::fuzz;

constexpr std::size_t headerSize = 101;

struct Raster {
    Image image{};
    Raster() = default;
    ~Raster() { Destroy_Image(&image); }
    Raster(const Raster&) = delete;
    Raster& operator=(const Raster&) = delete;
    [[nodiscard]] std::vector<std::uint16_t> pixels() const {
        return {image.data, image.data + std::size_t{image.width} * image.height};
    }
};

/// The pixels of the turned image, each where the definition puts it.
template <class Pixel>
std::vector<Pixel> turned(const std::vector<Pixel>& pixels, int width, int height, int rotation) {
    const bool left = rotation == 90 || rotation == -270,
               right = rotation == 270 || rotation == -90;
    const bool half = rotation == 180 || rotation == -180;
    const int turnedWidth = left || right ? height : width;
    std::vector<Pixel> result;
    for (int i = 0; i < width * height; ++i) {
        const int column = i % turnedWidth, row = i / turnedWidth;
        int x = column, y = row;
        if (left) x = width - 1 - row, y = column;
        if (right) x = row, y = height - 1 - column;
        if (half) x = width - 1 - column, y = height - 1 - row;
        result.push_back(pixels[static_cast<std::size_t>(y * width + x)]);
    }
    return result;
}

void turnsAreAsDefined(const Raster& raster, int rotation) {
    std::string name = fileNamed("turned.raw");
    require(WriteImageRot(raster.image, name.data(), rotation) == 0, "a raster can be written");
    Raster again;
    require(Read_Image(name.c_str(), &again.image) == 0, "what was written can be read");
    const int width = raster.image.width, height = raster.image.height;
    require(again.pixels() == turned(raster.pixels(), width, height, rotation), "a turn turns");
    for (int turn = 1; turn < 4 && rotation % 90 == 0; ++turn) {
        require(WriteImageRot(again.image, name.data(), rotation) == 0, "it is written again");
        Destroy_Image(&again.image);
        require(Read_Image(name.c_str(), &again.image) == 0, "it is read again");
    }
    if (rotation % 90 == 0)
        require(again.image.width == width && again.pixels() == raster.pixels(),
                "four equal quarter turns are none");
}

void codesTurnToo(const PixelFile& file, const Bytes& bytes, int rotation) {
    Bytes codes(bytes.begin() + 256, bytes.begin() + 256 + file.width * file.height);
    Image8 image{};
    image.width = file.width;
    image.height = file.height;
    image.whiteLevel = littleEndian(bytes, 8, 2) | 0x50000;
    image.pixels = codes.data();
    const std::string name = fileNamed("turned8.raw");
    require(WriteImage8Rot(image, name.c_str(), rotation) == 0, "codes can be written");
    const Bytes written = readFile(name);
    require(written.size() == 256 + codes.size() && PixelFile(written).whole &&
                littleEndian(written, 8, 2) == littleEndian(bytes, 8, 2),
            "the header holds size and white level");
    require(Bytes(written.begin() + 256, written.end()) ==
                turned(codes, file.width, file.height, rotation),
            "codes turn as pixels do");
}

void readsPixels(const std::string& name, const Bytes& bytes, int rotation) {
    const PixelFile file(bytes);
    Raster raster;
    const int code = Read_Image(name.c_str(), &raster.image);
    const bool empty = file.eightBit && file.headed && (file.width == 0 || file.height == 0);
    require(code == (file.whole || empty ? LumoOk : LumoErrorImage),
            "the code is what the file deserves");
    if (!file.headed) require(raster.image.data == nullptr, "no raster without a header");
    if (!file.whole) return;
    require(raster.image.width == file.width && raster.image.height == file.height &&
                raster.pixels() == file.pixels,
            "the raster holds the file's pixels");
    const std::string copyName = fileNamed("copy.raw");
    require(Write_Image(copyName.c_str(), raster.image) == 0, "a raster can be written");
    const Bytes copy = readFile(copyName);
    require(PixelFile(copy).pixels == file.pixels && copy.size() == 4 + 2 * file.pixels.size(),
            "the copy holds the same pixels");
    turnsAreAsDefined(raster, rotation);
    if (file.eightBit) codesTurnToo(file, bytes, rotation);
}

void readsInfo(const std::string& imageName, const Bytes& info) {
    ImageInfo record{};
    const int code = Get_ImageInfo(&record, imageName.c_str());
    const bool whole = info.size() >= headerSize;
    require((code == LumoOk) == (whole && isAcceptable(info)) && (code == 0 || code == -1),
            "the code says whether the header is whole and acceptable");
    const std::string copyName = fileNamed("copy.txt");
    require(WriteImageInfo(record, copyName.c_str()) == 0, "any record can be written");
    const Bytes copy = readFile(copyName);
    require(copy.size() == headerSize, "a header has its size");
    if (whole) require(std::equal(copy.begin(), copy.end(), info.begin()), "a header comes back");

    const auto claimed = static_cast<std::int32_t>(whole ? littleEndian(info, 97, 4) : 0);
    const std::size_t rest = whole ? info.size() - headerSize : 0;
    const std::size_t size = std::min(rest, static_cast<std::size_t>(std::max(claimed, 0)));
    require(static_cast<std::size_t>(Get_ImageExtraHeaderSize(imageName.c_str())) == size,
            "the block's size is what the file holds of it");
    Bytes block(size);  // exactly: one byte more would be noticed
    require(static_cast<std::size_t>(Get_ImageExtraHeader(imageName.c_str(), block.data())) == size,
            "the block has the size that was reported");
    require(size == 0 || std::memcmp(block.data(), &info[headerSize], size) == 0,
            "the block comes byte for byte");
    require(Set_ImageExtraHeader(static_cast<std::uint32_t>(size), block.data()) == 0,
            "a block can be kept");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    constexpr int rotations[] = {90, 180, 270, -90, -180, -270, 0, 360};
    Input in(data, size);
    const std::uint16_t choice = in.word();
    const int rotation = choice < 256 ? rotations[choice % 8] : static_cast<std::int16_t>(choice);
    const Bytes info = in.bytes(in.word()), pixels = in.rest();
    if (claimsTooMuch(pixels)) return 0;
    const std::string name = fileNamed("any.raw");
    writeFile(name, pixels);
    writeFile(fileNamed("any.txt"), info);
    readsPixels(name, pixels, rotation);
    readsInfo(name, info);
    return 0;
}
