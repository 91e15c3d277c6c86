// A DICOM file as a picture.
#include "interchange/dicom/reader.h"

#include <algorithm>
#include <array>
#include <utility>

#include "interchange/dicom/grey_scale.h"
#include "interchange/dicom/history.h"
#include "interchange/dicom/metadata.h"
#include "interchange/dicom/numbers.h"
#include "interchange/dicom/pitch.h"
#include "interchange/dicom/pixels.h"
#include "interchange/helper_main.h"
#include "interchange/metadata_text.h"
#include "interchange/transfer.h"

namespace lumo::interchange::dicom {

namespace {

void append(std::vector<std::string>& to, std::vector<std::string> notes) {
    std::ranges::move(notes, std::back_inserter(to));
}

/// Turns the raster and what is said of it, if it is to be turned.
bool turned(const ReadOptions& options, const PixelDescription& pixels, Picture& picture,
            Metadata& metadata) {
    if (!pixels.smallIsBright) return false;
    if (!options.turn) {
        picture.note("MONOCHROME1: small values are meant bright; --monochrome2 turns them");
        return false;
    }
    turnValues(picture.raster.get(), pixels.count(), pixels.layout.largest());
    turnEntries(metadata.technical, pixels.layout);
    return true;
}

std::string leftOutNote(const Metadata& metadata) {
    std::string note = "left out: " + counted(metadata.leftOut, "element");
    if (metadata.identifying > 0)
        note +=
            ", " + std::to_string(metadata.identifying) + " of them identifying; --keep takes more";
    return note;
}

/// Entries that came with a file of our own: the history, and sections that no element stands for.
void addOwnEntries(DcmItem& dataset, Picture& picture) {
    constexpr std::string_view derived[] = {importSection, technicalSection, componentSection,
                                            identitySection, "Image_X"};
    const std::string text = ownMetadataText(dataset);
    if (text.size() > mostText) return picture.note("the file's own metadata text is left out");
    for (Entry& entry : parseMetadata(text)) {
        if (std::ranges::find(derived, entry.section) != std::end(derived)) continue;
        const auto same = [&](const Entry& other) {
            return other.section == entry.section && other.key == entry.key;
        };
        if (entry.section.empty() || std::ranges::any_of(picture.entries, same)) continue;
        picture.entries.push_back(std::move(entry));
    }
}

void addSource(const Metadata& metadata, Picture& picture) {
    const std::string maker = valueOf(metadata.technical, "Manufacturer"),
                      model = valueOf(metadata.technical, "ManufacturerModelName");
    const std::string source = maker + (maker.empty() || model.empty() ? "" : " ") + model;
    if (!source.empty()) picture.add("Image", "Source", source);
}

/// How it was read. Where the raster does not hold what is stored, the program adds a step to the
/// history, which is counted here.
void addImport(const DatasetFile& file, const PixelDescription& pixels, bool isTurned,
               const Metadata& metadata, const ChosenPitch& pitch, Picture& picture) {
    const auto add = [&](const char* key, std::string value) {
        picture.add(importSection, key, std::move(value));
    };
    add("Format", "DICOM");
    add("TransferSyntax", file.syntax->name);
    add("Standard", metadata.isComponent ? "DICONDE" : "DICOM");
    add("Frame", std::to_string(pixels.frame));
    add("Frames", std::to_string(pixels.frames));
    if (pixels.layout.isSigned) add("Offset", std::to_string(pixels.layout.offset()));
    add("PitchFrom", pitch.from);
    if (const auto window = windowOf(metadata.technical, pixels.layout)) {
        add("WindowLow", std::to_string(window->low));
        add("WindowHigh", std::to_string(window->high));
    }
    add("LeftOut", std::to_string(metadata.leftOut));
    const std::size_t ownStep = pixels.layout.isSigned || isTurned ? 1 : 0;
    add("Steps", std::to_string(stepsOf(picture.entries).size() + ownStep));
    if (pixels.layout.isSigned) add(shiftedMark, "1");
    if (isTurned) add(turnedMark, "1");
}

void addNotes(const DatasetFile& file, const PixelDescription& pixels, const Metadata& metadata,
              Picture& picture) {
    if (file.damagedAfterPixels) picture.note("the file is damaged behind its pixels");
    if (pixels.frames > 1)
        picture.note("frame " + std::to_string(pixels.frame) + " of " +
                     std::to_string(pixels.frames));
    if (pixels.layout.isSigned)
        picture.note("signed values; " + std::to_string(pixels.layout.offset()) +
                     " was added to each");
    if (file.syntax->mayLose || valueOf(metadata.technical, "LossyImageCompression") == "01")
        picture.note("lossy compressed: not the detector's values");
    append(picture.notes, mappingNotes(metadata.technical));
    if (valueOf(metadata.technical, "BurnedInAnnotation") == "YES")
        picture.note("the file says that text is burnt into its pixels, which may name a person");
}

/// Lossy once is lossy for ever, whatever the pixels are stored in later.
void rememberLoss(const TransferSyntax& syntax, Metadata& metadata) {
    constexpr char key[] = "LossyImageCompression";
    if (!syntax.mayLose || valueOf(metadata.technical, key) == "01") return;
    std::erase_if(metadata.technical, [&](const Entry& entry) { return entry.key == key; });
    metadata.technical.push_back({technicalSection, key, "01"});
}

}  // namespace

Picture readPicture(const OpenStream& open, const ReadOptions& options) {
    const std::unique_ptr<DatasetFile> file = openDataset(open);
    ElementText text(file->dataset());
    PixelDescription pixels = describePixels(*file, text, options.frame);
    requireWhole(*file, pixels);
    options.allowRaster(pixels.count() * 2);

    Picture picture;
    picture.width = pixels.width;
    picture.height = pixels.height;
    picture.allocate();
    readFrame(*file, pixels, picture.raster.get());
    picture.bits = static_cast<std::uint8_t>(pixels.layout.bits);

    Metadata metadata = gatherMetadata(file->dataset(), text, options.keep);
    rememberLoss(*file->syntax, metadata);
    addNotes(*file, pixels, metadata, picture);
    const bool isTurned = turned(options, pixels, picture, metadata);
    append(picture.notes, pixels.notes);
    append(picture.notes, metadata.notes);

    const ChosenPitch pitch =
        choosePitch([&](const char* keyword) { return valueOf(metadata.technical, keyword); },
                    options.objectPitch);
    picture.pitchX = pitch.x;
    picture.pitchY = pitch.y;
    append(picture.notes, pitch.notes);
    if (metadata.leftOut > 0) picture.note(leftOutNote(metadata));

    addSource(metadata, picture);
    addOwnEntries(file->dataset(), picture);
    addImport(*file, pixels, isTurned, metadata, pitch, picture);
    for (std::vector<Entry>* const entries :
         {&metadata.technical, &metadata.component, &metadata.identity})
        std::ranges::move(*entries, std::back_inserter(picture.entries));
    return picture;
}

}  // namespace lumo::interchange::dicom
