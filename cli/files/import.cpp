// Pictures from anywhere: which kind of file it is, and who reads it.
#include "cli/files/import.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>
#include <system_error>
#include <utility>

#include "cli/files/formats.h"
#include "cli/files/names.h"
#include "cli/metadata.h"

namespace lumo::cli {

namespace {

using interchange::Description;
using interchange::Entry;
using interchange::pitchAssumed;
using interchange::shiftedMark;
using interchange::turnedMark;

constexpr const char* dicomExtensions[] = {"dcm", "dicom", "ima"};

/// Whether the first bytes, as an XYZ file's header, agree with its size exactly.
bool fitsXyz(std::string_view start, std::uint64_t fileSize) {
    const auto layout = xyzLayout(start);
    return layout && layout->size == fileSize;
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

std::uint16_t wholeNumber(lmImage* image, const char* key, const std::string& file) {
    const std::string text = metaValue(image, "Image_X", key, file);
    std::uint16_t number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

/// A note if there is no pitch at all; none if the user gives it.
void settlePitch(Description& description, const ImportOptions& options) {
    constexpr std::string_view remedy = "(--pitch sets it)";
    const bool noted = std::ranges::any_of(
        description.notes, [&](const std::string& note) { return note.ends_with(remedy); });
    const bool assumed = std::ranges::any_of(description.entries, [](const Entry& entry) {
        return entry.section == "Import" && entry.key == "PitchFrom" && entry.value == pitchAssumed;
    });
    if (options.pitchGiven)
        std::erase_if(description.notes,
                      [&](const std::string& note) { return note.ends_with(remedy); });
    else if (assumed && !noted)
        description.note("tells no pixel spacing; " + std::to_string(description.pitchX) +
                         " nm assumed " + std::string(remedy));
}

bool has(const Description& description, std::string_view section, std::string_view key) {
    return std::ranges::any_of(description.entries, [&](const Entry& entry) {
        return entry.section == section && entry.key == key;
    });
}

/// The metadata of a picture into its image. What the file itself records of its bits prevails.
void takeEntries(lmImage* image, const Description& description, const std::string& file) {
    if (!has(description, "Image_X", "bits")) {
        set(image, "Image_X", "bits", std::to_string(description.bits), file);
        set(image, "Image_X", "MaxPixValue", std::to_string((1U << description.bits) - 1), file);
    }
    for (const Entry& entry : description.entries)
        set(image, entry.section, entry.key, entry.value, file);
    image->maxPix = wholeNumber(image, "MaxPix", file);
    image->avgPix = wholeNumber(image, "AvgPix", file);
}

Imported finish(Incoming incoming, const std::string& step, const char* format,
                const ImportOptions& options, const std::string& file) {
    settlePitch(incoming.description, options);
    takeEntries(incoming.image.get(), incoming.description, file);
    if (!step.empty()) check(LumoAddPerformedStep(incoming.image.get(), step.c_str()), file);
    return {std::move(incoming.image), format, std::move(incoming.description.notes)};
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

FileKind recognise(std::string_view start, std::uint64_t fileSize, const std::string& file,
                   const ImportOptions& options) {
    const FileKind chosen = chosenKind(options.from);
    if (chosen != FileKind::own || fitsXyz(start, fileSize)) return chosen;
    const char* const name = foreignFormat(start);
    if (name != nullptr && name == std::string_view("TIFF")) return FileKind::tiff;
    if (name != nullptr && name == std::string_view("DICOM")) return FileKind::dicom;
    if (name != nullptr || formatOf(start) == FormatPng) return FileKind::own;
    const bool named = std::ranges::any_of(
        dicomExtensions, [&](const char* extension) { return hasExtension(file, extension); });
    return named ? FileKind::dicom : FileKind::own;
}

Imported importPicture(FileKind kind, const Descriptor& input, const std::string& file,
                       const ImportOptions& options, const HelperPlace& place) {
    refuseUseless(options, kind, file);
    if (kind == FileKind::dump) return importDump(input, file, options);
    return importByHelper(kind == FileKind::tiff ? tiffHelper : dicomHelper, input, file, options,
                          place);
}

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

void checkImportOptions(const ImportOptions& options) {
    if (options.from == "dump") return;
    if (!options.sidecar.empty())
        throw usageError("--sidecar describes a dump: --from dump is missing");
    for (const auto& [name, value] : options.dump)
        if (!value.empty())
            throw usageError("--" + name + " describes a dump: --from dump is missing");
}

}  // namespace lumo::cli
