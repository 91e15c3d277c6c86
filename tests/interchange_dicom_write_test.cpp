// Pictures become DICOM files and come back: values, pitch, entries and history, in every class and
// compression; a file like an original keeps what that says.
#include <gtest/gtest.h>

#include <algorithm>

#include "interchange/dicom/attributes.h"
#include "interchange/dicom/changes.h"
#include "interchange/dicom/files.h"
#include "interchange/dicom/read_back.h"
#include "interchange/dicom_bytes.h"
#include "support/support.h"

namespace {

using namespace lumo::interchange;
using dicom::entryOf;
using dicom::Kind;
using lumo::test::Bytes;
using lumo::test::DicomBytes;
using lumo::test::Pixels;
using Options = std::map<std::string, std::string>;

constexpr int width = 23, height = 9;

Picture picture(int bits = 16) {
    Picture made;
    made.width = width;
    made.height = height;
    made.bits = std::uint8_t(bits);
    made.allocate();
    const Pixels noise = lumo::test::noise(width, height).pixels;
    for (std::size_t i = 0; i < noise.size(); ++i)
        made.raster[i] = std::uint16_t(noise[i] >> (16 - bits));
    made.pitchX = 139000;
    made.pitchY = 143000;
    return made;
}

Pixels rasterOf(const Picture& made) {
    return {made.raster.get(), made.raster.get() + made.pixelCount()};
}

std::vector<std::string> notes;

Bytes write(const Picture& made, const Options& options = {}, const Bytes& original = {}) {
    return writeDicom(made, Request(options), original, notes);
}

Picture again(const Picture& made, const Options& options = {}, const Bytes& original = {},
              const char* keep = "all") {
    return readDicom(write(made, options, original), Request(Options{{"keep", keep}}));
}

std::string refusal(const Picture& made, const Options& options, const Bytes& original = {}) {
    try {
        (void)write(made, options, original);
        return "accepted";
    } catch (const Refusal& reason) {
        return reason.what();
    }
}

bool noted(const std::string& words) {
    return std::ranges::any_of(
        notes, [&](const std::string& note) { return note.find(words) != std::string::npos; });
}

bool holds(const Bytes& bytes, std::string_view text) {
    return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()).find(text) !=
           std::string_view::npos;
}

/// A value for the representation, other for each attribute.
std::string valueFor(const dicom::Attribute& attribute, int number) {
    const std::string_view vr = attribute.vr;
    if (vr == "UI") return "1.2.840." + std::to_string(number);
    if (vr == "CS") return "CODE " + std::to_string(number);
    if (vr == "DS") return std::to_string(number) + ".50";
    if (vr == "FL" || vr == "FD") return std::to_string(number) + ".5";
    if (vr == "DA") return "2001" + std::to_string(1000 + number % 200).substr(0, 4);
    if (vr == "TM") return "1200";
    if (vr == "IS" || vr == "US" || vr == "SS" || vr == "xs") return std::to_string(number);
    return "text \xC3\xA4 " + std::to_string(number);
}

/// Every attribute that a file keeps as it came.
Picture withEverything() {
    Picture made = picture();
    int number = 100;
    for (const std::span table : {dicom::technicalAttributes(), dicom::componentAttributes()})
        for (const dicom::Attribute& attribute : table) {
            const bool isOurs = attribute.kind == Kind::pixels || attribute.kind == Kind::spacing ||
                                attribute.kind == Kind::present;
            const std::string_view keyword = attribute.keyword;
            if (isOurs || keyword == "SOPClassUID" || keyword == "LossyImageCompression") continue;
            made.add(attribute.kind == Kind::component ? "DICONDE" : "DICOM", attribute.keyword,
                     valueFor(attribute, ++number));
        }
    made.add("DICONDE", "ComponentName", "Weld 7");
    made.add("Foreign", "a key", " a value\nwith lines ");
    made.add("Image", "Author", "A. U. Thor");
    made.add("Image", "Source", "maker");
    return made;
}

TEST(DicomWrite, EveryEntryComesBack) {
    const Picture made = withEverything(), back = again(made);
    EXPECT_TRUE(notes.empty()) << notes.front();
    EXPECT_EQ(rasterOf(back), rasterOf(made));
    for (const Entry& entry : made.entries) {
        if (entry.key == "Source") continue;  // is made from maker and model
        EXPECT_EQ(entryOf(back, entry.section, entry.key), entry.value) << entry.key;
    }
    EXPECT_EQ(back.pitchX, made.pitchX);
    EXPECT_EQ(back.pitchY, made.pitchY);
}

TEST(DicomWrite, EveryCompressionIsExactAtEveryDepth) {
    for (const char* const compression : {"none", "rle", "jpeg-lossless", "jpeg-ls"})
        for (const int bits : {1, 2, 7, 8, 9, 12, 15, 16})
            for (const bool isSigned : {false, true}) {
                Picture made = picture(bits);
                if (isSigned) made.add("Import", "Offset", std::to_string(1 << (bits - 1)));
                if (isSigned) made.add("Import", "Steps", "1");
                if (isSigned) made.add("PerformedSteps", "Step0", "convert");
                const Picture back = again(made, {{"compression", compression}});
                ASSERT_EQ(rasterOf(back), rasterOf(made)) << compression << ' ' << bits;
                ASSERT_EQ(back.bits, bits);
                ASSERT_EQ(entryOf(back, "DICOM", "PixelRepresentation"), isSigned ? "1" : "0");
            }
    EXPECT_EQ(refusal(picture(), {{"compression", "lzw"}}),
              "DICOM files are not compressed by lzw; there are none, rle, jpeg-lossless, and "
              "jpeg-ls");
}

TEST(DicomWrite, ValuesThatNeedMoreBitsThanToldGetThem) {
    Picture made = picture(12);
    made.raster[5] = 4096;
    const Picture back = again(made);
    EXPECT_EQ(back.bits, 16);
    EXPECT_EQ(rasterOf(back), rasterOf(made));
    EXPECT_TRUE(noted("4096, needs more than 12 bits"));
}

TEST(DicomWrite, SignedValuesComeBackOnlyUntouched) {
    Picture made = picture(12);
    made.add("Import", "Offset", "2048");
    made.add("Import", "Steps", "1");
    made.add("PerformedSteps", "Step0", "convert");
    made.add("DICOM", "PixelPaddingValue", "-2048");
    EXPECT_EQ(entryOf(again(made), "DICOM", "PixelPaddingValue"), "-2048");
    made.add("PerformedSteps", "Step1", "invert");
    const Picture back = again(made);
    EXPECT_EQ(entryOf(back, "DICOM", "PixelRepresentation"), "0");
    EXPECT_EQ(entryOf(back, "DICOM", "PixelPaddingValue"), "");
    EXPECT_TRUE(noted("steps followed; they are written as they are, unsigned"));
    EXPECT_TRUE(noted("steps may have changed the grey values"));
}

TEST(DicomWrite, ClassesAskForWhatNobodyMayInvent) {
    Picture made = picture();
    EXPECT_EQ(refusal(made, {{"sop", "dx"}}),
              "class DX asks how grey values go with the beam's intensity, which the picture does "
              "not say; --intensity lin+|lin-|log+|log- does");
    for (const char* const sop : {"dx", "dx-processing"}) {
        const Picture back = again(made, {{"sop", sop}, {"intensity", "log-"}});
        EXPECT_EQ(entryOf(back, "DICOM", "Modality"), "DX");
        EXPECT_EQ(entryOf(back, "DICOM", "PixelIntensityRelationship"), "LOG");
        EXPECT_EQ(entryOf(back, "DICOM", "PixelIntensityRelationshipSign"), "-1");
        EXPECT_EQ(entryOf(back, "DICOM", "RescaleType"), "US");
        EXPECT_EQ(entryOf(back, "DICOM", "ImageLaterality"), "U");
        EXPECT_EQ(entryOf(back, "DICOM", "BurnedInAnnotation"), "");
        EXPECT_EQ(entryOf(back, "Import", "PitchFrom"), "ImagerPixelSpacing");
        // Written without being asked: of the source's class.
        EXPECT_EQ(entryOf(again(back), "DICOM", "SOPClassUID"),
                  entryOf(back, "DICOM", "SOPClassUID"));
    }
    EXPECT_EQ(entryOf(again(made, {{"sop", "cr"}}), "DICOM", "Modality"), "CR");
    const Picture plain = again(made);
    EXPECT_EQ(entryOf(plain, "DICOM", "SOPClassUID"), "1.2.840.10008.5.1.4.1.1.7");
    EXPECT_EQ(entryOf(plain, "Import", "PitchFrom"), "NominalScannedPixelSpacing");
    EXPECT_EQ(refusal(made, {{"sop", "mr"}}),
              "there is no class mr; there are sc, cr, dx, and dx-processing");
    EXPECT_EQ(refusal(made, {{"intensity", "lin"}}),
              "there is no intensity lin; there are lin+, lin-, log+, and log-");

    made.pitchX = made.pitchY = assumedPitch;
    made.add("Import", "PitchFrom", "assumed");
    EXPECT_EQ(entryOf(again(made), "Import", "PitchFrom"), "assumed");
    EXPECT_TRUE(noted("its pitch was only assumed; none is written"));
    EXPECT_EQ(refusal(made, {{"sop", "dx"}, {"intensity", "lin+"}}),
              "class DX asks for the detector's spacing, which the picture does not give; --pitch "
              "sets it");
}

TEST(DicomWrite, TurnedPicturesLoseWhatNoLongerFits) {
    const std::vector<std::vector<Entry>> ways = {
        {{"Image_X", "Rotation", "90"}},
        {{"Image_X", "Mirror", "Horizontal"}},
        {{"DICOM", "Rows", "100"}},
        {{"PerformedSteps", "Step0", "crop --roi 1,1,3,3"}},
        {{"PerformedSteps", "Step0", "RotationNewImage(angle=3)"}}};
    for (std::size_t way = 0; way <= ways.size(); ++way) {
        Picture made = picture();
        made.add("DICOM", "PatientOrientation", "A\\F");
        made.add("DICOM", "CollimatorShape", "RECTANGULAR");
        made.add("DICOM", "KVP", "70");
        if (way < ways.size())
            for (const Entry& entry : ways[way]) made.entries.push_back(entry);
        const Picture back = again(made);
        const bool fits = way == ways.size();
        EXPECT_EQ(entryOf(back, "DICOM", "PatientOrientation"), fits ? "A\\F" : "") << way;
        EXPECT_EQ(noted("cropped or binned: 2 elements"), !fits) << way;
        EXPECT_EQ(entryOf(back, "DICOM", "KVP"), "70");
    }
}

TEST(DicomWrite, TellsItsHistory) {
    Picture made = picture();
    std::string steps;
    for (int i = 0; i < 60; ++i) {
        made.add("PerformedSteps", "Step" + std::to_string(i),
                 i % 2 ? "filter type=median_filter size=5" : "invert \xC3\xA4");
        steps += (i > 0 ? "; " : "") + made.entries.back().value;
    }
    const Bytes file = write(made, {{"version", "2.2.1"}});
    EXPECT_TRUE(noted("first 1024 characters"));
    EXPECT_TRUE(holds(file, steps.substr(0, 1024)) && !holds(file, steps));
    EXPECT_TRUE(holds(file, "109102") && holds(file, "2.2.1") && holds(file, "DERIVED\\SECONDARY"));
    EXPECT_TRUE(holds(file, "lumo 2.2.1: technical attributes only"));
    const Picture back = readDicom(file, Request());
    for (const Entry& entry : made.entries)
        EXPECT_EQ(entryOf(back, entry.section, entry.key), entry.value) << entry.key;
}

TEST(DicomWrite, GivesIdentityOnlyToFilesOfPicturesThatHaveIt) {
    Picture made = picture();
    made.add("DICOM", "ImageType", "ORIGINAL\\PRIMARY");
    made.add("DICOM", "SOPClassUID", "1.2.840.10008.5.1.4.1.1.1");
    EXPECT_TRUE(holds(write(made), "not searched for text"));
    made.add("DICOM_Identity", "PatientName", "Secret^Person");
    made.add("DICOM_Identity", "StudyInstanceUID", "1.2.3.4");
    made.add("DICOM_Identity", "SOPInstanceUID", "1.2.3.5");
    made.add("DICOM_Identity", "SeriesInstanceUID", "not valid");
    const Bytes file = write(made);
    EXPECT_FALSE(holds(file, "not searched for text"));
    const std::string_view all(reinterpret_cast<const char*>(file.data()), file.size());
    EXPECT_EQ(all.find("Secret"), all.rfind("Secret")) << "not in the private block, too";
    const Picture back = readDicom(file, Request(Options{{"keep", "all"}}));
    EXPECT_EQ(entryOf(back, "DICOM_Identity", "PatientName"), "Secret^Person");
    EXPECT_EQ(entryOf(back, "DICOM_Identity", "StudyInstanceUID"), "1.2.3.4");
    EXPECT_TRUE(entryOf(back, "DICOM_Identity", "SOPInstanceUID").starts_with("2.25."));
    EXPECT_TRUE(entryOf(back, "DICOM_Identity", "SeriesInstanceUID").starts_with("2.25."));
    EXPECT_TRUE(holds(file, "1.2.3.5")) << "the source image";
    EXPECT_EQ(entryOf(back, "DICOM", "ImageType"), "ORIGINAL\\PRIMARY");
    const Picture bare = readDicom(file, Request());
    for (const Entry& entry : bare.entries)
        EXPECT_EQ(entry.value.find("Secret"), std::string::npos) << entry.key;
}

TEST(DicomWrite, NoticesAnythingThatDoesNotReadBack) {
    const Picture made = picture(12);
    const Bytes file = write(made);
    const auto complaint = [&](const Picture& expected, const dicom::Written& written) {
        try {
            dicom::requireSame(expected, written, dicom::memoryStream(file));
            return std::string();
        } catch (const Refusal& reason) {
            return std::string(reason.what());
        }
    };
    dicom::Written written;
    written.entries = again(made).entries;
    std::erase_if(written.entries, [](const Entry& entry) {
        return !entry.section.starts_with("DICOM") || entry.section == "DICOM_Identity";
    });
    const Picture kept = readDicom(file, Request(Options{{"keep", "all"}}));
    for (const Entry& entry : kept.entries)
        if (entry.section == "DICOM_Identity") written.entries.push_back(entry);
    written.pitch = dicom::Pitch{made.pitchX, made.pitchY};
    EXPECT_EQ(complaint(made, written), "");
    Picture other = picture(12);
    other.raster[0] ^= 1;
    EXPECT_EQ(complaint(other, written), "what was written does not read back: its pixels");
    written.entries.back().value += "1";
    EXPECT_EQ(complaint(made, written), "what was written does not read back: its elements");
    written.pitch->x += 1;
    EXPECT_EQ(complaint(made, written), "what was written does not read back: its pitch");
}

TEST(DicomWrite, LeavesOutWhatIsNoValue) {
    Picture made = picture();
    made.add("DICOM", "KVP", "seventy");
    made.add("DICOM", "ExposureTime", "7.5");
    made.add("DICOM", "SoftwareVersions", "a\nb");
    made.add("DICOM", "EntranceDose", "70000");
    made.add("DICOM", "NoSuchThing", "1");
    const Picture back = again(made);
    for (const char* const key : {"KVP", "ExposureTime", "SoftwareVersions", "EntranceDose"}) {
        EXPECT_EQ(entryOf(back, "DICOM", key), "");
        EXPECT_TRUE(noted(std::string("DICOM/") + key + " holds no value of its kind"));
    }
}

Bytes original(int bits = 12) {
    DicomBytes file(width, height, bits);
    file.text(0x00080005, "CS", "ISO_IR 100")
        .text(0x00080016, "UI", "1.2.840.10008.5.1.4.1.1.1.2")
        .text(0x00080018, "UI", "1.2.3.9")
        .text(0x0020000D, "UI", "1.2.3.7")
        .text(0x0020000E, "UI", "1.2.3.8")
        .text(0x00100010, "PN", "M\xFCller^Eva")
        .text(0x00080060, "CS", "MG")
        .text(0x00081030, "LO", "described")
        .text(0x00180060, "DS", "28")
        .text(0x00181152, "IS", "120")
        .text(0x00181164, "DS", "0.143\\0.139")
        .text(0x00200020, "CS", "L\\F")
        .text(0x00281050, "DS", "2000")
        .text(0x00281051, "DS", "400")
        .text(0x00291001, "LO", "private");
    return file.pixels(Pixels(std::size_t(width * height), 7)).bytes();
}

TEST(DicomWrite, LikeAnOriginalKeepsAllThatIsNotOfItsPixels) {
    Picture made = readDicom(original(), Request());
    std::erase_if(made.entries, [](const Entry& entry) { return entry.key == "KVP"; });
    for (const bool changed : {false, true}) {
        if (changed) made.add("PerformedSteps", "Step0", "filter type=median_filter size=5");
        if (changed) made.raster[3] = 4095;
        const Bytes file = write(made, {{"like", "1"}}, original());
        const Picture back = readDicom(file, Request(Options{{"keep", "all"}}));
        EXPECT_EQ(rasterOf(back), rasterOf(made));
        EXPECT_EQ(back.pitchX, 139000U);
        EXPECT_EQ(entryOf(back, "DICOM", "KVP"), "28");
        EXPECT_EQ(entryOf(back, "DICOM", "Exposure"), "120");
        EXPECT_EQ(entryOf(back, "DICOM", "SOPClassUID"), "1.2.840.10008.5.1.4.1.1.1.2");
        EXPECT_EQ(entryOf(back, "DICOM", "WindowCenter"), changed ? "" : "2000");
        EXPECT_EQ(entryOf(back, "DICOM", "PatientOrientation"), "L\\F");
        EXPECT_EQ(entryOf(back, "DICOM_Identity", "PatientName"), "M\xC3\xBCller^Eva");
        EXPECT_EQ(entryOf(back, "DICOM_Identity", "StudyInstanceUID"), "1.2.3.7");
        EXPECT_EQ(entryOf(back, "DICOM_Identity", "StudyDescription"), "described");
        EXPECT_TRUE(entryOf(back, "DICOM_Identity", "SOPInstanceUID").starts_with("2.25."));
        EXPECT_TRUE(entryOf(back, "DICOM_Identity", "SeriesInstanceUID").starts_with("2.25."));
        EXPECT_TRUE(holds(file, "1.2.3.9")) << "the source image";
        EXPECT_FALSE(holds(file, "private") || holds(file, "not searched"));
        EXPECT_EQ(entryOf(back, "DICOM_Identity", "DerivationDescription"),
                  changed ? "filter type=median_filter size=5" : "");
        EXPECT_TRUE(noted("left out of the original: 1 element,"));
    }
}

TEST(DicomWrite, LikeAnOriginalOfOtherSidesNeedsAStep) {
    Picture made = picture(12);
    made.height = height - 1;
    EXPECT_EQ(refusal(made, {{"like", "1"}}, original()),
              "the picture has 23 x 8 pixels, the original 23 x 9, and no step of the history "
              "explains that");
    made.add("PerformedSteps", "Step0", "crop --roi 0,0,22,7");
    const Picture back = again(made, {{"like", "1"}}, original());
    EXPECT_EQ(back.height, made.height);
    EXPECT_EQ(entryOf(back, "DICOM", "PatientOrientation"), "");
    EXPECT_EQ(refusal(made, {{"like", "1"}}, {}), "no DICOM file: it holds no elements");
}

}  // namespace
