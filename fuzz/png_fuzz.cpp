// Any bytes as a PNG file, as they are, with mended checksums, or put together from the input: a
// documented code, nothing in the place after a failure, a sound record that comes back after it.
#include <zlib.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "io/deflate.h"
#include "support.h"

namespace {

using namespace lumo::fuzz;

constexpr std::array<std::uint8_t, 8> signature = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};

std::uint32_t bigEndian(const std::uint8_t* at) {
    return std::uint32_t{at[0]} << 24 | std::uint32_t{at[1]} << 16 | std::uint32_t{at[2]} << 8 |
           at[3];
}

void put32(Bytes& bytes, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<std::uint8_t>(value >> shift));
}

void append(Bytes& bytes, std::span<const std::uint8_t> more) {
    bytes.insert(bytes.end(), more.begin(), more.end());
}

void append(Bytes& bytes, std::string_view text) {
    bytes.insert(bytes.end(), text.begin(), text.end());
}

/// Appends a chunk with the right checksum.
void addChunk(Bytes& file, std::string_view type, const Bytes& data) {
    put32(file, static_cast<std::uint32_t>(data.size()));
    const std::size_t begin = file.size();
    append(file, type);
    append(file, data);
    const auto count = static_cast<uInt>(file.size() - begin);
    put32(file, static_cast<std::uint32_t>(crc32(0, file.data() + begin, count)));
}

Bytes deflated(const Bytes& data) {
    Bytes packed(compressBound(data.size()));
    uLongf size = packed.size();
    compress2(packed.data(), &size, data.data(), data.size(), 1);
    packed.resize(size);
    return packed;
}

/// Gives every whole chunk the right checksum.
void mendChecksums(Bytes& file) {
    for (std::size_t at = signature.size(); file.size() - std::min(at, file.size()) >= 12;) {
        const std::size_t size = bigEndian(&file[at]);
        if (size > file.size() - at - 12) return;
        Bytes sum;
        put32(sum,
              static_cast<std::uint32_t>(crc32(0, &file[at + 4], static_cast<uInt>(size + 4))));
        std::ranges::copy(sum, file.begin() + static_cast<std::ptrdiff_t>(at + 8 + size));
        at += size + 12;
    }
}

struct Header {
    std::uint32_t width, height;
    std::uint8_t depth, colourType, interlace;

    explicit Header(Input& in) {
        constexpr std::uint8_t depths[] = {8, 16, 1, 2, 4}, colourTypes[] = {0, 2, 3, 4, 6};
        width = 1U + in.byte() % 70;
        height = 1U + in.byte() % 20;
        depth = in.oneOf(depths);
        colourType = in.oneOf(colourTypes);
        interlace = in.byte() % 2;
    }

    [[nodiscard]] Bytes bytes() const {
        Bytes data;
        put32(data, width);
        put32(data, height);
        append(data, std::array<std::uint8_t, 5>{depth, colourType, 0, 0, interlace});
        return data;
    }

    [[nodiscard]] std::size_t rowSize(std::uint32_t pixels) const {
        constexpr std::size_t channels[] = {1, 0, 3, 1, 2, 0, 4};
        return (pixels * channels[colourType] * depth + 7) / 8;
    }
};

/// The rows of one pass, filled with the pattern over and over; each begins with a filter type.
void addPass(Bytes& rows, const Header& header, std::uint32_t width, std::uint32_t height,
             const Bytes& pattern, std::size_t& used) {
    const auto next = [&] {
        return pattern.empty() ? std::uint8_t{0} : pattern[used++ % pattern.size()];
    };
    if (width == 0) return;
    for (std::uint32_t y = 0; y < height; ++y) {
        rows.push_back(next() % 5);
        for (std::size_t i = header.rowSize(width); i > 0; --i) rows.push_back(next());
    }
}

Bytes rowsOf(const Header& header, const Bytes& pattern) {
    constexpr std::uint32_t passes[7][4] = {// first column and row, steps
                                            {0, 0, 8, 8}, {4, 0, 8, 8}, {0, 4, 4, 8}, {2, 0, 4, 4},
                                            {0, 2, 2, 4}, {1, 0, 2, 2}, {0, 1, 1, 2}};
    Bytes rows;
    std::size_t used = 0;
    if (header.interlace == 0) addPass(rows, header, header.width, header.height, pattern, used);
    for (const auto& [x, y, stepX, stepY] : passes)
        if (header.interlace != 0)
            addPass(rows, header, (header.width + stepX - 1 - x) / stepX,
                    (header.height + stepY - 1 - y) / stepY, pattern, used);
    return rows;
}

/// The image data in one chunk or two, whole or cut.
void addRows(Bytes& file, const Header& header, Input& in) {
    const std::uint8_t way = in.byte();
    const Bytes pattern = in.bytes(in.byte());
    Bytes data = deflated(rowsOf(header, pattern));
    if (way % 16 == 1) data.resize(data.size() * way / 256);
    const std::size_t cut = way % 2 == 0 ? data.size() : data.size() / 2;
    const auto middle = data.begin() + static_cast<std::ptrdiff_t>(cut);
    addChunk(file, "IDAT", {data.begin(), middle});
    if (middle != data.end()) addChunk(file, "IDAT", {middle, data.end()});
}

void addText(Bytes& file, std::string_view type, Input& in) {
    constexpr const char* keywords[] = {"Image_X",  "Creation Time", "Source",
                                        "Software", "Author",        "Comment"};
    Bytes data;
    append(data, in.oneOf(keywords));
    data.push_back(0);
    const Bytes text = in.bytes(in.word() % 2048);
    if (type == "zTXt") data.push_back(0);  // deflate
    if (type == "iTXt") append(data, std::array<std::uint8_t, 4>{in.byte(), 0, 0, 0});
    const bool packed = type == "zTXt" || (type == "iTXt" && data[data.size() - 4] == 1);
    append(data, packed ? deflated(text) : text);
    addChunk(file, type, data);
}

Bytes builtFile(Input& in) {
    constexpr const char* types[] = {"IDAT", "tEXt", "zTXt", "iTXt", "pHYs", "PLTE",
                                     "tRNS", "gAMA", "sBIT", "bKGD", "cHRM", "IEND"};
    Bytes file(signature.begin(), signature.end());
    const Header header(in);
    addChunk(file, "IHDR", header.bytes());
    for (int count = 0; !in.empty() && count < 40; ++count) {
        const std::string_view type = in.oneOf(types);
        if (type == "IDAT")
            addRows(file, header, in);
        else if (type.ends_with("TXt") || type == "tEXt")
            addText(file, type, in);
        else
            addChunk(file, type, in.bytes(in.byte()));
    }
    addChunk(file, "IEND", {});
    return file;
}

/// What libpng alone makes of the file, which has to be the same.
void isAsLibpngSays(const std::string& name, int code, const ImageOwner& image) {
    const lumo::WithoutFastDeflate without;
    ImageOwner other;
    require(LumoReadImage(&other.image, name.c_str()) == code, "libpng alone gives the same code");
    if (code != LumoOk) return;
    requireSameRaster(image, other, "libpng alone gives the same raster");
    require(image->pixelsizeX == other->pixelsizeX && image->pixelsizeY == other->pixelsizeY,
            "libpng alone gives the same pitch");
    // The time of reading stands in for a missing one, which may differ by a second.
    for (const ImageOwner* each : {&image, &std::as_const(other)})
        LumoSetMetaEntry(each->image, "Image", "Creation Time", nullptr);
    require(image.metaData() == other.metaData(), "libpng alone gives the same metadata");
}

/// Writes the image and reads it again, which must give the same; then once more the same bytes.
void comesBack(const ImageOwner& image) {
    const std::string name = fileNamed("again.png");
    const int code = LumoWriteImage(image.image, name.c_str(), FormatPng);
    if (image->pixelsizeX == 0 || image->pixelsizeY == 0) {
        require(code == LumoErrorImage, "a pitch of 0 is not written");
        return;
    }
    require(code == LumoOk, "what was read can be written");
    ImageOwner again;
    require(LumoReadImage(&again.image, name.c_str()) == LumoOk, "what was written can be read");
    {
        const lumo::WithoutFastDeflate without;
        ImageOwner read;
        require(LumoReadImage(&read.image, name.c_str()) == LumoOk,
                "libpng reads what was written");
        requireSameRaster(image, read, "libpng reads the raster that was written");
    }
    requireSound(again.image);
    requireSameRaster(image, again, "the raster comes back");
    require(again->pixelsizeX == asPngKeepsPitch(image->pixelsizeX) &&
                again->pixelsizeY == asPngKeepsPitch(image->pixelsizeY),
            "the pitch comes back");
    require(again->maxPix == image->maxPix && again->avgPix == image->avgPix,
            "the statistics come back");
    requireSameEntries(asPngKeeps(image.metaData()), again.metaData(), "the metadata comes back");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const std::uint8_t way = in.byte();
    Bytes file = way % 4 < 2 ? in.rest() : builtFile(in);
    if (way % 4 == 1) mendChecksums(file);
    if (file.size() < signature.size() ||
        !std::equal(signature.begin(), signature.end(), file.begin()))
        return 0;
    const std::string name = fileNamed("any.png");
    writeFile(name, file);

    ImageOwner owner;
    if (way >= 128) LumoCreateImage(&owner.image, 3, 2);
    const lmImage* const older = owner.image;
    const int code = LumoReadImage(&owner.image, name.c_str());
    require(code == LumoOk || code == LumoErrorFile || code == LumoErrorImage ||
                code == LumoErrorMemory,
            "the code is one of the documented ones");
    if (code != LumoOk) {
        require(owner.image == nullptr || owner.image == older, "no record after a failure");
        isAsLibpngSays(name, code, owner);
        return 0;
    }
    requireSound(owner.image);
    require(owner->rowPointers != nullptr, "a PNG reader leaves its row pointers");
    require(owner->equivLow == 0 && owner->equivHigh == 65535, "the dose bounds are set");
    comesBack(owner);
    isAsLibpngSays(name, code, owner);
    return 0;
}
