// What the fuzz targets share.
#include "support.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include "frame/ini2.h"

namespace lumo::fuzz {
namespace {

constexpr std::size_t header16Size = 4, header8Size = 256;
constexpr std::uint64_t largestRaster = 4 << 20;  // bytes
constexpr std::uint32_t nanometresPerMetre = 1000000000;

/// The folder of this process.
class Folder {
public:
    Folder() {
        std::string name = (std::filesystem::temp_directory_path() / "lumo-fuzz-XXXXXX").string();
        require(mkdtemp(name.data()) != nullptr, "a folder for files can be made");
        path_ = name;
    }
    ~Folder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

struct Store : ini2 {
    explicit Store(const std::string& text) : ini2(text.data(), static_cast<int>(text.size())) {}
    [[nodiscard]] std::string text() { return {getBuffer(), getSize()}; }
};

void requireHolds(const std::string& text, const std::string& other, const char* what) {
    Store store(text), more(other);
    store.set(more);
    require(store.text() == text, what);
}

/// In the written order: whole numbers would give one more where the product is nearly whole.
std::uint16_t widened(std::uint32_t code, std::uint32_t whiteLevel) {
    const double factor = whiteLevel / 65535.0;
    return static_cast<std::uint16_t>(std::min(code * code * factor, 65535.0));
}

/// Width and height as the header gives them, and where the pixels begin; false without a header.
struct Claim {
    bool headed = false, eightBit = false;
    std::uint32_t width = 0, height = 0, whiteLevel = 0;
    std::size_t begin = header16Size;

    explicit Claim(const Bytes& bytes) {
        if (bytes.size() < header16Size) return;
        width = littleEndian(bytes, 0, 2);
        height = littleEndian(bytes, 2, 2);
        eightBit = width == 65535 && height == 0;
        headed = !eightBit || bytes.size() >= header8Size;
        if (!eightBit || !headed) return;
        begin = header8Size;
        width = littleEndian(bytes, 4, 2);
        height = littleEndian(bytes, 6, 2);
        whiteLevel = littleEndian(bytes, 8, 2);
    }
    [[nodiscard]] std::uint64_t count() const { return std::uint64_t{width} * height; }
};

}  // namespace

void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

std::uint8_t Input::byte() {
    if (rest_.empty()) return 0;
    const std::uint8_t first = rest_.front();
    rest_ = rest_.subspan(1);
    return first;
}

std::uint16_t Input::word() {
    const std::uint8_t low = byte();
    return static_cast<std::uint16_t>(low | byte() << 8);
}

std::uint32_t Input::longWord() {
    const std::uint32_t low = word();
    return low | std::uint32_t{word()} << 16;
}

Bytes Input::bytes(std::size_t count) {
    const auto taken = rest_.first(std::min(count, rest_.size()));
    rest_ = rest_.subspan(taken.size());
    return {taken.begin(), taken.end()};
}

std::string Input::text(std::size_t longest) {
    const auto end = std::ranges::find(rest_, std::uint8_t{0});
    const Bytes taken = bytes(std::min(longest, static_cast<std::size_t>(end - rest_.begin())));
    if (!rest_.empty() && rest_.front() == 0) byte();
    return {taken.begin(), taken.end()};
}

std::string fileNamed(const char* name) {
    static const Folder folder;
    return (folder.path() / name).string();
}

void writeFile(const std::string& name, std::span<const std::uint8_t> bytes) {
    std::FILE* const file = std::fopen(name.c_str(), "wb");
    require(file != nullptr, "an input file can be created");
    // An empty span has no address, which fwrite() may not be given.
    const std::size_t count = bytes.empty() ? 0 : std::fwrite(bytes.data(), 1, bytes.size(), file);
    require(std::fclose(file) == 0 && count == bytes.size(), "an input file can be written");
}

Bytes readFile(const std::string& name) {
    Bytes bytes;
    std::FILE* const file = std::fopen(name.c_str(), "rb");
    if (file == nullptr) return bytes;
    std::uint8_t block[4096];
    while (const std::size_t count = std::fread(block, 1, sizeof block, file))
        bytes.insert(bytes.end(), block, block + count);
    std::fclose(file);
    return bytes;
}

std::uint32_t littleEndian(const Bytes& bytes, std::size_t at, std::size_t size) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < size; ++i) value |= std::uint32_t{bytes.at(at + i)} << (8 * i);
    return value;
}

void setLittleEndian(Bytes& bytes, std::size_t at, std::size_t size, std::uint32_t value) {
    for (std::size_t i = 0; i < size; ++i)
        bytes.at(at + i) = static_cast<std::uint8_t>(value >> (8 * i));
}

PixelFile::PixelFile(const Bytes& bytes) {
    const Claim claim(bytes);
    headed = claim.headed;
    eightBit = claim.eightBit;
    if (!headed) return;
    width = static_cast<int>(claim.width);
    height = static_cast<int>(claim.height);
    const std::size_t pixelSize = eightBit ? 1 : 2;
    for (std::size_t at = claim.begin;
         pixels.size() < claim.count() && at + pixelSize <= bytes.size(); at += pixelSize)
        pixels.push_back(eightBit ? widened(bytes[at], claim.whiteLevel)
                                  : static_cast<std::uint16_t>(littleEndian(bytes, at, 2)));
    whole = claim.count() > 0 && pixels.size() == claim.count();
}

bool claimsTooMuch(const Bytes& pixelFile) {
    return Claim(pixelFile).count() * sizeof(std::uint16_t) > largestRaster;
}

bool isAcceptable(const Bytes& header) {
    const struct {
        std::size_t at, size;
        std::uint32_t lowest, highest;
    } ranges[] = {
        {4, 4, 1, 65535},      {8, 4, 1, 65535},     {12, 4, 1000, 1000000}, {16, 4, 1000, 1000000},
        {21, 4, 0, INT32_MAX}, {26, 2, 1997, 65535}, {28, 1, 0, 12},         {29, 1, 0, 31},
        {30, 1, 0, 23},        {31, 1, 0, 59},       {32, 1, 0, 59},
    };
    return std::ranges::all_of(ranges, [&](const auto& range) {
        const std::uint32_t value = littleEndian(header, range.at, range.size);
        return range.lowest <= value && value <= range.highest;
    });
}

std::vector<std::uint16_t> ImageOwner::pixels() const {
    return {image->data, image->data + std::size_t{image->width} * image->height};
}

std::string ImageOwner::entry(const char* section, const char* key) const {
    char value[1024];
    std::int32_t size = sizeof value;
    require(LumoGetMetaEntry(image, section, key, value, &size) == 0, "an entry can be read");
    require(static_cast<std::size_t>(size) == std::strlen(value) + 1, "an entry's size is counted");
    return value;
}

Bytes ImageOwner::extHeader() const {
    std::int32_t size = 0;
    require(LumoGetExtHeader(image, nullptr, &size) == 0, "the extended header has a size");
    Bytes body(static_cast<std::size_t>(size));
    if (size == 0) return body;
    require(LumoGetExtHeader(image, reinterpret_cast<char*>(body.data()), &size) == 0 &&
                static_cast<std::size_t>(size) == body.size(),
            "the extended header has the size that it said");
    return body;
}

void requireSound(const lmImage* image) {
    require(image != nullptr && image->metaData != nullptr, "a record has metadata");
    require(static_cast<std::size_t>(image->metaSize) == std::strlen(image->metaData) + 1,
            "the metadata's size counts its zero");
    require((image->data != nullptr) == (image->width != 0) &&
                (image->width != 0) == (image->height != 0),
            "a raster has two sides, no raster none");
    if (image->rowPointers == nullptr) return;
    for (std::size_t y = 0; y < image->height; ++y)
        require(image->rowPointers[y] == image->data + y * image->width, "rows lie in the raster");
}

void requireSameRaster(const ImageOwner& one, const ImageOwner& other, const char* what) {
    require(one->width == other->width && one->height == other->height &&
                one.pixels() == other.pixels(),
            what);
}

std::string asPngKeeps(const std::string& metaData) {
    Store store(metaData);
    // In the reader's order: a comment at a section's end goes to the entry that follows first.
    for (const char* key : {"Author", "Software", "Source", "Creation Time"}) {
        char value[1024];
        store.get("Image", key, value, nullptr);
        if (std::strlen(value) < sizeof value - 1) store.set("Image", key, value, nullptr);
    }
    return store.text();
}

void requireSameEntries(const std::string& one, const std::string& other, const char* what) {
    requireHolds(one, other, what);
    requireHolds(other, one, what);
}

std::uint32_t asPngKeepsPitch(std::uint32_t pitch) {
    return nanometresPerMetre / (nanometresPerMetre / pitch);
}

}  // namespace lumo::fuzz

/// No log: it would cost more than what is tried. A folder that is none cannot hold one.
extern "C" const char* lumoLogDirectory(void) {
    return "/dev/null";
}
