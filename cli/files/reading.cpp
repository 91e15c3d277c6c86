// Opens an input, lets its format's reader have it, and completes what the reader gave.
#include "cli/files/reading.h"

#include <system_error>

#include "cli/files/diagnosis.h"
#include "cli/files/formats.h"
#include "cli/files/names.h"
#include "cli/files/pitch.h"
#include "cli/messages.h"

namespace lumo::cli {

namespace {

/// What a PNG file without a resolution is given: 72 pixels an inch. No resolution in whole pixels
/// per metre comes to it.
constexpr std::uint32_t pngWithoutPitch = 352778;

/// What is kept of a pipe whose own words do not say how long it is.
constexpr std::uint64_t longestStream = std::uint64_t{2} << 30;

bool isForeign(std::string_view start) {
    const FileKind kind = recognise(start, 0, "", {});
    return kind == FileKind::tiff || kind == FileKind::dicom;
}

/// Pipes without end are cut: an XYZ file is as long as its header says, a PNG file, or one that a
/// helper reads, no longer than this, and nothing else stands alone.
std::uint64_t streamLimit(std::string_view start) {
    if (formatOf(start) == FormatPng || isForeign(start)) return longestStream;
    if (foreignFormat(start) != nullptr) return 0;
    const auto layout = xyzLayout(start);
    return layout ? layout->size : 0;
}

/// For what the user has said what it is.
std::uint64_t anyStreamLimit(std::string_view) {
    return longestStream;
}

InputFile openInput(const std::string& file, const ImportOptions& options) {
    try {
        return {file, options.from == "auto" ? streamLimit : anyStreamLimit};
    } catch (const std::system_error& error) {
        const std::string reason = error.code().message();
        throw CommandError(
            libraryError(LumoErrorOpen, shownName(file)).what() + (" (" + reason + ')'), failed,
            LumoErrorOpen);
    }
}

/// XYZ has its sides in two files.
void reportContradiction(const lmImage& image, const std::string& file) {
    ImageInfo info{};
    if (extensionOf(file).size() != 3 || Get_ImageInfo(&info, file.c_str()) < 0) return;
    if (info.width == image.width && info.height == image.height) return;
    printMessage(file + ": warning: an image of " + std::to_string(image.width) + " x " +
                 std::to_string(image.height) + " pixels, but its information file says " +
                 std::to_string(info.width) + " x " + std::to_string(info.height));
}

Reading readForeign(FileKind kind, const InputFile& input, const std::string& file,
                    const ImportOptions& options) {
    const std::string name = shownName(file);
    Imported imported = importPicture(kind, input.descriptor(), name, options);
    for (const std::string& note : imported.notes) printNote(name, note, note);
    return {std::move(imported.image), std::move(imported.format)};
}

}  // namespace

Reading readFile(const std::string& file, const ImportOptions& options) {
    const InputFile input = openInput(file, options);
    const FileKind kind = recognise(input.read(0, recognisedBytes), input.size(), file, options);
    if (kind != FileKind::own) return readForeign(kind, input, file, options);
    refuseUseless(options, kind, file);
    refuseHopeless(input, file);
    lmImage* place = nullptr;
    const int code = LumoReadImage(&place, input.path().c_str());
    ImageHandle image(place);  // also after a failure, which may leave what was read
    if (code < 0) throw readingError(code, input, file);
    const ImageFormat format = formatOf(input.read(0, recognisedBytes));
    if (format == FormatPng) {
        if (image->pixelsizeX == pngWithoutPitch && image->pixelsizeY == pngWithoutPitch)
            assumePitch(image.get(), file);
    } else if (!input.isNamed() || input.path().find('.') == std::string::npos) {
        assumePitch(image.get(), file);  // read without an information file
    } else {
        reportContradiction(*image, file);
        takePitchFromExtendedHeader(image.get(), file);
    }
    return {std::move(image), nameOf(format)};
}

ImageHandle readImage(const std::string& file, const ImportOptions& options) {
    return readFile(file, options).image;
}

}  // namespace lumo::cli
