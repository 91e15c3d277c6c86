// An original file as the base of one like it: all of it but what belongs to its own pixels.
#include "interchange/dicom/original.h"

#include "interchange/dicom/identifiers.h"
#include "interchange/dicom/metadata.h"
#include "interchange/dicom/numbers.h"
#include "interchange/helper_main.h"

namespace lumo::interchange::dicom {

namespace {

void requireSameSides(const std::vector<Entry>& technical, const Description& picture,
                      const Changes& changes) {
    const auto rows = integer(valueOf(technical, "Rows")),
               columns = integer(valueOf(technical, "Columns"));
    if (!rows || !columns) throw Refusal("the original holds no image");
    if ((*columns == picture.width && *rows == picture.height) || changes.sidesExplained) return;
    throw Refusal("the picture has " + std::to_string(picture.width) + " x " +
                  std::to_string(picture.height) + " pixels, the original " +
                  std::to_string(*columns) + " x " + std::to_string(*rows) +
                  ", and no step of the history explains that");
}

/// An overlay's bits that lay beside the values went with the original's words.
bool isDrawnBesideValues(DcmItem& dataset, std::uint16_t group) {
    return dataset.tagExists(DcmTagKey(group, 0x3000)) == OFFalse;
}

bool isDrawing(std::uint16_t group) {
    return (group & 0xFF00) == 0x6000 || (group & 0xFF00) == 0x5000;
}

/// What becomes of an original's element.
enum class Fate { kept, replaced, lost };

Fate fateOf(DcmItem& dataset, const DcmTagKey& tag, bool moved) {
    const std::uint16_t group = tag.getGroup();
    if (group % 2 == 1) return Fate::lost;
    if (isDrawing(group))
        return moved || (group >= 0x6000 && isDrawnBesideValues(dataset, group)) ? Fate::lost
                                                                                 : Fate::kept;
    if (group == 0x7FE0 || group == 0xFFFC || tag.getElement() == 0 || tag == DCM_SOPInstanceUID ||
        tag == DCM_SeriesInstanceUID)
        return Fate::replaced;
    const Attribute* const attribute = findAttribute(group, tag.getElement(), false);
    if (attribute == nullptr) return Fate::kept;
    switch (attribute->kind) {
        case Kind::pixels:
        case Kind::spacing:
        case Kind::greyValues:
            return Fate::replaced;
        case Kind::present:
            return Fate::lost;
        case Kind::orientation:
            return moved ? Fate::lost : Fate::kept;
        default:
            return Fate::kept;
    }
}

/// Removes what belongs to the original's own pixels; returns how much of it nothing replaces.
std::size_t removeOwn(DcmItem& dataset, bool moved) {
    std::vector<DcmTagKey> doomed;
    std::size_t lost = 0;
    for (DcmObject* object = dataset.nextInContainer(nullptr); object != nullptr;
         object = dataset.nextInContainer(object)) {
        const Fate fate = fateOf(dataset, object->getTag(), moved);
        if (fate != Fate::kept) doomed.push_back(object->getTag());
        if (fate == Fate::lost) ++lost;
    }
    for (const DcmTagKey& tag : doomed) dataset.findAndDeleteElement(tag);
    return lost;
}

std::string identifier(DcmItem& dataset, const DcmTagKey& tag) {
    const std::string uid = plainText(dataset, tag);
    return isIdentifier(uid) ? uid : "";
}

}  // namespace

Original openOriginal(const OpenStream& open, const Description& picture, const Changes& changes) {
    Original original;
    original.file = openDataset(open);
    DcmDataset& dataset = original.file->dataset();
    ElementText text(dataset);
    original.technical = gatherMetadata(dataset, text, Keep()).technical;
    requireSameSides(original.technical, picture, changes);
    if (original.file->syntax->mayLose) original.notes.emplace_back("the original is lossy");
    original.identifiers = {
        identifier(dataset, DCM_SOPClassUID), identifier(dataset, DCM_SOPInstanceUID),
        identifier(dataset, DCM_StudyInstanceUID), identifier(dataset, DCM_FrameOfReferenceUID)};
    const std::size_t lost = removeOwn(dataset, changes.moved);
    if (lost > 0)
        original.notes.push_back("left out of the original: " + counted(lost, "element") +
                                 ", private ones, tables of grey values, what its pixels no longer "
                                 "fit");
    if (dataset.convertToUTF8().bad())
        throw Refusal("the original's texts are not in the character set that it names");
    return original;
}

}  // namespace lumo::interchange::dicom
