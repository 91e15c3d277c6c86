// The parts of the DICOM helper that need no file: numbers, words, spacings, identifiers, tables.
#include <gtest/gtest.h>

#include <cmath>
#include <set>

#include "interchange/dicom/attributes.h"
#include "interchange/dicom/grey_scale.h"
#include "interchange/dicom/identifiers.h"
#include "interchange/dicom/numbers.h"
#include "interchange/dicom/pitch.h"
#include "interchange/dicom/pixel_words.h"
#include "interchange/dicom/rle.h"
#include "interchange/dicom/written_spacing.h"
#include "support/support.h"

namespace {

using namespace lumo::interchange;
using namespace lumo::interchange::dicom;
using lumo::test::Random;

TEST(DicomNumbers, AreReadTheSameEverywhere) {
    const std::pair<const char*, std::optional<double>> cases[] = {
        {" 0.139 ", 0.139}, {"+5", 5},   {"-3.25e2", -325}, {"1,5", {}},  {"", {}},    {"  ", {}},
        {"1e999", {}},      {"nan", {}}, {"inf", {}},       {"0x10", {}}, {"5 6", {}}, {"+-5", {}},
    };
    for (const auto& [text, expected] : cases) EXPECT_EQ(decimal(text), expected) << text;
    EXPECT_EQ(integer("+70 "), 70);
    EXPECT_EQ(integer("7.0"), std::nullopt);
    EXPECT_EQ(valuesOf("a\\ b \\\\c"), (std::vector<std::string_view>{"a", "b", "", "c"}));
}

TEST(DicomNumbers, FitIntoSixteenCharacters) {
    Random random(1);
    for (int i = 0; i < 20000; ++i) {
        const double value = std::ldexp(double(random.next()), int(random.below(200)) - 140) *
                             (random.below(2) ? 1 : -1);
        const std::string text = decimalText(value);
        ASSERT_LE(text.size(), 16U) << text;
        ASSERT_NEAR(decimal(text).value() / value, 1, 1e-8) << text;
    }
}

TEST(DicomPitch, EveryPitchReadsBackToTheNanometre) {
    for (std::uint32_t pitch = 1; pitch < largestPitch; pitch += 1 + pitch / 300)
        ASSERT_EQ(pitchOf(spacingText({pitch, largestPitch - pitch})),
                  (Pitch{pitch, largestPitch - pitch}));
}

/// The value in a word, bit by bit.
std::uint16_t slowValue(std::uint16_t word, const WordLayout& layout) {
    int value = 0;
    for (int bit = 0; bit < layout.bits; ++bit)
        value += (word >> (layout.highBit - layout.bits + 1 + bit) & 1) << bit;
    const int half = 1 << (layout.bits - 1);
    if (!layout.isSigned) return std::uint16_t(value);
    return std::uint16_t((value >= half ? value - 2 * half : value) + half);
}

TEST(DicomWords, GiveTheirValuesWhereverTheyLie) {
    for (int bits = 1; bits <= 16; ++bits)
        for (int high = bits - 1; high < 16; ++high)
            for (const bool isSigned : {false, true}) {
                const WordLayout layout{bits, high, isSigned};
                std::vector<std::uint16_t> words = lumo::test::noise(70, 3).pixels, expected;
                for (const std::uint16_t word : words) expected.push_back(slowValue(word, layout));
                (void)extractValues(words.data(), words.size(), layout);
                ASSERT_EQ(words, expected) << bits << ' ' << high << ' ' << isSigned;
                storeSigned(words.data(), words.size(), bits);
                (void)extractValues(words.data(), words.size(), {bits, bits - 1, true});
                ASSERT_EQ(words, expected) << "there and back";
            }
}

TEST(DicomWords, TellsJunkFromSigns) {
    struct Case {
        std::uint16_t word;
        WordLayout layout;
        bool junk;
    };
    const Case cases[] = {
        {0x0FFF, {12, 11, false}, false}, {0x1FFF, {12, 11, false}, true},
        {0x0FFF, {12, 11, true}, false},  {0xFFFF, {12, 11, true}, false},
        {0x1FFF, {12, 11, true}, true},   {0x1000, {12, 11, true}, true},
        {0xFFF0, {12, 15, false}, false}, {0xFFF1, {12, 15, false}, true},
    };
    for (Case c : cases)
        EXPECT_EQ(extractValues(&c.word, 1, c.layout), c.junk) << std::hex << c.word;
}

TEST(DicomRunLengths, GiveAllWordsOrNone) {
    lumo::test::Bytes frame(64, 0);
    frame[0] = 2;   // segments
    frame[4] = 64;  // the high bytes: a run of three, nothing, two different ones
    frame.insert(frame.end(), {254, 1, 128, 1, 2, 3});
    frame[8] = 70;  // the low bytes: two different ones, then a run longer than needed
    frame.insert(frame.end(), {1, 9, 8, 247, 7});
    const std::vector<std::uint16_t> expected = {0x109, 0x108, 0x107, 0x207, 0x307};
    std::vector<std::uint16_t> words(expected.size());
    EXPECT_TRUE(decodeRle(frame, 2, words.data(), words.size()));
    EXPECT_EQ(words, expected);
    for (std::size_t size = 0; size < frame.size(); ++size)
        EXPECT_FALSE(decodeRle({frame.data(), size}, 2, words.data(), words.size())) << size;
    EXPECT_FALSE(decodeRle(frame, 1, words.data(), words.size())) << "of another kind";
    for (const int wrong : {0, 63, 71, 200}) {
        lumo::test::Bytes other = frame;
        other[4] = std::uint8_t(wrong);  // where the first segment begins
        EXPECT_FALSE(decodeRle(other, 2, words.data(), words.size())) << wrong;
    }
}

std::string spacingIn(const std::map<std::string, std::string>& told, const char* keyword) {
    const auto found = told.find(keyword);
    return found == told.end() ? "" : found->second;
}

TEST(DicomPitch, PrefersTheDetector) {
    using Told = std::map<std::string, std::string>;
    struct Case {
        Told told;
        bool object;
        Pitch pitch;
        const char* from;
        std::size_t notes;
    };
    const Case cases[] = {
        {{}, false, {100000, 100000}, "assumed", 0},
        {{{"PixelSpacing", "0.2\\0.1"}}, false, {100000, 200000}, "PixelSpacing", 0},
        {{{"PixelSpacing", "0.2\\0.2"}, {"ImagerPixelSpacing", "0.3\\0.3"}},
         false,
         {300000, 300000},
         "ImagerPixelSpacing",
         1},
        {{{"PixelSpacing", "0.2\\0.2"}, {"ImagerPixelSpacing", "0.3\\0.3"}},
         true,
         {200000, 200000},
         "PixelSpacing",
         1},
        {{{"PixelSpacing", "0.30\\0.3"}, {"ImagerPixelSpacing", "0.3\\0.3"}},
         false,
         {300000, 300000},
         "ImagerPixelSpacing",
         0},
        {{{"ImagerPixelSpacing", "0.000\\0.000"}, {"NominalScannedPixelSpacing", "0.1\\0.1"}},
         false,
         {100000, 100000},
         "NominalScannedPixelSpacing",
         1},
        {{{"ImagePlanePixelSpacing", "0.392\\0.392"}},
         true,
         {392000, 392000},
         "ImagePlanePixelSpacing",
         1},
        {{{"ImagerPixelSpacing", "0.1"}}, false, {100000, 100000}, "assumed", 1},
        {{{"ImagerPixelSpacing", "1001\\1"}}, false, {100000, 100000}, "assumed", 1},
        {{{"DetectorElementSpacing", "0.2\\0.2"}, {"SpatialResolution", "0.2"}},
         false,
         {100000, 100000},
         "assumed",
         0},
    };
    for (const Case& c : cases) {
        const ChosenPitch pitch =
            choosePitch([&](const char* keyword) { return spacingIn(c.told, keyword); }, c.object);
        EXPECT_EQ(static_cast<const Pitch&>(pitch), c.pitch) << c.from;
        EXPECT_EQ(pitch.from, c.from);
        EXPECT_EQ(pitch.notes.size(), c.notes) << c.from;
    }
}

TEST(DicomPitch, IsWrittenWhereItCameFromAndScalesTheOthers) {
    const std::map<std::string, std::string> told = {{"ImagerPixelSpacing", "0.1390\\0.139"},
                                                     {"PixelSpacing", "0.1\\0.1"}};
    const TextOf textOf = [&](const char* keyword) { return spacingIn(told, keyword); };
    const auto written = [&](const Pitch& pitch, const char* from) {
        std::map<std::string, std::string> texts;
        for (const Spacing& spacing : spacingsFor(pitch, from, textOf, scannedSpacing))
            texts[spacing.keyword] = spacing.text;
        return texts;
    };
    EXPECT_EQ(written({139000, 139000}, "ImagerPixelSpacing"), told);
    EXPECT_EQ(written({139004, 139004}, "ImagerPixelSpacing"), told) << "back from a PNG file";
    EXPECT_EQ(written({278000, 139000}, "ImagerPixelSpacing"),
              (std::map<std::string, std::string>{{"ImagerPixelSpacing", "0.139\\0.278"},
                                                  {"PixelSpacing", "0.1\\0.2"}}));
    EXPECT_EQ(written({50000, 50000}, "--pitch"),
              (std::map<std::string, std::string>{{"NominalScannedPixelSpacing", "0.05\\0.05"}}));
    EXPECT_TRUE(spacingsFor(
                    {}, pitchAssumed, [](const char*) { return ""; }, "x")
                    .empty());
}

TEST(DicomIdentifiers, AreNewAndValid) {
    std::set<std::string> all;
    for (int i = 0; i < 200; ++i) {
        const std::string uid = newIdentifier();
        EXPECT_TRUE(isIdentifier(uid)) << uid;
        EXPECT_TRUE(uid.starts_with("2.25.") && uid.size() <= 44) << uid;
        EXPECT_TRUE(all.insert(uid).second);
    }
    for (const char* const wrong : {"", "1.", ".1", "1..2", "1.02", "1.a", "1 .2", "-1"})
        EXPECT_FALSE(isIdentifier(wrong)) << wrong;
    EXPECT_FALSE(isIdentifier("1." + std::string(63, '1')));
    EXPECT_TRUE(isIdentifier("1." + std::string(62, '1')));
}

TEST(DicomAttributes, AreFoundByTagAndKeywordAndStandInOneList) {
    std::set<std::pair<int, int>> tags;
    std::set<std::string> keywords;
    for (const std::span table :
         {technicalAttributes(), componentAttributes(), identityAttributes()})
        for (const Attribute& attribute : table) {
            EXPECT_TRUE(tags.insert({attribute.group, attribute.element}).second)
                << attribute.keyword;
            EXPECT_TRUE(keywords.insert(attribute.keyword).second) << attribute.keyword;
            EXPECT_EQ(findAttribute(attribute.group, attribute.element, true) == &attribute ||
                          attribute.group == 0x0010,
                      true)
                << attribute.keyword;
            const bool isName = std::string_view(attribute.vr) == "PN";
            EXPECT_TRUE(!isName || attribute.kind == Kind::people) << attribute.keyword;
            const bool isDay =
                std::string_view("DA DT TM AS").find(attribute.vr) != std::string::npos;
            EXPECT_TRUE(!isDay || identifies(attribute.kind)) << attribute.keyword;
        }
    EXPECT_STREQ(findPrivateComponent("astm.org/diconde/iod/Component", 0x30)->keyword,
                 "MaterialThickness");
    EXPECT_EQ(findPrivateComponent("someone/iod/Component", 0x30), nullptr);
}

TEST(DicomGreyScale, TurnsWhatIsSaidOfValuesWithThem) {
    const std::vector<Entry> told = {{"DICOM", "WindowCenter", "300.5\\x"},
                                     {"DICOM", "WindowWidth", "100"},
                                     {"DICOM", "PixelPaddingValue", "0"},
                                     {"DICOM", "PixelIntensityRelationshipSign", "-1"},
                                     {"DICOM", "PhotometricInterpretation", "MONOCHROME1"}};
    for (const bool isSigned : {false, true}) {
        const WordLayout layout{12, 11, isSigned};
        std::vector<Entry> entries = told;
        const Window before = *windowOf(entries, layout);
        EXPECT_EQ(before.high - before.low, 99);
        EXPECT_EQ(before.low, (isSigned ? 2048 : 0) + 251);  // 300.5 - 0.5 - 99 / 2, rounded up
        turnEntries(entries, layout);
        const Window after = *windowOf(entries, layout);
        EXPECT_NEAR(after.low, 4095 - before.high, 1);
        EXPECT_EQ(entries[0].value, isSigned ? "-300.5\\x" : "3795.5\\x");
        EXPECT_EQ(entries[2].value, isSigned ? "-1" : "4095");
        EXPECT_EQ(entries[3].value, "1");
        EXPECT_EQ(entries[4].value, "MONOCHROME2");
    }
}

}  // namespace
