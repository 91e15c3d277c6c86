// Any bytes as a DICOM file: refused in words, or a picture within the pipe's limits that comes
// back from a DICOM file of our own.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "interchange/dicom/files.h"
#include "interchange/transfer.h"
#include "support.h"

namespace {

using namespace lumo::fuzz;
using namespace lumo::interchange;

constexpr std::uint64_t largest = 4 << 20;  // bytes of a raster

void allow(std::uint64_t bytes) {
    if (bytes > largest) throw Refusal("more than a fuzz run should spend on it");
}

Picture read(const std::string& name, const Request& request) {
    const int file = open(name.c_str(), O_RDONLY);
    require(file >= 0, "a file can be opened");
    const struct Closer {
        int file;
        ~Closer() { close(file); }
    } closer{file};
    return readDicom(file, request, allow);
}

/// What the program would be sent and send back: no entry longer than what crosses the pipe.
void sendAway(Picture& picture) {
    sendPicture([](const void*, std::size_t) {}, picture, picture.raster.get());
    std::erase_if(picture.entries, [](const Entry& entry) {
        return entry.section.size() > longestName || entry.key.size() > longestName ||
               entry.value.size() > longestValue;
    });
    std::erase_if(picture.entries, [](const Entry& entry) {
        return entry.section == "Import" && (entry.key == turnedMark || entry.key == shiftedMark);
    });
}

void comesBack(const Picture& picture, const char* compression) {
    const std::map<std::string, std::string> options = {{"sop", "sc"},
                                                        {"compression", compression}};
    std::vector<std::string> notes;
    Bytes file;
    try {
        file = writeDicom(picture, Request(options), {}, notes);
    } catch (const Refusal& refusal) {
        require(false, refusal.what());
    }
    const std::string name = fileNamed("again.dcm");
    writeFile(name, file);
    const Picture back = read(name, Request());
    require(back.width == picture.width && back.height == picture.height &&
                std::equal(back.raster.get(), back.raster.get() + back.pixelCount(),
                           picture.raster.get()),
            "the values come back");
}

}  // namespace

/// DCMTK forgets the buffer of a JPEG-LS frame that it refuses. A helper ends after one file.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:DJLSDecoderBase::decodeFrame";
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    constexpr const char* compressions[] = {"none", "rle", "jpeg-lossless", "jpeg-ls"};
    const char* const compression = in.oneOf(compressions);
    const std::uint8_t choice = in.byte();
    std::map<std::string, std::string> options;
    if (choice % 4 != 0) options["frame"] = std::to_string(choice % 4);
    if (choice & 4) options["monochrome2"] = "1";
    if (choice & 8) options["pitch-from"] = "object";
    if (choice & 16) options["keep"] = "all";
    const std::string name = fileNamed("a.dcm");
    writeFile(name, in.rest());
    try {
        Picture picture = read(name, Request(options));
        sendAway(picture);
        comesBack(picture, compression);
    } catch (const Refusal& refusal) {
        require(*refusal.what() != '\0', "a refusal says why");
    }
    return 0;
}
