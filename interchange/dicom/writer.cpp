// A picture as a DICOM file.
#include "interchange/dicom/writer.h"

#include <algorithm>

#include "interchange/dicom/changes.h"
#include "interchange/dicom/element_writer.h"
#include "interchange/dicom/identifiers.h"
#include "interchange/dicom/metadata.h"
#include "interchange/dicom/numbers.h"
#include "interchange/dicom/original.h"
#include "interchange/dicom/provenance.h"
#include "interchange/dicom/read_back.h"
#include "interchange/dicom/reader.h"
#include "interchange/dicom/required_elements.h"
#include "interchange/dicom/written_spacing.h"
#include "interchange/helper_main.h"

namespace lumo::interchange::dicom {

namespace {

/// One file on its way.
class Writer {
public:
    Writer(const Picture& picture, const WriteOptions& options)
        : picture_(picture), options_(options), changes_(changesOf(picture)) {}

    Written write(const ByteSink& sink) {
        if (options_.original) takeOriginal();
        if (!options_.original) takeEntries();
        chooseClass();
        putGreyScale();
        putSpacings();
        putRequired(dataset(), *sop_, told("PhotometricInterpretation") == "MONOCHROME1",
                    picture_.bits);
        if (!options_.original) putPatient();
        putIdentifiers(dataset(), identifiers_);
        note(putHistory(dataset(), picture_, changes_, options_.version));
        putPixels(dataset(), pixelsToWrite(), picture_.raster.get(), options_.compression);
        written_.entries = allEntries(dataset());
        writeFile(*file_, options_.compression, sink);
        return std::move(written_);
    }

private:
    [[nodiscard]] DcmDataset& dataset() { return *file_->getDataset(); }
    void note(std::string text) { written_.notes.push_back(std::move(text)); }
    void note(std::vector<std::string> texts) {
        std::ranges::move(texts, std::back_inserter(written_.notes));
    }
    [[nodiscard]] std::string told(std::string_view key) const {
        return entryOf(picture_, technicalSection, key);
    }

    void takeOriginal();
    void takeEntries();
    void takeEntry(const Entry& entry, std::size_t& moved, std::size_t& stale);
    void takeGreyValues();
    void takeSourceIdentifiers();
    [[nodiscard]] bool wantsSigned() const;
    [[nodiscard]] WrittenPixels pixelsToWrite();
    void chooseClass();
    void putGreyScale();
    void putSpacings();
    void putPatient();
    void putEntry(const Entry& entry, const Attribute& attribute);

    const Picture& picture_;
    const WriteOptions& options_;
    const Changes changes_;
    std::unique_ptr<DcmFileFormat> own_ = std::make_unique<DcmFileFormat>();
    DcmFileFormat* file_ = own_.get();
    std::optional<Original> original_;
    SourceIdentifiers identifiers_;
    const SopClass* sop_ = nullptr;
    bool isComponent_ = false, namesPeople_ = false;
    Written written_;
};

void Writer::takeOriginal() {
    original_ = openOriginal(options_.original, picture_, changes_);
    file_ = &original_->file->format;
    identifiers_ = original_->identifiers;
    note(std::move(original_->notes));
    takeGreyValues();
}

/// In a file like another one, what the picture's own entries say of its grey values.
void Writer::takeGreyValues() {
    if (changes_.sinceImport) return;
    const bool knows = std::ranges::any_of(
        picture_.entries, [](const Entry& entry) { return entry.section == technicalSection; });
    std::vector<Entry> entries = knows ? picture_.entries : original_->technical;
    for (const Entry& entry : entries) {
        const Attribute* const attribute = findAttribute(entry.section, entry.key);
        if (attribute != nullptr && attribute->kind == Kind::greyValues)
            putEntry(entry, *attribute);
    }
}

void Writer::takeEntries() {
    std::size_t moved = 0, stale = 0;
    for (const Entry& entry : picture_.entries) takeEntry(entry, moved, stale);
    if (moved > 0)
        note("left out, as the picture has been turned, cropped or binned: " +
             counted(moved, "element") + " of orientation, field of view, shutter, collimator");
    if (stale > 0)
        note("left out, as steps may have changed the grey values: " + counted(stale, "element") +
             " of window, rescale, padding");
    takeSourceIdentifiers();
}

void Writer::takeEntry(const Entry& entry, std::size_t& moved, std::size_t& stale) {
    const Attribute* const attribute = findAttribute(entry.section, entry.key);
    if (attribute == nullptr) return;
    switch (attribute->kind) {
        case Kind::pixels:
        case Kind::spacing:
        case Kind::present:
            return;
        case Kind::greyValues:
            if (changes_.sinceImport) ++stale;
            if (!changes_.sinceImport) putEntry(entry, *attribute);
            return;
        case Kind::orientation:
            if (changes_.moved) ++moved;
            if (!changes_.moved) putEntry(entry, *attribute);
            return;
        case Kind::people:
            namesPeople_ = true;
            break;
        case Kind::component:
            isComponent_ = true;
            break;
        default:
            break;
    }
    putEntry(entry, *attribute);
}

void Writer::putEntry(const Entry& entry, const Attribute& attribute) {
    if (!putText(dataset(), attribute, entry.value, wantsSigned()))
        note("left out: " + entry.section + '/' + entry.key + " holds no value of its kind");
}

/// Identifiers of the source, if they were kept: this file is of its study, but another instance.
void Writer::takeSourceIdentifiers() {
    const auto kept = [&](const char* key) {
        const std::string uid = entryOf(picture_, identitySection, key);
        return isIdentifier(uid) ? uid : "";
    };
    const std::string sopClass = told("SOPClassUID");
    identifiers_ = {isIdentifier(sopClass) ? sopClass : "", kept("SOPInstanceUID"),
                    kept("StudyInstanceUID"), kept("FrameOfReferenceUID")};
}

/// Values came signed and nothing has changed them since.
bool Writer::wantsSigned() const {
    const auto offset = integer(entryOf(picture_, importSection, "Offset"));
    return offset && *offset == 1LL << (picture_.bits - 1) && !changes_.sinceImport;
}

WrittenPixels Writer::pixelsToWrite() {
    const std::uint16_t* const raster = picture_.raster.get();
    const std::uint16_t largest = *std::max_element(raster, raster + picture_.pixelCount());
    const bool fit = largest >> picture_.bits == 0;
    const WrittenPixels pixels{picture_.width, picture_.height, fit ? picture_.bits : 16,
                               wantsSigned() && fit};
    if (!fit)
        note("its largest value, " + std::to_string(largest) + ", needs more than " +
             std::to_string(picture_.bits) + " bits; 16 are written");
    const std::string offset = entryOf(picture_, importSection, "Offset");
    if (!offset.empty() && !pixels.isSigned)
        note("signed values came with " + offset +
             " added, and steps followed; they are written as they are, unsigned");
    return pixels;
}

void Writer::chooseClass() {
    const std::string source = original_ ? original_->identifiers.sopClass : told("SOPClassUID");
    sop_ = options_.sop != nullptr ? options_.sop : &sopClassLike(source);
    const bool hadOneFrame =
        original_ && integer(valueOf(original_->technical, "NumberOfFrames")).value_or(1) <= 1;
    const bool keepsClass = options_.sop == nullptr && hadOneFrame && !source.empty();
    put(dataset(), "SOPClassUID", keepsClass ? source : sop_->uid);
    if (sop_->modality != nullptr) put(dataset(), "Modality", sop_->modality);
    if (sop_->intent != nullptr) put(dataset(), "PresentationIntentType", sop_->intent);
}

void Writer::putGreyScale() {
    const std::string own = told("PhotometricInterpretation");
    const std::string meaning =
        own.empty() && original_ ? valueOf(original_->technical, "PhotometricInterpretation") : own;
    put(dataset(), "PhotometricInterpretation", meaning == "MONOCHROME1" ? meaning : "MONOCHROME2");
    const bool isRescaled = decimal(told("RescaleSlope")).value_or(1) != 1 ||
                            decimal(told("RescaleIntercept")).value_or(0) != 0;
    if (sop_->isDigital && isRescaled) note("left out: the rescale, which class DX has none of");
    if (options_.intensity) {
        put(dataset(), "PixelIntensityRelationship", options_.intensity->relationship);
        put(dataset(), "PixelIntensityRelationshipSign", options_.intensity->sign);
    }
    if (original_ && (original_->file->syntax->mayLose || told("LossyImageCompression") == "01"))
        put(dataset(), "LossyImageCompression", "01");
}

void Writer::putSpacings() {
    const TextOf textOf = [&](const char* keyword) {
        const std::string own = told(keyword);
        return own.empty() && original_ ? valueOf(original_->technical, keyword) : own;
    };
    const char* const usual = sop_->modality == nullptr ? scannedSpacing : detectorSpacing;
    const std::vector<Spacing> written =
        spacingsFor({picture_.pitchX, picture_.pitchY},
                    entryOf(picture_, importSection, "PitchFrom"), textOf, usual);
    for (const Spacing& spacing : written) put(dataset(), spacing.keyword, spacing.text);
    const ChosenPitch pitch = choosePitch(
        [&](const char* keyword) {
            const auto found =
                std::ranges::find(written, std::string_view(keyword), &Spacing::keyword);
            return found == written.end() ? "" : found->text;
        },
        false);
    if (!written.empty()) written_.pitch = pitch;
    if (written.empty()) note("its pitch was only assumed; none is written (--pitch sets it)");
}

void Writer::putPatient() {
    if (!isComponent_) {
        if (!namesPeople_) putDeidentification(dataset(), options_.version);
        return;
    }
    // A reader knows the standard by its group; where that is not used, by a creator's name.
    bool hasGroup = false;
    for (const Attribute& attribute : componentAttributes())
        hasGroup = hasGroup || dataset().tagExists(DcmTagKey(attribute.group, attribute.element));
    if (!hasGroup)
        put(dataset(), DcmTagKey(0x0011, 0x0010), "LO",
            std::string(componentCreator) + "iod/Component");
}

}  // namespace

Written writePicture(const Picture& picture, const WriteOptions& options, const ByteSink& sink) {
    return Writer(picture, options).write(sink);
}

}  // namespace lumo::interchange::dicom
