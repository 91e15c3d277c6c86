// The pipe format between the program and its helpers: what is sent comes back, byte for byte as
// documented, and nothing else is believed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "interchange/metadata_text.h"
#include "interchange/transfer.h"
#include "support/support.h"

namespace {

using namespace lumo::interchange;
using lumo::test::Bytes;
using lumo::test::Pixels;
using lumo::test::put;

void put(Bytes& bytes, const std::string& text) {
    put(bytes, static_cast<std::int64_t>(text.size()), 4);
    bytes.insert(bytes.end(), text.begin(), text.end());
}

/// Bit by bit, from the definition.
std::uint32_t slowCrc(const Bytes& bytes) {
    std::uint32_t crc = 0xFFFFFFFF;
    for (const std::uint8_t byte : bytes)
        for (int bit = 0; bit < 8; ++bit)
            crc = crc >> 1 ^ (((crc ^ (byte >> bit)) & 1) != 0 ? 0xEDB88320U : 0);
    return ~crc;
}

/// A stream as the documentation has it; each number can be another.
struct Stream {
    std::string magic = "LUMOEX01";
    std::uint32_t width = 3, height = 2, pitchX = 100, pitchY = 1'000'000'000;
    std::uint8_t bits = 12;
    std::vector<Entry> entries = {{"Image", "Source", "a\nb"}, {"", "", ""}};
    std::vector<std::string> notes = {"n\xC3\xB6te"};
    std::uint32_t entryCount = 2, noteCount = 1;
    Pixels raster = {1, 2, 3, 65535, 0, 6};

    [[nodiscard]] Bytes bytes() const {
        Bytes all(magic.begin(), magic.end());
        for (const std::uint32_t number : {width, height, pitchX, pitchY}) put(all, number, 4);
        put(all, bits, 1);
        put(all, entryCount, 4);
        put(all, noteCount, 4);
        for (const Entry& entry : entries)
            for (const std::string& text : {entry.section, entry.key, entry.value}) put(all, text);
        for (const std::string& note : notes) put(all, note);
        for (const std::uint16_t pixel : raster) put(all, pixel, 2);
        put(all, slowCrc(all), 4);
        return all;
    }
};

struct Result {
    bool believed = false;
    Description description;
    Answer answer;
    std::uint64_t pixelsAllocated = 0;
    Pixels raster;
};

/// Hands bytes out in parts of a size that does not suit the receiver.
Result received(const Bytes& bytes) {
    std::size_t place = 0;
    Result result;
    const Source source = [&](void* to, std::size_t count) {
        const std::size_t part = std::min(count, bytes.size() - place);
        if (part > 0) std::memcpy(to, bytes.data() + place, part);
        place += part;
        return part;
    };
    const Allocate allocate = [&](const Description& description) {
        result.pixelsAllocated = description.pixelCount();
        // More than the stream can fill is never written to.
        result.raster.resize(std::min<std::size_t>(description.pixelCount(), 1 << 20));
        return result.raster.data();
    };
    try {
        auto message = receive(source, allocate);
        result.believed = true;
        if (const auto* answer = std::get_if<Answer>(&message))
            result.answer = *answer;
        else
            result.description = std::get<Description>(message);
    } catch (const TransferError&) {
    }
    return result;
}

Bytes sent(const Description& description, const Pixels& raster) {
    Bytes bytes;
    sendPicture(
        [&](const void* from, std::size_t count) {
            const auto* begin = static_cast<const std::uint8_t*>(from);
            bytes.insert(bytes.end(), begin, begin + count);
        },
        description, raster.data());
    return bytes;
}

Description describe(const Stream& stream) {
    Description description{stream.width, stream.height, stream.pitchX, stream.pitchY, stream.bits};
    description.entries = stream.entries;
    description.notes = stream.notes;
    return description;
}

TEST(Transfer, SendsTheDocumentedBytesAndTakesThemBack) {
    const Stream stream;
    const Bytes bytes = stream.bytes();
    EXPECT_EQ(sent(describe(stream), stream.raster), bytes);
    const Result result = received(bytes);
    ASSERT_TRUE(result.believed);
    EXPECT_EQ(result.description.width, 3U);
    EXPECT_EQ(result.description.height, 2U);
    EXPECT_EQ(result.description.pitchX, 100U);
    EXPECT_EQ(result.description.pitchY, 1'000'000'000U);
    EXPECT_EQ(result.description.bits, 12);
    EXPECT_EQ(result.description.entries, stream.entries);
    EXPECT_EQ(result.description.notes, stream.notes);
    EXPECT_EQ(result.raster, stream.raster);
}

TEST(Transfer, CarriesRastersLongerThanItsBlocks) {
    Stream stream;
    const lumo::test::Raster raster = lumo::test::noise(700, 701);
    stream.width = 700;
    stream.height = 701;
    const Result result = received(sent(describe(stream), raster.pixels));
    ASSERT_TRUE(result.believed);
    EXPECT_EQ(result.raster, raster.pixels);
}

TEST(Transfer, BelievesNoStreamThatIsCutChangedOrContinued) {
    const Bytes whole = Stream().bytes();
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(received(Bytes(whole.begin(), whole.begin() + std::ptrdiff_t(size))).believed)
            << size;
    for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
        Bytes changed = whole;
        changed[bit / 8] ^= static_cast<std::uint8_t>(1U << bit % 8);
        EXPECT_FALSE(received(changed).believed) << bit;
    }
    Bytes longer = whole;
    longer.push_back(0);
    EXPECT_FALSE(received(longer).believed);
}

TEST(Transfer, ChecksEveryNumberBeforeItReservesMemory) {
    const auto believed = [](auto change) {
        Stream stream;
        change(stream);
        const Result result = received(stream.bytes());
        EXPECT_EQ(result.believed, result.pixelsAllocated != 0)
            << "a bad number came to the raster";
        return result.believed;
    };
    EXPECT_FALSE(believed([](Stream& s) { s.magic = "LUMOEX02"; }));
    EXPECT_FALSE(believed([](Stream& s) { s.width = 0; }));
    EXPECT_FALSE(believed([](Stream& s) { s.height = 0; }));
    EXPECT_FALSE(believed([](Stream& s) { s.width = 65536; }));
    EXPECT_FALSE(believed([](Stream& s) { s.height = 0xFFFFFFFF; }));
    EXPECT_FALSE(believed([](Stream& s) { s.width = s.height = 65535; }));  // 8 GiB
    EXPECT_FALSE(believed([](Stream& s) { s.pitchX = 0; }));
    EXPECT_FALSE(believed([](Stream& s) { s.pitchY = 1'000'000'001; }));
    EXPECT_FALSE(believed([](Stream& s) { s.bits = 0; }));
    EXPECT_FALSE(believed([](Stream& s) { s.bits = 17; }));
    EXPECT_FALSE(believed([](Stream& s) { s.entryCount = 4097; }));
    EXPECT_FALSE(believed([](Stream& s) { s.noteCount = 65; }));
    EXPECT_FALSE(believed([](Stream& s) { s.entries[1].section = std::string(256, 's'); }));
    EXPECT_FALSE(believed([](Stream& s) { s.entries[1].key = std::string(256, 'k'); }));
    EXPECT_FALSE(believed([](Stream& s) { s.entries[1].value = std::string(1024, 'v'); }));
    EXPECT_FALSE(believed([](Stream& s) { s.notes[0] = std::string(501, 'n'); }));
    EXPECT_FALSE(believed([](Stream& s) { s.entries[0].key = std::string("a\0b", 3); }));
    EXPECT_TRUE(believed([](Stream& s) {
        s.entries[1] = {std::string(255, 's'), std::string(255, 'k'), std::string(1023, 'v')};
        s.notes[0] = std::string(500, 'n');
    }));
    EXPECT_FALSE(believed([](Stream& s) {  // each fits; together more than 4 MB
        s.entries.assign(4096, {std::string(200, 's'), "k", std::string(1023, 'v')});
        s.entryCount = 4096;
    }));
}

TEST(Transfer, AnswersAndRefusesWithOneReason) {
    const auto answer = [](std::uint8_t done, std::vector<std::string> notes) {
        Bytes bytes;
        for (const char c : std::string("LUMOAN01")) bytes.push_back(std::uint8_t(c));
        put(bytes, done, 1);
        put(bytes, std::int64_t(notes.size()), 4);
        for (const std::string& note : notes) put(bytes, note);
        put(bytes, slowCrc(bytes), 4);
        return bytes;
    };
    Bytes bytes;
    sendAnswer(
        [&](const void* from, std::size_t count) {
            const auto* begin = static_cast<const std::uint8_t*>(from);
            bytes.insert(bytes.end(), begin, begin + count);
        },
        {false, {"colour"}});
    EXPECT_EQ(bytes, answer(0, {"colour"}));
    EXPECT_EQ(received(bytes).answer.notes, std::vector<std::string>{"colour"});
    EXPECT_TRUE(received(answer(1, {})).answer.done);
    for (const Bytes& wrong : {answer(0, {}), answer(0, {"a", "b"}), answer(2, {"a"})})
        EXPECT_FALSE(received(wrong).believed);
}

TEST(Transfer, SendsWithinTheLimitsAndSaysWhatItLeftOut) {
    Description description{1, 1};
    description.add("S", "long", std::string(1022, 'v') + "\xC3\xB6");  // cut before the letter
    description.add("S", "zero", std::string("a\0b", 3));
    description.add(std::string(256, 's'), "k", "v");
    const Result result = received(sent(description, {7}));
    ASSERT_TRUE(result.believed);
    EXPECT_EQ(result.description.entries,
              (std::vector<Entry>{{"S", "long", std::string(1022, 'v')}, {"S", "zero", "a"}}));
    ASSERT_EQ(result.description.notes.size(), 3U);
    EXPECT_EQ(result.description.notes[0], "S/long is cut to 1022 bytes");
    EXPECT_EQ(result.description.notes[2].substr(0, 17), "left out: entry s");

    Description large{1, 1};
    for (int i = 0; i < 5000; ++i)
        large.add("Section", "key" + std::to_string(i), std::string(1023, 'v'));
    for (int i = 0; i < 70; ++i) large.note("note " + std::to_string(i));
    const Result most = received(sent(large, {7}));
    ASSERT_TRUE(most.believed);
    EXPECT_GT(most.description.entries.size(), 3900U);
    ASSERT_EQ(most.description.notes.size(), 64U);
    EXPECT_TRUE(most.description.notes[63].ends_with("notes more"));
}

TEST(MetadataText, BringsAnyEntryBackAndIsReadByTheLibrarysStore) {
    const std::vector<Entry> entries = {
        {"Image", "Source", "plain"},
        {"Image", " key=", " blanks "},
        {"Image", "[x]", ""},
        {"a]b", "", "two\nlines\r"},
        {"", "k", "%lumo:v"},
        {"Umlaut \xC3\xB6", "\xC3\xB6", "100 %"},
        {"S", ";comment", "\x01\x7F=[]%20"},
    };
    const std::string text = metadataText(entries);
    EXPECT_EQ(parseMetadata(text), entries) << text;
    EXPECT_EQ(parseMetadata("; c\nno entry\n[ S ]\r\n k = v \r\n# x=y\nlast=1"),
              (std::vector<Entry>{{"S", "k", "v"}, {"S", "last", "1"}}));

    const lumo::test::ImageOwner image(1, 1);
    image.set("First", "one", "two\nlines");
    image.set("First", "#", "=");
    std::vector<Entry> kept;
    for (Entry& entry : parseMetadata(image->metaData))
        if (entry.section == "First") kept.push_back(entry);
    EXPECT_EQ(kept, (std::vector<Entry>{{"First", "one", "two\nlines"}, {"First", "#", "="}}));
}

}  // namespace
