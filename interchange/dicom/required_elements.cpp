// The elements that a class of image objects asks for, known or not.
#include "interchange/dicom/required_elements.h"

#include <ctime>
#include <string>
#include <utility>

#include "interchange/dicom/attributes.h"
#include "interchange/dicom/element_writer.h"
#include "interchange/dicom/pitch.h"
#include "interchange/helper_main.h"
#include "interchange/system.h"

namespace lumo::interchange::dicom {

namespace {

using SectionAndKeyword = std::pair<const char*, const char*>;

constexpr SectionAndKeyword ofAll[] = {
    {technicalSection, "Modality"},
    {technicalSection, "Manufacturer"},
    {technicalSection, "PatientOrientation"},
    {identitySection, "StudyDate"},
    {identitySection, "StudyTime"},
    {identitySection, "AccessionNumber"},
    {identitySection, "ReferringPhysicianName"},
    {identitySection, "PatientName"},
    {identitySection, "PatientID"},
    {identitySection, "PatientBirthDate"},
    {identitySection, "PatientSex"},
    {identitySection, "StudyID"},
    {identitySection, "SeriesNumber"},
    {identitySection, "InstanceNumber"},
};
constexpr SectionAndKeyword ofComputedRadiography[] = {
    {technicalSection, "BodyPartExamined"},
    {technicalSection, "ViewPosition"},
};

const DcmTagKey anatomicRegion(0x0008, 0x2218), acquisitionContext(0x0040, 0x0555);

void putUnlessTold(DcmItem& dataset, const char* keyword, const std::string& value) {
    if (!holds(dataset, keyword)) put(dataset, keyword, value);
}

void putEmptySequence(DcmItem& dataset, const DcmTagKey& tag) {
    if (!dataset.tagExists(tag)) dataset.insertEmptyElement(DcmTag(tag, EVR_SQ));
}

/// Digital X-ray, which asks for much that the others leave open.
void putDigital(DcmItem& dataset, const SopClass& sop, bool smallIsBright, int bits) {
    if (!holds(dataset, detectorSpacing))
        throw Refusal(
            "class DX asks for the detector's spacing, which the picture does not give; "
            "--pitch sets it");
    if (!holds(dataset, "PixelIntensityRelationship") ||
        !holds(dataset, "PixelIntensityRelationshipSign"))
        throw Refusal(
            "class DX asks how grey values go with the beam's intensity, which the "
            "picture does not say; --intensity lin+|lin-|log+|log- does");
    put(dataset, "RescaleSlope", "1");
    put(dataset, "RescaleIntercept", "0");
    put(dataset, "RescaleType", "US");
    putUnlessTold(dataset, "PresentationLUTShape", smallIsBright ? "INVERSE" : "IDENTITY");
    putUnlessTold(dataset, "LossyImageCompression", "00");
    putUnlessTold(dataset, "ImageLaterality", "U");
    putEmptyUnlessThere(dataset, *findAttribute(technicalSection, "DetectorType"));
    putEmptySequence(dataset, anatomicRegion);
    putEmptySequence(dataset, acquisitionContext);
    if (!sop.isForPresentation() || holds(dataset, "WindowCenter")) return;
    // To be presented, a picture has to have a window: that of all values.
    const unsigned range = 1U << bits;
    put(dataset, "WindowCenter", std::to_string(range / 2));
    put(dataset, "WindowWidth", std::to_string(range));
}

void putTimeOfWriting(DcmItem& dataset) {
    const std::tm local = localTimeNow();
    char date[16], time[16];
    std::strftime(date, sizeof date, "%Y%m%d", &local);
    std::strftime(time, sizeof time, "%H%M%S", &local);
    put(dataset, DcmTagKey(0x0008, 0x0012), "DA", date);
    put(dataset, DcmTagKey(0x0008, 0x0013), "TM", time);
}

}  // namespace

void putRequired(DcmItem& dataset, const SopClass& sop, bool smallIsBright, int bits) {
    put(dataset, DcmTagKey(0x0008, 0x0005), "CS", "ISO_IR 192");
    if (sop.modality == nullptr) {
        putUnlessTold(dataset, "Modality", "OT");
        putUnlessTold(dataset, "ConversionType", "WSD");
    }
    for (const auto& [section, keyword] : ofAll)
        putEmptyUnlessThere(dataset, *findAttribute(section, keyword));
    if (sop.modality != nullptr && !sop.isDigital)
        for (const auto& [section, keyword] : ofComputedRadiography)
            putEmptyUnlessThere(dataset, *findAttribute(section, keyword));
    if (sop.isDigital) putDigital(dataset, sop, smallIsBright, bits);
    putTimeOfWriting(dataset);
}

}  // namespace lumo::interchange::dicom
