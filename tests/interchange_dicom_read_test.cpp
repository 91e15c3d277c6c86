// DICOM files become pictures: the stored values and nothing else, every refusal in its own words,
// and nothing that identifies unless it was asked for.
#include <gtest/gtest.h>

#include <algorithm>

#include "interchange/dicom/attributes.h"
#include "interchange/dicom/changes.h"
#include "interchange/dicom/files.h"
#include "interchange/dicom_bytes.h"
#include "interchange/jpeg2000_bytes.h"
#include "interchange/transfer.h"
#include "support/support.h"

namespace {

using namespace lumo::interchange;
using dicom::entryOf;
using lumo::test::Bytes;
using lumo::test::DicomBytes;
using lumo::test::Pixels;
using Options = std::map<std::string, std::string>;

constexpr int width = 7, height = 5;

Pixels values(int bits) {
    Pixels pixels = lumo::test::noise(width, height).pixels;
    for (std::uint16_t& pixel : pixels) pixel = std::uint16_t(pixel >> (16 - bits));
    return pixels;
}

DicomBytes sample(int bits = 16) {
    return DicomBytes(width, height, bits).pixels(values(bits));
}

Picture read(const DicomBytes& file, const Options& options = {}) {
    return readDicom(file.bytes(), Request(options));
}

Pixels rasterOf(const Picture& picture) {
    return {picture.raster.get(), picture.raster.get() + picture.pixelCount()};
}

bool says(const Picture& picture, const std::string& words) {
    return std::ranges::any_of(picture.notes, [&](const std::string& note) {
        return note.find(words) != std::string::npos;
    });
}

std::string refusal(const DicomBytes& file, const Options& options = {}) {
    try {
        (void)read(file, options);
        return "accepted";
    } catch (const Refusal& reason) {
        return reason.what();
    }
}

TEST(DicomRead, GivesTheStoredValues) {
    const Picture picture = read(sample(12).text(0x00181164, "DS", "0.143\\0.139"));
    EXPECT_EQ(rasterOf(picture), values(12));
    EXPECT_EQ(picture.bits, 12);
    EXPECT_EQ(picture.pitchX, 139000U);
    EXPECT_EQ(picture.pitchY, 143000U);
    EXPECT_EQ(entryOf(picture, "Import", "PitchFrom"), "ImagerPixelSpacing");
    EXPECT_EQ(entryOf(picture, "DICOM", "ImagerPixelSpacing"), "0.143\\0.139");
    EXPECT_TRUE(picture.notes.empty()) << picture.notes.front();
}

TEST(DicomRead, WithoutPreambleInBothByteOrdersAndFromBytes) {
    DicomBytes bare = sample();
    bare.hasPreamble = false;
    EXPECT_EQ(rasterOf(read(bare)), values(16));
    DicomBytes big(width, height);
    big.syntax = "1.2.840.10008.1.2.2";
    big.bigEndian = true;
    for (const std::uint32_t tag : {0x00280002U, 0x00280010U, 0x00280011U, 0x00280100U, 0x00280101U,
                                    0x00280102U, 0x00280103U})
        big.without(tag);
    big.word(0x00280002, 1).word(0x00280010, height).word(0x00280011, width);
    big.word(0x00280100, 16).word(0x00280101, 16).word(0x00280102, 15).word(0x00280103, 0);
    EXPECT_EQ(rasterOf(read(big.pixels(values(16)))), values(16));
    // 8 bits: an odd number of them, as they are.
    DicomBytes eight = DicomBytes(width, height, 8).word(0x00280100, 8);
    Bytes bytes(std::size_t(width * height));
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = std::uint8_t(i * 7);
    const Picture picture = read(eight.text(0x7FE00010, "OB", {bytes.begin(), bytes.end()}));
    EXPECT_EQ(rasterOf(picture), Pixels(bytes.begin(), bytes.end()));
    EXPECT_EQ(picture.bits, 8);
    EXPECT_FALSE(says(picture, "behind"));
}

TEST(DicomRead, MasksWhatLiesBesideTheValues) {
    Pixels junk = values(12);
    for (std::uint16_t& word : junk) word |= 0x9000;
    const Picture picture =
        read(sample(12).pixels(junk).word(0x60000102, 15).text(0x60003000, "OW", "ov"));
    EXPECT_EQ(rasterOf(picture), values(12));
    EXPECT_TRUE(says(picture, "bits beside the 12 of the values are set"));
    EXPECT_TRUE(says(picture, "overlay 6000 is left out"));
}

TEST(DicomRead, SignedValuesAlwaysGetHalfTheRange) {
    Pixels words = values(12), expected = words;
    for (std::uint16_t& word : words) word = std::uint16_t(std::int16_t((word - 2048)));
    const Picture picture = read(sample(12).word(0x00280103, 1).pixels(words));
    EXPECT_EQ(rasterOf(picture), expected);
    EXPECT_EQ(entryOf(picture, "Import", "Offset"), "2048");
    EXPECT_EQ(entryOf(picture, "Import", shiftedMark), "1");
    EXPECT_TRUE(says(picture, "2048 was added"));
    EXPECT_FALSE(says(picture, "beside"));
}

TEST(DicomRead, Monochrome1IsTurnedOnlyOnRequest) {
    const DicomBytes file = sample(10).text(0x00280004, "CS", "MONOCHROME1");
    const Picture kept = read(file), turned = read(file, {{"monochrome2", "1"}});
    EXPECT_EQ(rasterOf(kept), values(10));
    EXPECT_TRUE(says(kept, "--monochrome2 turns them"));
    Pixels expected = values(10);
    for (std::uint16_t& value : expected) value = std::uint16_t(1023 - value);
    EXPECT_EQ(rasterOf(turned), expected);
    EXPECT_EQ(entryOf(turned, "DICOM", "PhotometricInterpretation"), "MONOCHROME2");
    EXPECT_EQ(entryOf(turned, "Import", turnedMark), "1");
}

TEST(DicomRead, OfSeveralFramesTheChosenOne) {
    Pixels all;
    for (int frame = 0; frame < 3; ++frame)
        for (const std::uint16_t value : values(12)) all.push_back(std::uint16_t(value ^ frame));
    const DicomBytes file = sample(12).text(0x00280008, "IS", "3").pixels(all);
    EXPECT_EQ(refusal(file), "3 frames; choose one with --frame 1 to 3");
    EXPECT_EQ(refusal(file, {{"frame", "4"}}),
              "there is no frame 4; choose one with --frame 1 to 3");
    const Picture second = read(file, {{"frame", "2"}});
    EXPECT_EQ(rasterOf(second)[3], values(12)[3] ^ 1);
    EXPECT_TRUE(says(second, "frame 2 of 3"));
}

Bytes jpeg2000(const Pixels& pixels, int precision, bool isSigned, int components = 1) {
    return lumo::test::jpeg2000(width, height, pixels, precision, isSigned, components);
}

TEST(DicomRead, Jpeg2000AsTheDetectorsValues) {
    const Pixels raster = values(12);
    const auto file = [&](const Bytes& stream, int bits, bool isSigned) {
        DicomBytes all(width, height, bits);
        all.syntax = "1.2.840.10008.1.2.4.90";
        const std::ptrdiff_t half = std::ptrdiff_t(stream.size() / 4 * 2);
        return all.word(0x00280103, isSigned)
            .fragments(
                {{stream.begin(), stream.begin() + half}, {stream.begin() + half, stream.end()}});
    };
    const Bytes stream = jpeg2000(raster, 12, false);
    EXPECT_EQ(rasterOf(read(file(stream, 12, false))), raster);
    const Picture other = read(file(stream, 16, false));
    EXPECT_EQ(other.bits, 12);
    EXPECT_TRUE(says(other, "the JPEG 2000 stream has 12 bits a pixel, the file says 16"));
    Pixels negative = raster, lifted = raster;
    for (std::size_t i = 0; i < raster.size(); ++i) {
        negative[i] = std::uint16_t(raster[i] - 2048);
        lifted[i] = raster[i] ^ 2048;
    }
    EXPECT_EQ(rasterOf(read(file(jpeg2000(negative, 12, true), 12, true))), raster);
    EXPECT_EQ(rasterOf(read(file(stream, 12, true))), lifted) << "a bit pattern";
    EXPECT_EQ(refusal(file(jpeg2000(negative, 12, true), 12, false)),
              "the file contradicts itself: unsigned pixels in a signed JPEG 2000 stream");
    EXPECT_EQ(refusal(file(jpeg2000(raster, 12, false, 3), 12, false)),
              "the JPEG 2000 stream holds colour; lumo takes grey images");
    EXPECT_EQ(refusal(file(Bytes(stream.begin(), stream.end() - 20), 12, false)),
              "the JPEG 2000 stream is damaged or ends early");
    EXPECT_EQ(refusal(file(stream, 12, false).word(0x00280010, height + 1)),
              "the file contradicts itself: the JPEG 2000 stream has another size");
    DicomBytes frames = file(stream, 12, false).text(0x00280008, "IS", "3");
    EXPECT_EQ(refusal(frames, {{"frame", "3"}}),
              "its frames cannot be told apart: 2 fragments for 3 frames");
    frames = DicomBytes(width, height, 12).text(0x00280008, "IS", "2");
    frames.syntax = "1.2.840.10008.1.2.4.91";
    const Bytes mirrored = jpeg2000(lifted, 12, false);
    const Picture last = read(frames.fragments({stream, mirrored}), {{"frame", "2"}});
    EXPECT_EQ(rasterOf(last), lifted);
    EXPECT_TRUE(says(last, "lossy"));
    EXPECT_EQ(entryOf(last, "DICOM", "LossyImageCompression"), "01");
}

TEST(DicomRead, RefusesFramesThatAreNotAllThere) {
    constexpr std::pair<const char*, const char*> codings[] = {
        {"1.2.840.10008.1.2.5", "its pixels (RLE) are damaged or end early"},
        {"1.2.840.10008.1.2.4.70",
         "its pixels (JPEG lossless, first-order prediction) are damaged or end early"},
        {"1.2.840.10008.1.2.4.80", "its pixels (JPEG-LS lossless) are damaged or end early"}};
    for (const auto& [syntax, expected] : codings) {
        DicomBytes file(width, height);
        file.syntax = syntax;
        EXPECT_EQ(refusal(file.fragments({Bytes{}})), expected);
        EXPECT_EQ(refusal(file.fragments({Bytes(90, 1)})), expected);
    }
}

TEST(DicomRead, RefusesInItsOwnWords) {
    const auto with = [](std::uint32_t tag, int value) { return sample().word(tag, value); };
    DicomBytes htj2k = sample(), unknown = sample(), video = sample();
    htj2k.syntax = "1.2.840.10008.1.2.4.201";
    unknown.syntax = "1.2.3.4";
    video.syntax = "1.2.840.10008.1.2.4.102";
    const std::pair<DicomBytes, const char*> cases[] = {
        {sample().text(0x00280004, "CS", "RGB").word(0x00280002, 3),
         "colour (RGB); lumo takes grey images"},
        {sample().text(0x00280004, "CS", "PALETTE COLOR"),
         "colour (PALETTE COLOR); lumo takes grey images"},
        {with(0x00280002, 3), "the file contradicts itself: MONOCHROME2 with 3 samples a pixel"},
        {with(0x00280100, 32), "32 bits a pixel; lumo holds 16"},
        {with(0x00280100, 12), "12 bits allocated a pixel; lumo takes 8 or 16"},
        {sample(12).word(0x00280102, 8), "the file contradicts itself: 12 bits with high bit 8"},
        {with(0x00280101, 17), "the file contradicts itself: 17 bits with high bit 15"},
        {with(0x00280101, 0), "the file contradicts itself: 0 bits with high bit 15"},
        {with(0x00280103, 2), "the file contradicts itself: PixelRepresentation 2"},
        {with(0x00280010, 0), "Rows is 0; a picture has 1 to 65535"},
        {sample().without(0x00280011), "the file gives no Columns"},
        {sample().pixels(Pixels(20)), "ends early: 40 of 70 bytes of pixels"},
        {sample().text(0x7FE00008, "OF", "abcd"),
         "floating-point pixels; values would have to be scaled"},
        {sample().without(0x7FE00010).text(0x00080016, "UI", "1.2.840.10008.5.1.4.1.1.481.5"),
         "holds no image (RT Plan Storage)"},
        {sample().without(0x7FE00010).text(0x00080016, "UI", "1.2.3"), "holds no image"},
        {htj2k, "HTJ2K (1.2.840.10008.1.2.4.201) is not supported"},
        {video, "MPEG-4 video (1.2.840.10008.1.2.4.102) is not supported"},
        {unknown, "the transfer syntax (1.2.3.4) is not supported"},
    };
    for (const auto& [file, expected] : cases) EXPECT_EQ(refusal(file), expected);
    EXPECT_EQ(refusal(sample(), {{"keep", "dates,names"}}),
              "there is no list names to keep; there are device, dates, uids, people, and all");
    EXPECT_EQ(refusal(sample(), {{"pitch-from", "x"}}),
              "the pitch comes from the detector, or from the object, not from x");
}

TEST(DicomRead, SaysWhereAFileEnds) {
    Bytes file = sample().bytes();
    file.resize(file.size() - 11);
    const auto reasonOf = [](const Bytes& bytes) -> std::string {
        try {
            (void)readDicom(bytes, Request());
            return "accepted";
        } catch (const Refusal& reason) {
            return reason.what();
        }
    };
    EXPECT_EQ(reasonOf(file), "ends early: 59 of 70 bytes of pixels");
    EXPECT_EQ(reasonOf({}), "no DICOM file: it holds no elements");
    for (std::size_t size = 0; size < file.size(); ++size) {
        const std::string reason = reasonOf({file.begin(), file.begin() + std::ptrdiff_t(size)});
        ASSERT_NE(reason, "accepted") << size;
        ASSERT_NE(reason, "") << size;
    }
    Bytes followed = sample().bytes();
    followed.insert(followed.end(), 6, 0xFF);
    EXPECT_TRUE(says(readDicom(followed, Request()), "damaged behind its pixels"));
    Pixels longer = values(16);
    longer.resize(longer.size() + 5);
    EXPECT_TRUE(says(read(sample().pixels(longer)), "10 bytes behind the pixels left out"));
}

TEST(DicomRead, TellsWhatIsNotApplied) {
    const Picture picture = read(sample(12)
                                     .text(0x00281052, "DS", "-1024")
                                     .text(0x00281053, "DS", "2")
                                     .text(0x00281050, "DS", "40\\50")
                                     .text(0x00281051, "DS", "400\\10")
                                     .text(0x00283010, "SQ", "")
                                     .text(0x00280301, "CS", "YES"));
    EXPECT_EQ(rasterOf(picture), values(12));
    EXPECT_TRUE(says(picture, "(slope 2, intercept -1024) is not applied"));
    EXPECT_TRUE(says(picture, "burnt into its pixels"));
    EXPECT_EQ(entryOf(picture, "Import", "WindowLow"), "432");  // (40 - 200 + 1024) / 2
    EXPECT_EQ(entryOf(picture, "Import", "WindowHigh"), "632");
}

TEST(DicomRead, TakesTextsInTheirCharacterSetAndWrongOnesToo) {
    const Picture latin =
        read(sample().text(0x00080005, "CS", "ISO_IR 100").text(0x00080070, "LO", "R\xF6ntgen"));
    EXPECT_EQ(entryOf(latin, "DICOM", "Manufacturer"), "R\xC3\xB6ntgen");
    EXPECT_EQ(entryOf(latin, "Image", "Source"), "R\xC3\xB6ntgen");
    for (const char* const set : {"", "ISO_IR 192", "nonsense"}) {
        const Picture wrong =
            read(sample().text(0x00080005, "CS", set).text(0x00080070, "LO", "R\xF6ntgen"));
        EXPECT_EQ(entryOf(wrong, "DICOM", "Manufacturer"), "R<F6>ntgen") << set;
        EXPECT_TRUE(says(wrong, "outside the file's character set in 1 text,")) << set;
    }
    // Whole characters, and such that only look like some: too long, halves, beyond the last.
    constexpr std::pair<const char*, const char*> texts[] = {
        {"\xE2\x82\xAC \xF0\x9F\x98\x80", "\xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"\xC0\xAF.", "<C0><AF>."},
        {"\xE0\x80\xAF.", "<E0><80><AF>."},
        {"\xED\xA0\x80.", "<ED><A0><80>."},
        {"\xF4\x90\x80\x80.", "<F4><90><80><80>."},
        {"\xE2\x82.", "<E2><82>."}};
    for (const auto& [bytes, expected] : texts) {
        const Picture text =
            read(sample().text(0x00080005, "CS", "ISO_IR 192").text(0x00080070, "LO", bytes));
        EXPECT_EQ(entryOf(text, "DICOM", "Manufacturer"), expected);
    }
    const Picture odd = read(sample()
                                 .text(0x00180060, "LO", "70")                    // not a DS
                                 .text(0x00280010, "IS", std::to_string(height))  // not a US
                                 .text(0x00080020, "DA", std::string(56, 'x'))
                                 .text(0x00181411, "UN", "312"));
    EXPECT_EQ(entryOf(odd, "DICOM", "KVP"), "70");
    EXPECT_EQ(entryOf(odd, "DICOM", "ExposureIndex"), "312");
    EXPECT_EQ(rasterOf(odd), values(16));
}

/// A text that would be recognised anywhere, as a value of the representation.
std::string secret(const dicom::Attribute& attribute) {
    const std::string_view vr = attribute.vr;
    if (vr == "DA") return "17760704";
    if (vr == "UI") return "1.2.1776";
    if (vr == "US") return "";
    return vr == "PN" ? "Secret1776^Person" : "1776";
}

DicomBytes fullOfSecrets() {
    DicomBytes file = sample();
    for (const dicom::Attribute& attribute : dicom::identityAttributes()) {
        const std::uint32_t tag = std::uint32_t(attribute.group) << 16 | attribute.element;
        if (std::string_view(attribute.vr) == "US")
            file.word(tag, 1776);
        else if (attribute.group != 0x0014)
            file.text(tag, attribute.vr, secret(attribute));
    }
    return file.text(0x00290010, "LO", "SOMEBODY 1776")
        .text(0x00291001, "PN", "Secret1776")
        .text(0x00104000, "LT", "1776")
        .text(0x00321064, "SQ", "")
        .text(0x00400275, "UT", "1776")
        .text(0x00991010, "LO", "1776");
}

TEST(DicomRead, LeavesOutWhatIdentifies) {
    const Picture picture = read(fullOfSecrets());
    for (const Entry& entry : picture.entries)
        EXPECT_EQ((entry.section + entry.key + entry.value).find("1776"), std::string::npos)
            << entry.key;
    for (const std::string& note : picture.notes)
        EXPECT_EQ(note.find("1776"), std::string::npos) << note;
    EXPECT_TRUE(says(picture, "of them identifying; --keep takes more"));
}

TEST(DicomRead, KeepsTheListsThatWereAskedForInOneSection) {
    constexpr std::pair<const char*, dicom::Kind> lists[] = {{"device", dicom::Kind::device},
                                                             {"dates", dicom::Kind::dates},
                                                             {"uids", dicom::Kind::uids},
                                                             {"people", dicom::Kind::people}};
    for (const auto& [name, kind] : lists) {
        const Picture picture = read(fullOfSecrets(), {{"keep", name}});
        std::size_t found = 0;
        for (const Entry& entry : picture.entries) {
            if (entry.value.find("1776") == std::string::npos) continue;
            ++found;
            EXPECT_EQ(entry.section, "DICOM_Identity") << entry.key;
            EXPECT_EQ(dicom::findAttribute(entry.section, entry.key)->kind, kind) << entry.key;
        }
        EXPECT_GE(found, kind == dicom::Kind::dates ? 10U : 8U) << name;
    }
    const Picture all = read(fullOfSecrets(), {{"keep", "device,dates,uids,people"}});
    EXPECT_EQ(entryOf(all, "DICOM_Identity", "PatientName"), "Secret1776^Person");
}

TEST(DicomRead, KnowsDicondeByItsGroupOrItsCreators) {
    const DicomBytes plain = sample().text(0x00100010, "PN", "Weld 7").text(0x00102160, "SH", "Ti");
    EXPECT_EQ(entryOf(read(plain), "DICONDE", "ComponentName"), "");
    DicomBytes grouped = plain, named = plain;
    const Picture byGroup =
        read(grouped.text(0x00140030, "DS", "12.5").text(0x00140100, "LO", "W1776"));
    EXPECT_EQ(entryOf(byGroup, "Import", "Standard"), "DICONDE");
    EXPECT_EQ(entryOf(byGroup, "DICONDE", "ComponentName"), "Weld 7");
    EXPECT_EQ(entryOf(byGroup, "DICONDE", "MaterialName"), "Ti");
    EXPECT_EQ(entryOf(byGroup, "DICONDE", "MaterialThickness"), "12.5");
    EXPECT_EQ(entryOf(byGroup, "DICONDE", "ComponentWelderIDs"), "");
    const Picture byCreator = read(named.text(0x00110011, "LO", "astm.org/diconde/iod/Component")
                                       .text(0x00111130, "DS", "12.5")
                                       .text(0x00111131, "DS", "1"));
    EXPECT_EQ(entryOf(byCreator, "DICONDE", "ComponentName"), "Weld 7");
    EXPECT_EQ(entryOf(byCreator, "DICONDE", "MaterialThickness"), "12.5");
}

}  // namespace
