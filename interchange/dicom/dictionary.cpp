// The DICOM library's dictionary, filled from the tables of attributes.
#include "interchange/dicom/dictionary.h"

#include <span>
#include <string>

#include "interchange/dicom/attributes.h"
#include "interchange/dicom/dcmtk.h"
#include "interchange/system.h"

namespace lumo::interchange::dicom {

namespace {

struct Entry {
    std::uint16_t group, element;
    const char* name;
    const char* vr;
};

/// What files are made of beside the attributes of the tables.
constexpr Entry structure[] = {
    {0x0002, 0x0000, "FileMetaInformationGroupLength", "UL"},
    {0x0002, 0x0001, "FileMetaInformationVersion", "OB"},
    {0x0002, 0x0002, "MediaStorageSOPClassUID", "UI"},
    {0x0002, 0x0003, "MediaStorageSOPInstanceUID", "UI"},
    {0x0002, 0x0010, "TransferSyntaxUID", "UI"},
    {0x0002, 0x0012, "ImplementationClassUID", "UI"},
    {0x0002, 0x0013, "ImplementationVersionName", "SH"},
    {0x0002, 0x0016, "SourceApplicationEntityTitle", "AE"},
    {0x0002, 0x0100, "PrivateInformationCreatorUID", "UI"},
    {0x0002, 0x0102, "PrivateInformation", "OB"},
    {0x0004, 0x1220, "DirectoryRecordSequence", "SQ"},
    {0x0008, 0x0005, "SpecificCharacterSet", "CS"},
    {0x0008, 0x0100, "CodeValue", "SH"},
    {0x0008, 0x0102, "CodingSchemeDesignator", "SH"},
    {0x0008, 0x0104, "CodeMeaning", "LO"},
    {0x0008, 0x1150, "ReferencedSOPClassUID", "UI"},
    {0x0008, 0x1155, "ReferencedSOPInstanceUID", "UI"},
    {0x0008, 0x2112, "SourceImageSequence", "SQ"},
    {0x0008, 0x2218, "AnatomicRegionSequence", "SQ"},
    {0x0012, 0x0062, "PatientIdentityRemoved", "CS"},
    {0x0012, 0x0063, "DeidentificationMethod", "LO"},
    {0x0018, 0xA001, "ContributingEquipmentSequence", "SQ"},
    {0x0018, 0xA003, "ContributionDescription", "ST"},
    {0x0028, 0x1101, "RedPaletteColorLookupTableDescriptor", "xs"},
    {0x0028, 0x1102, "GreenPaletteColorLookupTableDescriptor", "xs"},
    {0x0028, 0x1103, "BluePaletteColorLookupTableDescriptor", "xs"},
    {0x0028, 0x1201, "RedPaletteColorLookupTableData", "OW"},
    {0x0028, 0x1202, "GreenPaletteColorLookupTableData", "OW"},
    {0x0028, 0x1203, "BluePaletteColorLookupTableData", "OW"},
    {0x0028, 0x3002, "LUTDescriptor", "xs"},
    {0x0028, 0x3003, "LUTExplanation", "LO"},
    {0x0028, 0x3006, "LUTData", "lt"},
    {0x0040, 0x0555, "AcquisitionContextSequence", "SQ"},
    {0x0040, 0xA170, "PurposeOfReferenceCodeSequence", "SQ"},
    {0x7FE0, 0x0008, "FloatPixelData", "OF"},
    {0x7FE0, 0x0009, "DoubleFloatPixelData", "OD"},
    {0x7FE0, 0x0010, "PixelData", "ox"},
    {0xFFFC, 0xFFFC, "DataSetTrailingPadding", "OB"},
};

/// Of the overlays, which have the groups 6000, 6002 and so on.
constexpr Entry overlays[] = {
    {0x6000, 0x0010, "OverlayRows", "US"},          {0x6000, 0x0011, "OverlayColumns", "US"},
    {0x6000, 0x0040, "OverlayType", "CS"},          {0x6000, 0x0050, "OverlayOrigin", "SS"},
    {0x6000, 0x0100, "OverlayBitsAllocated", "US"}, {0x6000, 0x0102, "OverlayBitPosition", "US"},
    {0x6000, 0x3000, "OverlayData", "ox"},
};

DcmDictEntry* dictionaryEntry(std::uint16_t group, std::uint16_t element, std::uint16_t lastGroup,
                              const char* name, const char* vr) {
    // Deleted by the dictionary, which keeps the names where they are.
    return new DcmDictEntry(group, element, lastGroup, element, DcmVR(vr), name, 1, DcmVariableVM,
                            nullptr, OFFalse, nullptr);
}

void add(DcmDataDictionary& dictionary, std::span<const Attribute> attributes) {
    for (const Attribute& attribute : attributes)
        dictionary.addEntry(dictionaryEntry(attribute.group, attribute.element, attribute.group,
                                            attribute.keyword, attribute.vr));
}

/// The library's dictionary, locked, created with nothing in it.
DcmDataDictionary& emptyDictionary() {
    // Or the first look-up would load the whole one.
    const ReplacedVariable path(DCM_DICT_ENVIRONMENT_VARIABLE, "/dev/null");
    return dcmDataDict.wrlock();
}

}  // namespace

void useSmallDictionary() {
    static bool used = false;
    if (used) return;
    used = true;
    OFLog::configure(OFLogger::OFF_LOG_LEVEL);
    DcmDataDictionary& dictionary = emptyDictionary();
    add(dictionary, technicalAttributes());
    add(dictionary, componentAttributes());
    add(dictionary, identityAttributes());
    for (const Entry& entry : structure)
        dictionary.addEntry(
            dictionaryEntry(entry.group, entry.element, entry.group, entry.name, entry.vr));
    for (const Entry& entry : overlays)
        dictionary.addEntry(
            dictionaryEntry(entry.group, entry.element, 0x60FF, entry.name, entry.vr));
    dcmDataDict.wrunlock();
}

void useWholeDictionary() {
    DcmDataDictionary& dictionary = dcmDataDict.wrlock();
    dictionary.reloadDictionaries(OFTrue, OFTrue);
    dcmDataDict.wrunlock();
}

}  // namespace lumo::interchange::dicom
