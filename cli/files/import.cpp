// Pictures from anywhere: which kind of file it is, and who reads it.
#include "cli/files/import.h"

#include <strings.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

#include "cli/metadata.h"

namespace lumo::cli {

namespace {

using interchange::Description;
using interchange::Entry;
using interchange::pitchAssumed;
using interchange::shiftedMark;
using interchange::turnedMark;

constexpr std::size_t headSize = 132;
constexpr std::string_view tiffMarks[] = {{"II*\0", 4}, {"MM\0*", 4}, {"II+\0", 4}, {"MM\0+", 4}};
constexpr std::string_view dicomMark = "DICM";
constexpr std::size_t dicomMarkAt = 128;
constexpr const char* dicomExtensions[] = {".dcm", ".dicom", ".ima"};

/// Whether the first four bytes, as an XYZ file's sides, agree with its size.
bool fitsXyz(std::string_view head, std::uint64_t fileSize) {
    const auto word = [&](std::size_t at) {
        return std::uint64_t{static_cast<std::uint8_t>(head[at])} |
               std::uint64_t{static_cast<std::uint8_t>(head[at + 1])} << 8;
    };
    return head.size() >= 4 && fileSize == 4 + 2 * word(0) * word(2);
}

FileKind kindOf(std::string_view head, std::uint64_t fileSize, const std::string& file) {
    if (fitsXyz(head, fileSize)) return FileKind::own;
    if (std::ranges::any_of(tiffMarks, [&](auto mark) { return head.starts_with(mark); }))
        return FileKind::tiff;
    if (head.size() == headSize && head.substr(dicomMarkAt) == dicomMark) return FileKind::dicom;
    if (head.starts_with("\x89PNG")) return FileKind::own;
    const std::size_t dot = std::min(file.rfind('.'), file.size());
    const bool named = std::ranges::any_of(dicomExtensions, [&](const char* extension) {
        return strcasecmp(file.c_str() + dot, extension) == 0;
    });
    return named ? FileKind::dicom : FileKind::own;
}

/// --from as a kind; `own` for auto.
FileKind chosenKind(const std::string& from) {
    constexpr std::pair<std::string_view, FileKind> kinds[] = {
        {"tiff", FileKind::tiff}, {"dicom", FileKind::dicom}, {"dump", FileKind::dump}};
    for (const auto& [name, kind] : kinds)
        if (from == name) return kind;
    return FileKind::own;
}

void set(lmImage* image, const std::string& section, const std::string& key,
         const std::string& value, const std::string& file) {
    check(LumoSetMetaEntry(image, section.c_str(), key.c_str(), value.c_str()), file);
}

std::uint16_t wholeNumber(lmImage* image, const char* key) {
    const std::string text = metaValue(image, "Image_X", key);
    std::uint16_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// The user's pitch, or a note if there is none at all.
void settlePitch(Incoming& incoming, const ImportOptions& options) {
    lmImage& image = *incoming.image;
    Description& description = incoming.description;
    const auto source = std::ranges::find_if(description.entries, [](const Entry& entry) {
        return entry.section == "Import" && entry.key == "PitchFrom";
    });
    const bool told = source != description.entries.end();
    if (!options.pitch.empty()) {
        (void)parsePitch(options.pitch, image.pixelsizeX, image.pixelsizeY);
        if (told) source->value = "--pitch";
    } else if (told && source->value == pitchAssumed) {
        description.note("tells no pixel spacing; " + std::to_string(image.pixelsizeX) +
                         " nm assumed (--pitch sets it)");
    }
}

/// The metadata of a picture into its image. Those entries prevail that the file itself brings.
void takeEntries(lmImage* image, const Description& description, const std::string& file) {
    set(image, "Image_X", "bits", std::to_string(description.bits), file);
    set(image, "Image_X", "MaxPixValue", std::to_string((1U << description.bits) - 1), file);
    for (const Entry& entry : description.entries)
        set(image, entry.section, entry.key, entry.value, file);
    image->maxPix = wholeNumber(image, "MaxPix");
    image->avgPix = wholeNumber(image, "AvgPix");
}

bool has(const Description& description, std::string_view section, std::string_view key) {
    return std::ranges::any_of(description.entries, [&](const Entry& entry) {
        return entry.section == section && entry.key == key;
    });
}

Imported finish(Incoming incoming, const std::string& step, const char* format,
                const ImportOptions& options, const std::string& file) {
    settlePitch(incoming, options);
    takeEntries(incoming.image.get(), incoming.description, file);
    if (!step.empty()) check(LumoAddPerformedStep(incoming.image.get(), step.c_str()), file);
    return {std::move(incoming.image), format, std::move(incoming.description.notes)};
}

/// The user's pitch in place of that of a file of ours, and in the entries that record it.
void renewPitch(lmImage* image, const std::string& pitch, const std::string& file) {
    (void)parsePitch(pitch, image->pixelsizeX, image->pixelsizeY);
    const std::pair<const char*, std::uint32_t> entries[] = {
        {"PixelsizeX", image->pixelsizeX},
        {"PixelsizeY", image->pixelsizeY},
        {"Res_X", image->pixelsizeX},
        {"Res_Y", image->pixelsizeY},
        {"Pixelsize", 0}};  // computed from the pitch when the image is written as XYZ
    for (const auto& [key, value] : entries)
        if (!metaValue(image, "Image_X", key).empty())
            set(image, "Image_X", key, std::to_string(value), file);
}

/// Options that say nothing to a file of this kind are not passed over in silence.
void refuseUseless(const ImportOptions& options, FileKind kind, const std::string& file) {
    const struct {
        const char* name;
        bool given;
        std::initializer_list<FileKind> kinds;
        const char* kindNames;
    } table[] = {{"--frame",
                  options.frame > 1,
                  {FileKind::tiff, FileKind::dicom, FileKind::dump},
                  "TIFF and DICOM files and dumps"},
                 {"--monochrome2",
                  options.monochrome2,
                  {FileKind::tiff, FileKind::dicom},
                  "TIFF and DICOM files"},
                 {"--pitch-from", !options.pitchFrom.empty(), {FileKind::dicom}, "DICOM files"},
                 {"--keep", !options.keep.empty(), {FileKind::dicom}, "DICOM files"}};
    for (const auto& [name, given, kinds, kindNames] : table)
        if (given && std::ranges::find(kinds, kind) == kinds.end())
            throw CommandError(file + ": " + name + " is for " + kindNames);
}

std::vector<std::string> helperOptions(const ImportOptions& options) {
    std::vector<std::string> list;
    if (options.frame > 0 || options.firstFrame)
        list.push_back("frame=" + std::to_string(std::max(options.frame, 1U)));
    if (options.monochrome2) list.emplace_back("monochrome2=1");
    if (!options.pitchFrom.empty()) list.push_back("pitch-from=" + options.pitchFrom);
    if (!options.keep.empty()) list.push_back("keep=" + options.keep);
    return list;
}

std::string frameOption(const ImportOptions& options) {
    return options.frame > 1 ? " --frame " + std::to_string(options.frame) : "";
}

Imported importByHelper(const HelperProgram& helper, const Descriptor& input,
                        const std::string& file, const ImportOptions& options,
                        const HelperPlace& place) {
    Incoming incoming = readByHelper(helper, file, input, helperOptions(options), place);
    // Marks that the helper sets where the values are not those of the file.
    const bool turned = has(incoming.description, "Import", turnedMark);
    const bool shifted = has(incoming.description, "Import", shiftedMark);
    std::string step;
    if (turned || shifted)
        step = "convert" + frameOption(options) + (turned ? " --monochrome2" : "");
    std::erase_if(incoming.description.entries, [](const Entry& entry) {
        return entry.section == "Import" && (entry.key == turnedMark || entry.key == shiftedMark);
    });
    return finish(std::move(incoming), step, helper.format, options, file);
}

/// The options, with what they leave open from the sidecar.
DumpLayout layoutFor(const ImportOptions& options, const Sidecar& sidecar) {
    DumpSettings settings = sidecar.settings;
    for (const auto& [name, value] : options.dump)
        if (!value.empty()) settings[name] = value;
    (void)parseLayout(options.dump, "--", wrongCommandLine);  // the user's own words first
    return parseLayout(settings, options.sidecar + ": ", failed);
}

std::uint64_t chooseFrame(std::uint64_t frames, const ImportOptions& options,
                          const std::string& file) {
    const std::string several = file + ": " + std::to_string(frames) + " frames; ";
    if (options.frame > frames)
        throw CommandError(several + "there is no frame " + std::to_string(options.frame));
    if (frames > 1 && options.frame == 0 && !options.firstFrame)
        throw CommandError(several + "choose one with --frame 1 to " + std::to_string(frames));
    return std::max(options.frame, 1U);
}

void describeDump(Description& description, const DumpLayout& layout, std::uint64_t frame,
                  std::uint64_t frames) {
    description.bits = static_cast<std::uint8_t>(layout.bits);
    description.add("Import", "Format", "dump");
    description.add("Import", "Layout", layout.text());
    if (frames > 1) {
        description.add("Import", "Frame", std::to_string(frame));
        description.add("Import", "Frames", std::to_string(frames));
    }
    if (layout.isSigned) {
        description.add("Import", "Offset", std::to_string(layout.signOffset()));
        description.note("signed values; " + std::to_string(layout.signOffset()) + " added");
    }
    description.add("Import", "PitchFrom", layout.pitchX == 0 ? pitchAssumed : "sidecar");
}

Imported importDump(const Descriptor& input, const std::string& file,
                    const ImportOptions& options) {
    Sidecar sidecar;
    if (!options.sidecar.empty()) sidecar = readSidecar(options.sidecar);
    const DumpLayout layout = layoutFor(options, sidecar);
    if (layout.width == 0 || layout.height == 0)
        throw usageError(file + ": --width and --height of a dump are needed" +
                         proposalFor(layout, sizeOf(input), file));
    const std::uint64_t frames = framesIn(layout, sizeOf(input), file);
    const std::uint64_t frame = chooseFrame(frames, options, file);

    Incoming incoming;
    incoming.image = readDumpFrame(layout, input, frame, file);
    if (layout.pitchX != 0) {
        incoming.image->pixelsizeX = layout.pitchX;
        incoming.image->pixelsizeY = layout.pitchY;
    }
    Description& description = incoming.description;
    describeDump(description, layout, frame, frames);
    // A file of our own brings the record of its first import along.
    if (std::ranges::any_of(sidecar.entries, [](const Entry& e) { return e.section == "Import"; }))
        description.entries.clear();
    for (Entry& entry : sidecar.entries) description.entries.push_back(std::move(entry));
    std::string step;
    if (layout.isSigned || layout.highBit != layout.bits - 1)
        step = "convert --from dump " + layout.text() + frameOption(options);
    return finish(std::move(incoming), step, "dump", options, file);
}

}  // namespace

Recognised recognise(const std::string& file, const ImportOptions& options) {
    Recognised found;
    found.kind = chosenKind(options.from);
    found.file = openRegular(file);
    if (!found.file.open()) {
        if (found.kind == FileKind::own) return found;
        const int error = errno;
        const std::string reason =
            error == EINVAL ? "no regular file" : std::generic_category().message(error);
        throw CommandError(libraryError(LumoErrorOpen, file).what() + (" (" + reason + ')'));
    }
    if (found.kind != FileKind::own) return found;
    char head[headSize];
    try {
        const std::size_t size = readAt(found.file, head, headSize, 0);
        found.kind = kindOf({head, size}, sizeOf(found.file), file);
    } catch (const std::system_error&) {
        // The library will say so.
    }
    if (found.kind == FileKind::own) found.file.close();
    return found;
}

Imported importPicture(Recognised found, const std::string& file, const ImportOptions& options,
                       const HelperPlace& place) {
    refuseUseless(options, found.kind, file);
    switch (found.kind) {
        case FileKind::tiff:
            return importByHelper(tiffHelper, found.file, file, options, place);
        case FileKind::dicom:
            return importByHelper(dicomHelper, found.file, file, options, place);
        case FileKind::dump:
            return importDump(found.file, file, options);
        case FileKind::own:
            break;
    }
    Imported own = {readImage(file), "", {}};
    if (!options.pitch.empty()) renewPitch(own.image.get(), options.pitch, file);
    return own;
}

void checkImportOptions(const ImportOptions& options) {
    std::uint32_t x = 0, y = 0;
    if (!options.pitch.empty() && !parsePitch(options.pitch, x, y))
        throw usageError("--pitch " + options.pitch +
                         ": not one or two numbers of nanometres, 1 to 1000000000");
    if (options.from == "dump") return;
    if (!options.sidecar.empty())
        throw usageError("--sidecar describes a dump: --from dump is missing");
    for (const auto& [name, value] : options.dump)
        if (!value.empty())
            throw usageError("--" + name + " describes a dump: --from dump is missing");
}

}  // namespace lumo::cli
