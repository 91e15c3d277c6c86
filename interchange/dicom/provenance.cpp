// Where a written file says that it comes from: its identifiers, its history, who made it.
#include "interchange/dicom/provenance.h"

#include <algorithm>

#include "interchange/dicom/element_text.h"
#include "interchange/dicom/element_writer.h"
#include "interchange/dicom/history.h"
#include "interchange/dicom/identifiers.h"
#include "interchange/dicom/metadata.h"
#include "interchange/dicom/numbers.h"
#include "interchange/dicom/reader.h"
#include "interchange/metadata_text.h"

namespace lumo::interchange::dicom {

namespace {

constexpr std::size_t longestShortText = 1024, longestLongString = 64;  // characters

/// The beginning of a UTF-8 text.
std::string firstCharacters(const std::string& text, std::size_t count) {
    std::size_t end = 0;
    for (; end < text.size(); ++end) {
        const bool begins = (static_cast<std::uint8_t>(text[end]) & 0xC0) != 0x80;
        if (begins && count-- == 0) break;
    }
    return text.substr(0, end);
}

/// In one line: a step may hold anything.
std::string oneLine(std::string text) {
    std::ranges::replace_if(
        text, [](char c) { return static_cast<std::uint8_t>(c) < 0x20 || c == 0x7F; }, ' ');
    return escapedText(text);
}

std::string joined(const std::vector<std::string>& steps) {
    std::string text;
    for (const std::string& step : steps) text += (text.empty() ? "" : "; ") + oneLine(step);
    return text;
}

/// ImageType says first whether the values are as the detector gave them.
std::string imageType(DcmItem& dataset, bool hasSteps) {
    OFString told;
    dataset.findAndGetOFStringArray(DcmTagKey(0x0008, 0x0008), told);
    std::string text(told.c_str(), told.size());
    if (text.empty()) return "DERIVED\\SECONDARY";
    if (!hasSteps) return text;
    const std::size_t rest = text.find('\\');
    return "DERIVED" + (rest == std::string::npos ? "\\SECONDARY" : text.substr(rest));
}

void putEquipment(DcmItem& dataset, const std::string& version) {
    DcmItem& equipment = appendItem(dataset, DcmTagKey(0x0018, 0xA001));
    put(equipment, "Manufacturer", "Lumo");
    put(equipment, "ManufacturerModelName", "lumo");
    if (!version.empty()) put(equipment, "SoftwareVersions", version);
    DcmItem& purpose = appendItem(equipment, DcmTagKey(0x0040, 0xA170));
    put(purpose, DcmTagKey(0x0008, 0x0100), "SH", "109102");
    put(purpose, DcmTagKey(0x0008, 0x0102), "SH", "DCM");
    put(purpose, DcmTagKey(0x0008, 0x0104), "LO", "Processing Equipment");
}

/// Sections that elements stand for are not written twice; what identifies must not be.
std::vector<Entry> entriesOfNoElement(const Description& picture) {
    constexpr std::string_view others[] = {importSection, technicalSection, componentSection,
                                           identitySection};
    std::vector<Entry> entries;
    for (const Entry& entry : picture.entries)
        if (std::ranges::find(others, entry.section) == std::end(others)) entries.push_back(entry);
    std::ranges::stable_sort(entries, {}, &Entry::section);
    return entries;
}

void putOwnBlock(DcmItem& dataset, const Description& picture) {
    const std::string text = metadataText(entriesOfNoElement(picture));
    if (text.empty()) return;
    put(dataset, DcmTagKey(ownGroup, ownCreatorElement), "LO", ownCreator);
    put(dataset, DcmTagKey(ownGroup, ownTextElement), "UT", text);
}

}  // namespace

void putIdentifiers(DcmItem& dataset, const SourceIdentifiers& source) {
    put(dataset, DCM_SOPInstanceUID, "UI", newIdentifier());
    put(dataset, DCM_SeriesInstanceUID, "UI", newIdentifier());
    put(dataset, DCM_StudyInstanceUID, "UI", source.study.empty() ? newIdentifier() : source.study);
    if (!source.frameOfReference.empty())
        put(dataset, DCM_FrameOfReferenceUID, "UI", source.frameOfReference);
    if (source.instance.empty() || source.sopClass.empty()) return;
    DcmItem& image = appendItem(dataset, DcmTagKey(0x0008, 0x2112));
    put(image, DcmTagKey(0x0008, 0x1150), "UI", source.sopClass);
    put(image, DcmTagKey(0x0008, 0x1155), "UI", source.instance);
}

std::vector<std::string> putHistory(DcmItem& dataset, const Description& picture,
                                    const Changes& changes, const std::string& version) {
    std::vector<std::string> notes;
    const std::string version64 = firstCharacters(oneLine(version), longestLongString);
    put(dataset, "ImageType", imageType(dataset, !changes.steps.empty()));
    const std::string steps = joined(changes.steps),
                      told = firstCharacters(steps, longestShortText);
    if (told.size() < steps.size())
        notes.emplace_back("DerivationDescription holds the first 1024 characters of the history");
    if (!told.empty()) put(dataset, DCM_DerivationDescription, "ST", told);
    putEquipment(dataset, version64);
    putOwnBlock(dataset, picture);
    return notes;
}

void putDeidentification(DcmItem& dataset, const std::string& version) {
    put(dataset, DcmTagKey(0x0012, 0x0062), "CS", "YES");
    // Two values, as one has 64 characters at most.
    const std::string method = "lumo " + oneLine(version) + ": technical attributes only";
    put(dataset, DcmTagKey(0x0012, 0x0063), "LO",
        firstCharacters(method, longestLongString) + "\\pixels not searched for text");
}

}  // namespace lumo::interchange::dicom
