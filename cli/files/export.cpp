// Images as files of other formats.
#include "cli/files/export.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <string_view>
#include <system_error>

#include "cli/files/dump.h"
#include "cli/metadata.h"

namespace lumo::cli {

namespace {

using interchange::Description;

constexpr const char* identitySection = "DICOM_Identity";
constexpr unsigned everybody = 0666, ownerAlone = 0600;  // the user's mask takes from it

/// The bits that the values are recorded to have, if they all fit; else 16.
std::uint8_t bitsOf(lmImage* image, const std::string& file) {
    const std::string text = metaValue(image, "Image_X", "bits", file);
    std::uint8_t bits = 0;
    std::from_chars(text.data(), text.data() + text.size(), bits);
    if (bits < 1 || bits > 15) return 16;
    const std::size_t count = std::size_t{image->width} * image->height;
    std::uint32_t all = 0;
    for (std::size_t i = 0; i < count; ++i) all |= image->data[i];
    return all >> bits == 0 ? bits : 16;
}

Description describe(lmImage* image, const std::string& file) {
    Description description;
    description.width = image->width;
    description.height = image->height;
    description.pitchX = image->pixelsizeX;
    description.pitchY = image->pixelsizeY;
    description.bits = image->data == nullptr ? 16 : bitsOf(image, file);
    for (MetaEntry& entry : readMetadata(image, file))
        description.add(std::move(entry.section), std::move(entry.key), std::move(entry.value));
    return description;
}

bool identifies(const Description& description) {
    return std::ranges::any_of(description.entries, [](const interchange::Entry& entry) {
        return entry.section == identitySection;
    });
}

Descriptor create(const std::string& path, const std::string& file, bool identifying) {
    Descriptor output = createFile(path, identifying ? ownerAlone : everybody);
    if (!output.valid())
        throw CommandError(libraryError(LumoErrorWrite, file).what() +
                           (" (" + std::generic_category().message(errno) + ')'));
    return output;
}

/// What every format of others loses or carries.
void addCommonNotes(lmImage* image, bool identifying, const std::string& file,
                    std::vector<std::string>& notes) {
    if (!extendedHeader(image, file).empty())
        notes.emplace_back("the extended header does not travel");
    if (identifying)
        notes.push_back(std::string("carries identifying elements (section ") + identitySection +
                        "); only its owner may read it");
}

}  // namespace

std::vector<std::string> exportByHelper(const HelperProgram& helper, lmImage* image,
                                        const std::string& path, const std::string& file,
                                        const ExportOptions& options, const HelperPlace& place) {
    check(image->data == nullptr ? LumoErrorImage : LumoOk, file);
    const Description description = describe(image, file);
    const bool identifying = identifies(description);
    const bool dicom = helper.name == std::string_view(dicomHelper.name);
    if (!dicom && (!options.dicom.empty() || !options.original.empty()))
        throw CommandError(file + ": --sop, --intensity and --like are for DICOM files");
    std::vector<std::string> list = options.dicom;
    if (dicom) list.emplace_back(std::string("version=") + LUMO_VERSION);
    if (!options.compression.empty()) list.push_back("compression=" + options.compression);
    Descriptor original;
    if (!options.original.empty()) {
        original = openRegular(options.original);
        if (!original.valid())
            throw CommandError(options.original + ": cannot be opened (" +
                               std::generic_category().message(errno) + ')');
        list.emplace_back("like=1");
    }
    const Descriptor output = create(path, file, identifying);
    std::vector<std::string> notes = writeByHelper(helper, file, *image, description, output, list,
                                                   original.valid() ? &original : nullptr, place);
    addCommonNotes(image, identifying, file, notes);
    return notes;
}

std::vector<std::string> exportDump(lmImage* image, const std::string& path,
                                    const std::string& sidecarPath, const std::string& file) {
    check(image->data == nullptr ? LumoErrorImage : LumoOk, file);
    const Description description = describe(image, file);
    const bool identifying = identifies(description);
    writeDump(*image, create(path, file, identifying), file);
    const std::string text = sidecarText(*image, description.bits, description.entries);
    try {
        writeAll(create(sidecarPath, file, identifying), text.data(), text.size());
    } catch (const std::system_error& error) {
        throw CommandError(libraryError(LumoErrorWrite, file).what() +
                           (" (" + error.code().message() + ')'));
    }
    std::vector<std::string> notes;
    addCommonNotes(image, identifying, file, notes);
    return notes;
}

}  // namespace lumo::cli
