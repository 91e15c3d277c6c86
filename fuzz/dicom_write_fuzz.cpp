// Any entries with any small picture as a DICOM file: refused for a reason that is known, or read
// back with the same values and the same texts.
//
// Input: options, sides, bits, entries (section, then key and value), values.
#include <algorithm>
#include <set>

#include "interchange/dicom/attributes.h"
#include "interchange/dicom/changes.h"
#include "interchange/dicom/files.h"
#include "interchange/transfer.h"
#include "support.h"

namespace {

using namespace lumo::fuzz;
using namespace lumo::interchange;

std::string attributeName(Input& in, std::span<const dicom::Attribute> table) {
    return table[in.word() % table.size()].keyword;
}

Entry entryFrom(Input& in) {
    constexpr const char* imports[] = {"Offset", "Steps", "PitchFrom", "Standard"};
    constexpr const char* image[] = {"Rotation", "Mirror", "bits"};
    Entry entry;
    switch (in.byte() % 8) {
        case 0:
        case 1:
            entry = {"DICOM", attributeName(in, dicom::technicalAttributes()), ""};
            break;
        case 2:
            entry = {"DICONDE", attributeName(in, dicom::componentAttributes()), ""};
            break;
        case 3:
            entry = {"DICOM_Identity", attributeName(in, dicom::identityAttributes()), ""};
            break;
        case 4:
            entry = {"Import", in.oneOf(imports), ""};
            break;
        case 5:
            entry = {"PerformedSteps", "Step" + std::to_string(in.byte()), ""};
            break;
        case 6:
            entry = {"Image_X", in.oneOf(image), ""};
            break;
        default:
            entry = {in.text(20), in.text(20), ""};
            break;
    }
    entry.value = in.text(longestValue);
    return entry;
}

Picture pictureFrom(Input& in) {
    Picture picture;
    picture.width = in.byte() % 40U + 1;
    picture.height = in.byte() % 20U + 1;
    picture.bits = static_cast<std::uint8_t>(in.byte() % 16 + 1);
    picture.pitchX = in.longWord() % largestPitch + 1;
    picture.pitchY = in.longWord() % largestPitch + 1;
    std::set<std::pair<std::string, std::string>> names;
    for (int count = in.byte() % 32; count > 0; --count) {
        Entry entry = entryFrom(in);
        if (names.insert({entry.section, entry.key}).second)
            picture.entries.push_back(std::move(entry));
    }
    picture.allocate();
    for (std::uint64_t i = 0; i < picture.pixelCount(); ++i)
        picture.raster[i] = static_cast<std::uint16_t>(in.word() >> (16 - picture.bits));
    return picture;
}

std::string withoutPadding(std::string text) {
    const std::size_t last = text.find_last_not_of(' ');
    text.resize(last == std::string::npos ? 0 : last + 1);
    return text;
}

/// Texts that no rule lets the writer leave out or make itself come back, or a note names them.
void textsComeBack(const Picture& picture, const Picture& back,
                   const std::vector<std::string>& notes) {
    constexpr const char* own[] = {"ImageType",
                                   "SOPClassUID",
                                   "Modality",
                                   "PresentationIntentType",
                                   "ConversionType",
                                   "PixelIntensityRelationship",
                                   "LossyImageCompression"};
    for (const Entry& entry : picture.entries) {
        const dicom::Attribute* const attribute = dicom::findAttribute(entry.section, entry.key);
        if (attribute == nullptr || attribute->kind != dicom::Kind::technical) continue;
        const std::string_view vr = attribute->vr;
        if (vr != "CS" && vr != "LO" && vr != "SH" && vr != "DS" && vr != "IS") continue;
        if (std::ranges::find(own, entry.key) != std::end(own)) continue;
        if (withoutPadding(entry.value).empty()) continue;  // as if it were not there
        const bool noted = std::ranges::any_of(notes, [&](const std::string& note) {
            return note.find(entry.section + '/' + entry.key) != std::string::npos;
        });
        const std::string came = dicom::entryOf(back, entry.section, entry.key);
        require(noted || came == withoutPadding(entry.value), "a text comes back, or is noted");
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    constexpr const char* compressions[] = {"none", "rle", "jpeg-lossless", "jpeg-ls"};
    constexpr const char* classes[] = {"", "sc", "cr", "dx", "dx-processing"};
    constexpr const char* intensities[] = {"", "lin+", "log-"};
    std::map<std::string, std::string> options = {{"compression", in.oneOf(compressions)},
                                                  {"version", "2"}};
    if (const std::string sop = in.oneOf(classes); !sop.empty()) options["sop"] = sop;
    options["intensity"] = in.oneOf(intensities);
    const Picture picture = pictureFrom(in);
    std::vector<std::string> notes;
    Bytes file;
    try {
        file = writeDicom(picture, Request(options), {}, notes);
    } catch (const Refusal& refusal) {
        const std::string_view reason = refusal.what();
        require(reason.starts_with("class DX asks"), refusal.what());
        return 0;
    }
    const Picture back = readDicom(file, Request());
    require(
        std::equal(back.raster.get(), back.raster.get() + back.pixelCount(), picture.raster.get()),
        "the values come back");
    textsComeBack(picture, back, notes);
    for (const Entry& entry : back.entries)
        require(entry.section != dicom::identitySection, "nothing that identifies is read unasked");
    return 0;
}
