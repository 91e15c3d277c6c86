// What the helper program offers: its options, and the work with descriptors or without.
#include "interchange/dicom/files.h"

#include "interchange/dicom/dictionary.h"
#include "interchange/dicom/reader.h"
#include "interchange/dicom/writer.h"
#include "interchange/system.h"

namespace lumo::interchange {

namespace {

using namespace dicom;

constexpr const char* optionNames[] = {"frame",       "keep", "pitch-from",
                                       "monochrome2", "sop",  "intensity",
                                       "compression", "like", "version"};

ReadOptions readOptions(const Request& request) {
    ReadOptions options;
    options.frame = request.number("frame");
    options.keep = Keep(request.text("keep"));
    options.turn = request.number("monochrome2") != 0;
    const std::string pitch = request.text("pitch-from");
    if (pitch != "" && pitch != "object")
        throw Refusal("the pitch comes from the detector, or from the object, not from " + pitch);
    options.objectPitch = pitch == "object";
    return options;
}

Picture readFile(int descriptor, const Request& request) {
    return readDicom(descriptor, request, allowRaster);
}

WriteOptions writeOptions(const Request& request) {
    WriteOptions options;
    if (request.has("sop")) options.sop = &sopClassNamed(request.text("sop"));
    options.intensity = intensityNamed(request.text("intensity"));
    options.compression = compressionNamed(request.text("compression"));
    options.version = request.text("version");
    return options;
}

/// Writes, reads what was written, and compares.
std::vector<std::string> write(const Picture& picture, const Request& request,
                               const OpenStream& original, const ByteSink& sink,
                               const OpenStream& written) {
    WriteOptions options = writeOptions(request);
    useSmallDictionary();
    if (request.number("like") != 0) {
        useWholeDictionary();  // the original holds what no table here knows
        options.original = original;
    }
    Written result = writePicture(picture, options, sink);
    requireSame(picture, result, written);
    return std::move(result.notes);
}

std::vector<std::string> writeFile(const Picture& picture, int descriptor, const Request& request) {
    const ByteSink sink = [=](const void* from, std::size_t count) {
        writeAll(descriptor, from, count);
    };
    return write(picture, request, fileStream(likeDescriptor), sink, fileStream(descriptor));
}

}  // namespace

const Helper dicomHelper = {"lumo-dicom", optionNames, readFile, writeFile};

std::vector<std::uint8_t> writeDicom(const Picture& picture, const Request& request,
                                     std::span<const std::uint8_t> original,
                                     std::vector<std::string>& notes) {
    std::vector<std::uint8_t> file;
    const ByteSink sink = [&](const void* from, std::size_t count) {
        const auto* const bytes = static_cast<const std::uint8_t*>(from);
        file.insert(file.end(), bytes, bytes + count);
    };
    const OpenStream written = [&] { return memoryStream(file)(); };
    notes = write(picture, request, memoryStream(original), sink, written);
    return file;
}

Picture readDicom(std::span<const std::uint8_t> file, const Request& request) {
    useSmallDictionary();
    return readPicture(memoryStream(file), readOptions(request));
}

Picture readDicom(int descriptor, const Request& request,
                  const std::function<void(std::uint64_t)>& allow) {
    useSmallDictionary();
    ReadOptions options = readOptions(request);
    options.allowRaster = allow;
    return readPicture(fileStream(descriptor), options);
}

}  // namespace lumo::interchange
