// Any bytes as a TIFF file: refused in words, or a picture within the pipe's limits that comes back
// from TIFF and PNG.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <new>

#include "interchange/tiff_files.h"
#include "interchange/transfer.h"
#include "support.h"

namespace {

using namespace lumo::fuzz;
using namespace lumo::interchange;

constexpr std::uint64_t largest = 4 << 20;  // bytes of a raster that is looked at further

struct OpenFile {
    explicit OpenFile(const std::string& name, int flags)
        : number(open(name.c_str(), flags, 0600)) {
        require(number >= 0, "a file can be opened");
    }
    ~OpenFile() { close(number); }
    OpenFile(const OpenFile&) = delete;
    OpenFile& operator=(const OpenFile&) = delete;
    int number;
};

Picture read(const std::string& name, const Request& request) {
    const OpenFile file(name, O_RDONLY);
    return readTiff(file.number, request);
}

void requireSame(const Picture& one, const Picture& other) {
    require(
        one.width == other.width && one.height == other.height &&
            std::equal(one.raster.get(), one.raster.get() + one.pixelCount(), other.raster.get()),
        "the values come back");
}

void throughTiff(const Picture& picture, const char* compression) {
    const std::string name = fileNamed("again.tif");
    {
        const OpenFile file(name, O_RDWR | O_CREAT | O_TRUNC);
        const std::map<std::string, std::string> options = {{"compression", compression}};
        (void)writeTiff(picture, file.number, Request(options));
    }
    const Picture back = read(name, Request());
    requireSame(picture, back);
    require(picture.entries == back.entries, "the entries come back");
}

void throughPng(const Picture& picture) {
    ImageOwner image;
    require(LumoCreateImage(&image.image, static_cast<std::uint16_t>(picture.width),
                            static_cast<std::uint16_t>(picture.height)) == 0,
            "an image can be created");
    std::copy_n(picture.raster.get(), picture.pixelCount(), image->data);
    for (const Entry& entry : picture.entries)
        require(LumoSetMetaEntry(image.image, entry.section.c_str(), entry.key.c_str(),
                                 entry.value.c_str()) == 0,
                "an entry can be set");
    requireSound(image.image);
    const std::string name = fileNamed("again.png");
    require(LumoWriteImage(image.image, name.c_str(), FormatPng) == 0, "PNG takes it");
    ImageOwner back;
    require(LumoReadImage(&back.image, name.c_str()) == 0, "PNG gives it back");
    requireSameRaster(image, back, "the values come back from PNG");
}

/// What the program would be sent.
void sendAway(Picture& picture) {
    sendPicture([](const void*, std::size_t) {}, picture, picture.raster.get());
    // Longer or more than what crosses the pipe never reaches a writer.
    std::erase_if(picture.entries, [](const Entry& entry) {
        return entry.section.size() > longestName || entry.key.size() > longestName ||
               entry.value.size() > longestValue;
    });
    if (picture.entries.size() > 100) picture.entries.resize(100);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    constexpr const char* compressions[] = {"none", "lzw", "deflate", "packbits"};
    const char* const compression = in.oneOf(compressions);
    const std::uint8_t choice = in.byte();
    std::map<std::string, std::string> options;
    if (choice % 4 != 0) options["frame"] = std::to_string(choice % 4);
    if (choice & 4) options["monochrome2"] = "1";
    const std::string name = fileNamed("a.tif");
    writeFile(name, in.rest());
    try {
        Picture picture = read(name, Request(options));
        sendAway(picture);
        if (picture.rasterBytes() > largest) return 0;
        throughTiff(picture, compression);
        throughPng(picture);
    } catch (const Refusal& refusal) {
        require(*refusal.what() != '\0', "a refusal says why");
    }
    return 0;
}
