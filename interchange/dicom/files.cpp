// What the helper program offers: its options, and the work with descriptors or without.
#include "interchange/dicom/files.h"

#include <stdexcept>

#include "interchange/dicom/dictionary.h"
#include "interchange/dicom/reader.h"
#include "interchange/system.h"

namespace lumo::interchange {

namespace {

using namespace dicom;

constexpr const char* optionNames[] = {"frame",       "any-frame", "keep",      "pitch-from",
                                       "monochrome2", "sop",       "intensity", "compression",
                                       "like",        "version"};

ReadOptions readOptions(const Request& request) {
    ReadOptions options;
    options.frame = request.number("frame");
    options.anyFrame = request.number("any-frame") != 0;
    options.keep = Keep(request.text("keep"));
    options.turn = request.number("monochrome2") != 0;
    const std::string pitch = request.text("pitch-from");
    if (pitch != "" && pitch != "object") throw std::invalid_argument("pitch-from=" + pitch);
    options.objectPitch = pitch == "object";
    return options;
}

Picture readFile(int descriptor, const Request& request) {
    ReadOptions options = readOptions(request);
    options.allowRaster = allowRaster;
    useSmallDictionary();
    return readPicture(fileStream(descriptor), options);
}

std::vector<std::string> writeFile(const Picture&, int, const Request&) {
    throw Refusal("not yet");
}

}  // namespace

const Helper dicomHelper = {"lumo-dicom", optionNames, readFile, writeFile};

Picture readDicom(std::span<const std::uint8_t> file, const Request& request) {
    useSmallDictionary();
    return readPicture(memoryStream(file), readOptions(request));
}

}  // namespace lumo::interchange
