// PNG files: our own ones back and forth, every colour type, damaged files, streaming.
#include <gtest/gtest.h>
#include <zlib.h>

#include <cstring>
#include <functional>
#include <tuple>

#include "io/deflate.h"
#include "io/png_image_reader.h"
#include "platform/file.h"
#include "support/support.h"

namespace lumo::test {
namespace {

void put32(Bytes& bytes, std::uint32_t value) {
    for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(std::uint8_t(value >> shift));
}

Bytes chunk(const std::string& type, const Bytes& data) {
    Bytes bytes;
    put32(bytes, std::uint32_t(data.size()));
    for (const char c : type) bytes.push_back(std::uint8_t(c));
    bytes.insert(bytes.end(), data.begin(), data.end());
    put32(bytes, std::uint32_t(crc32(0, bytes.data() + 4, uInt(bytes.size() - 4))));
    return bytes;
}

Bytes text(const std::string& keyword, const std::string& value) {
    const std::string all = keyword + '\0' + value;
    return {all.begin(), all.end()};
}

Bytes textChunk(const std::string& keyword, const std::string& value) {
    return chunk("tEXt", text(keyword, value));
}

Bytes zippedChunk(const std::string& keyword, const std::string& value) {
    Bytes data = text(keyword, std::string(1, '\0')), packed(compressBound(value.size()));
    uLongf size = packed.size();
    compress(packed.data(), &size, reinterpret_cast<const Bytef*>(value.data()), value.size());
    data.insert(data.end(), packed.begin(), packed.begin() + std::ptrdiff_t(size));
    return chunk("zTXt", data);
}

/// A PNG file put together byte by byte, sharing nothing with libpng's writer.
struct Png {
    std::uint32_t width = 1, height = 1;
    std::uint8_t depth = 8, colourType = 0;
    Bytes rows = {0, 9};  ///< filter byte and samples of every row
    std::vector<Bytes> before = {}, after = {};
    std::uint8_t interlaced = 0;

    [[nodiscard]] Bytes bytes() const {
        Bytes header, packed(compressBound(rows.size()));
        put32(header, width);
        put32(header, height);
        header.insert(header.end(), {depth, colourType, 0, 0, interlaced});
        uLongf size = packed.size();
        compress(packed.data(), &size, rows.data(), rows.size());
        packed.resize(size);
        std::vector<Bytes> chunks = before;
        chunks.insert(chunks.begin(), chunk("IHDR", header));
        chunks.push_back(chunk("IDAT", packed));
        chunks.insert(chunks.end(), after.begin(), after.end());
        chunks.push_back(chunk("IEND", {}));
        Bytes file = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n'};
        for (const Bytes& one : chunks) file.insert(file.end(), one.begin(), one.end());
        return file;
    }
};

/// Gives every whole chunk the right checksum.
void mendChecksums(Bytes& file) {
    for (std::size_t at = 8; file.size() - std::min(at, file.size()) >= 12;) {
        const std::size_t size = std::size_t{file[at]} << 24 | std::size_t{file[at + 1]} << 16 |
                                 std::size_t{file[at + 2]} << 8 | file[at + 3];
        if (size > file.size() - at - 12) return;
        Bytes sum;
        put32(sum, std::uint32_t(crc32(0, &file[at + 4], uInt(size + 4))));
        std::copy(sum.begin(), sum.end(), file.begin() + std::ptrdiff_t(at + 8 + size));
        at += size + 12;
    }
}

int read(const Bytes& bytes, ImageOwner& owner) {
    const TempFolder folder;
    writeFile(folder / "a.xyz", bytes);  // recognised by content, not by name
    return LumoReadImage(&owner.image, (folder / "a.xyz").c_str());
}

TEST(PngRead, TurnsEveryColourTypeIntoGrey) {
    const Bytes palette = chunk("PLTE", {10, 10, 10, 200, 200, 200});
    const Bytes gamma = chunk("gAMA", {0, 0, 0x1F, 0x1F}), white = chunk("cHRM", Bytes(32, 1));
    const std::tuple<const char*, Png, Pixels> cases[] = {
        {"8-bit grey", {3, 1, 8, 0, {0, 255, 1, 0}}, {65280, 256, 0}},
        {"16-bit grey", {2, 1, 16, 0, {0, 0x12, 0x34, 0xAB, 0xCD}}, {0x1234, 0xABCD}},
        {"grey with alpha", {1, 1, 8, 4, {0, 7, 99}}, {7 * 256}},
        {"16-bit grey with alpha", {1, 1, 16, 4, {0, 1, 2, 3, 4}}, {0x0102}},
        {"16-bit grey with tRNS", {1, 1, 16, 0, {0, 1, 2}, {chunk("tRNS", {1, 2})}}, {0x0102}},
        {"RGB", {1, 1, 8, 2, {0, 100, 100, 100}}, {25600}},
        {"RGB with alpha", {1, 1, 8, 6, {0, 100, 100, 100, 5}}, {25600}},
        {"16-bit RGB", {1, 1, 16, 2, {0, 1, 2, 1, 2, 1, 2}}, {0x0102}},
        {"palette", {2, 1, 8, 3, {0, 1, 0}, {palette}}, {200 * 256, 10 * 256}},
        {"clear palette", {2, 1, 1, 3, {0, 64}, {palette, chunk("tRNS", {0})}}, {2560, 51200}},
        {"1 bit", {9, 1, 1, 0, {0, 0x81, 0x80}}, {65280, 0, 0, 0, 0, 0, 0, 65280, 65280}},
        {"2 bits", {3, 1, 2, 0, {0, 0x6C}}, {85 * 256, 170 * 256, 65280}},
        {"4 bits", {3, 1, 4, 0, {0, 0x1F, 0x20}}, {17 * 256, 65280, 34 * 256}},
        {"interlaced",
         {2, 2, 8, 0, {0, 10, 0, 20, 0, 30, 40}, {}, {}, 1},
         {2560, 5120, 7680, 10240}},
        {"colour weights whatever the colour space chunks say",
         {1, 1, 8, 2, {0, 200, 100, 50}, {gamma, white}},
         {(6968 * 200 + 23434 * 100 + 2366 * 50) / 32768 * 256}}};
    for (const auto& [what, png, pixels] : cases) {
        ImageOwner owner;
        ASSERT_EQ(read(png.bytes(), owner), 0) << what;
        EXPECT_EQ(owner.pixels(), pixels) << what;
    }
}

TEST(PngRead, TakesPitchFromMetresOnly) {
    const auto phys = [](std::uint32_t x, std::uint32_t y, std::uint8_t unit) {
        Bytes data;
        put32(data, x);
        put32(data, y);
        data.push_back(unit);
        return chunk("pHYs", data);
    };
    const std::tuple<Bytes, std::uint32_t, std::uint32_t> cases[] = {
        {{}, 352778, 352778},
        {phys(10000, 3000, 1), 100000, 333333},
        {phys(10000, 3000, 0), 352778, 352778},
        {phys(0, 3000, 1), 352778, 352778},
        {phys(10000, 0, 1), 352778, 352778}};
    for (const auto& [pitch, pitchX, pitchY] : cases) {
        ImageOwner owner;
        ASSERT_EQ(read(Png{.before = {pitch}}.bytes(), owner), 0);
        EXPECT_EQ(owner->pixelsizeX, pitchX);
        EXPECT_EQ(owner->pixelsizeY, pitchY);
    }
}

TEST(PngRead, MergesTextChunksOfAllKindsFromTheLast) {
    const std::string ini = "[Image]\nSource=ini\n[Image_X]\nMaxPix=4000\nAvgPix=70000\n";
    const Bytes inText = textChunk("Comment", ini), inZip = zippedChunk("Comment", ini);
    const Bytes inUtf = chunk("iTXt", text("Comment", std::string("\0\0\0\0", 4) + ini));
    const Bytes own = textChunk("Source", "chunk"), other = textChunk("source", "other");
    const std::tuple<std::vector<Bytes>, std::vector<Bytes>, const char*> cases[] = {
        {{own}, {inText}, "chunk"},
        {{inText}, {own}, "ini"},
        {{inZip}, {}, "ini"},
        {{inUtf}, {own}, "ini"},
        {{other, own}, {inUtf}, "chunk"}};
    for (const auto& [before, after, source] : cases) {
        ImageOwner owner;
        ASSERT_EQ(read(Png{.before = before, .after = after}.bytes(), owner), 0);
        EXPECT_EQ(owner.entry("Image", "Source"), source);
        EXPECT_EQ(owner.entry("Image_X", "MaxPix"), "4000");
        EXPECT_EQ(owner->maxPix, 4000);
        EXPECT_EQ(owner->avgPix, 70000 & 0xFFFF);
        EXPECT_EQ(owner->equivHigh, 65535);
        EXPECT_EQ(owner->metaSize, static_cast<int>(std::strlen(owner->metaData)) + 1);
    }
}

TEST(PngRead, FailsOnDamageAndClearsThePlace) {
    Png png{40, 30, 16, 0, Bytes(30 * 81), {textChunk("Source", "x")}};
    for (std::size_t i = 0; i < png.rows.size(); ++i)
        png.rows[i] = i % 81 == 0 ? 0 : std::uint8_t(i * i);
    const Bytes whole = png.bytes();
    const LogLines log;
    for (std::ptrdiff_t cut = 8; cut < std::ssize(whole); cut += 37) {
        ImageOwner owner(1, 1);
        const lmImage* before = owner.image;
        EXPECT_EQ(read(Bytes(whole.begin(), whole.begin() + cut), owner), -11) << cut;
        EXPECT_TRUE(owner.image == nullptr || owner.image == before) << cut;
    }
    const auto lines = log.upTo(3);
    const char* const starts[] = {"3 libpng: ", "3 libpng error", "3 LumoReadImagePNG -11 ",
                                  "3 LumoReadImage -11 "};
    ASSERT_GE(lines.size(), std::size(starts));
    for (std::size_t i = 0; i < std::size(starts); ++i)
        EXPECT_TRUE(lines[i].starts_with(starts[i])) << lines[i];

    Bytes damaged = whole;
    damaged[damaged.size() / 2] ^= 0x10;
    ImageOwner owner;
    EXPECT_EQ(read(damaged, owner), -11);
    EXPECT_EQ(owner.image, nullptr);
}

TEST(PngRead, RefusesClaimsBeforeTheyCostMemory) {
    const std::tuple<std::uint32_t, std::uint32_t, int> cases[] = {{65536, 1, -50},
                                                                   {1, 65536, -50},
                                                                   {2000000000, 1, -50},
                                                                   {65535, 30000, -11},
                                                                   {65535, 65535, -11}};
    for (const auto& [width, height, code] : cases) {
        ImageOwner owner(1, 1);
        const lmImage* before = owner.image;
        EXPECT_EQ(read(Png{width, height, 8, 0, {0}}.bytes(), owner), code);
        EXPECT_EQ(owner.image, before) << "nothing was created, so the older image stays";
    }
    // An all-black image comes close to deflate's best ratio and must still read.
    const Png black{8000, 8000, 16, 0, Bytes(8000 * 16001)};
    ImageOwner owner;
    ASSERT_EQ(read(black.bytes(), owner), 0);
    EXPECT_EQ(owner->height, 8000);
}

TEST(PngRead, KeepsPackedTextsWithinBounds) {
    const std::string lines(7900000, 'v');  // what libpng unpacks of one chunk has its own limit
    const Bytes one = zippedChunk("Comment", lines);
    for (const auto& [count, code] : {std::pair{2U, 0}, {12U, -8}}) {
        ImageOwner owner;
        EXPECT_EQ(read(Png{.after = std::vector<Bytes>(count, one)}.bytes(), owner), code);
        EXPECT_EQ(owner.image == nullptr, code != 0);
    }
}

/// What reading a file gives: code, geometry, pixels, metadata but for the time, log lines.
struct Answer {
    int code = 0;
    std::vector<std::uint32_t> geometry = {};
    Pixels pixels = {};
    std::string metaData = {};
    std::vector<std::string> log = {};
    bool operator==(const Answer&) const = default;
};

Answer answerTo(const std::string& name) {
    const LogLines log;
    Answer answer;
    ImageOwner owner;
    answer.code = LumoReadImage(&owner.image, name.c_str());
    answer.log = log.lines();
    if (owner.image == nullptr) return answer;
    LumoSetMetaEntry(owner.image, "Image", "Creation Time", nullptr);
    answer.geometry = {owner->width, owner->height, owner->pixelsizeX, owner->pixelsizeY};
    answer.pixels = owner.pixels();
    answer.metaData = owner->metaData;
    return answer;
}

/// Reads a file with and without the fast path, which has to make no difference.
void expectAsLibpngSays(const Bytes& bytes, const std::string& what) {
    const TempFolder folder;
    writeFile(folder / "a.png", bytes);
    const Answer answer = answerTo(folder / "a.png");
    const WithoutFastDeflate without;
    EXPECT_EQ(answer, answerTo(folder / "a.png")) << what;
}

bool isReadFast(const Bytes& bytes, int depth, int width, int height) {
    const TempFolder folder;
    writeFile(folder / "a.png", bytes);
    Raster raster(width, height);
    PngTexts texts;
    return readImageFast(openFile((folder / "a.png").c_str(), "rb").get(), 8, depth,
                         raster.target(), 1000, texts);
}

/// A file with random samples, and rows filtered in every way.
Png filteredAnyhow(int width, int height, std::uint8_t depth, Random& random) {
    Png png{std::uint32_t(width), std::uint32_t(height), depth, 0, {}};
    for (int y = 0; y < height; ++y) {
        png.rows.push_back(std::uint8_t(random.below(5)));
        for (int i = 0; i < width * depth / 8; ++i)
            png.rows.push_back(std::uint8_t(random.below(256)));
    }
    return png;
}

TEST(PngFastPath, ReadsEveryFilterAsLibpngDoes) {
    if (!hasFastDeflate()) GTEST_SKIP() << "built without ISA-L";
    Random random(5);
    for (const int height : {1, 3, 4, 5, 9, 33})
        for (int width = 1; width <= 40; width += width < 12 ? 1 : 9)
            for (const std::uint8_t depth : {std::uint8_t(8), std::uint8_t(16)}) {
                const Bytes bytes = filteredAnyhow(width, height, depth, random).bytes();
                EXPECT_TRUE(isReadFast(bytes, depth, width, height));
                atEveryLevel([&] { expectAsLibpngSays(bytes, std::to_string(width)); });
            }
    const Bytes large = filteredAnyhow(700, 600, 16, random).bytes();
    EXPECT_TRUE(isReadFast(large, 16, 700, 600));
    expectAsLibpngSays(large, "many pieces");
}

TEST(PngFastPath, LeavesToLibpngWhatIsNotSoundAndPlain) {
    if (!hasFastDeflate()) GTEST_SKIP() << "built without ISA-L";
    Random random(6);
    const Png sound = filteredAnyhow(9, 6, 16, random);
    const auto changed = [&](auto change) {
        Png png = sound;
        change(png);
        return png.bytes();
    };
    const std::pair<const char*, Bytes> cases[] = {
        {"no such filter", changed([](Png& png) { png.rows[0] = 5; })},
        {"rows missing", changed([](Png& png) { png.rows.resize(60); })},
        {"rows too many", changed([](Png& png) { png.rows.resize(200); })},
        {"a byte too many", changed([](Png& png) { png.rows.push_back(0); })},
        {"packed text behind", changed([](Png& png) { png.after = {zippedChunk("a", "b")}; })},
        {"time behind", changed([](Png& png) { png.after = {chunk("tIME", Bytes(7, 1))}; })},
        {"more image data behind", changed([](Png& png) { png.after = {chunk("IDAT", {1})}; })},
        {"interlaced", changed([](Png& png) { png.interlaced = 1; })}};
    for (const auto& [what, bytes] : cases) {
        EXPECT_TRUE(bytes[28] == 1 || !isReadFast(bytes, 16, 9, 6)) << what;  // interlaced
        expectAsLibpngSays(bytes, what);
    }
    const Bytes texts = changed([](Png& png) {
        png.before = {textChunk("Comment", "[Image_X]\nMaxPix=7\n"), textChunk("Source", "one")};
        png.after = {textChunk("Comment", "[Image_X]\nMaxPix=9\n"), textChunk("Source", "two"),
                     chunk("tEXt", {}), chunk("tEXt", {'a'})};
    });
    EXPECT_TRUE(isReadFast(texts, 16, 9, 6));
    expectAsLibpngSays(texts, "texts before and behind");
    // Every byte damaged, with the checksums of the chunks as they were and mended.
    const Bytes whole = changed([](Png& png) { png.after = {textChunk("Source", "two")}; });
    for (std::size_t at = 8; at < whole.size(); ++at)
        for (const bool mended : {false, true}) {
            Bytes damaged = whole;
            damaged[at] ^= std::uint8_t(1 << random.below(8));
            if (mended) mendChecksums(damaged);
            expectAsLibpngSays(damaged, "damage at " + std::to_string(at));
        }
}

TEST(PngFastPath, WritesWhatLibpngReads) {
    if (!hasFastDeflate()) GTEST_SKIP() << "built without ISA-L";
    const TempFolder folder;
    const auto comesBack = [&](const Raster& raster) {
        const ImageOwner image(raster);
        ASSERT_EQ(LumoWriteImage(image.image, (folder / "a.png").c_str(), FormatPng), 0);
        const WithoutFastDeflate without;
        EXPECT_EQ(answerTo(folder / "a.png").pixels, raster.pixels) << raster.width;
    };
    atEveryLevel([&] {
        for (int width = 1; width < 150; width += width < 70 ? 3 : 40) comesBack(noise(width, 4));
    });
    comesBack(noise(900, 800));  // several chunks of image data
    Raster smooth(300, 200);
    for (int y = 0; y < 200; ++y)
        for (int x = 0; x < 300; ++x) smooth.at(x, y) = std::uint16_t(x * 41 + y * 73);
    comesBack(smooth);
    EXPECT_LT(readFile(folder / "a.png").size(), smooth.pixels.size() / 10)
        << "filtered, equal differences take hardly any room";
}

TEST(PngWrite, RoundTripsRasterPitchAndMetadata) {
    const TempFolder folder;
    const std::string name = folder / "a.PNG";
    ImageOwner owner(61, 43), back;
    owner->pixelsizeX = 40000;
    owner->pixelsizeY = 100000;
    const std::pair<const char*, const char*> entries[] = {
        {"Creation Time", "Mon, 01 Dec 2008 09:05:03 GMT"},
        {"Source", " blanks kept\n"},
        {"Software", ""},
        {"Author", "J\xF6rg"},
        {"Free", "100%\\n ;x"}};
    for (const auto& [key, value] : entries) owner.set("Image", key, value);
    owner.set("Image_X", "MaxPix", "4000");
    ASSERT_EQ(LumoAddPerformedStep(owner.image, "step"), 0);
    for (const int level : {0, 1, 9, 6}) {
        ASSERT_EQ(LumoSetWriteCompressionLevel(level), 0);
        ASSERT_EQ(LumoWriteImage(owner.image, name.c_str(), 0), 0);
        ASSERT_EQ(LumoReadImage(&back.image, name.c_str()), 0);
        EXPECT_EQ(back.pixels(), owner.pixels());
        EXPECT_EQ(back->pixelsizeX, 40000U);
        EXPECT_EQ(back->pixelsizeY, 100000U);
        for (const auto& [key, value] : entries) EXPECT_EQ(back.entry("Image", key), value);
        EXPECT_EQ(back->maxPix, 4000);
        EXPECT_EQ(back.entry("PerformedSteps", "Step0"), "step");
    }
    EXPECT_EQ(LumoSetWriteCompressionLevel(10), -20);
    EXPECT_EQ(LumoSetWriteCompressionLevel(-1), -20);
    // Once read, a second round trip changes nothing: neither bytes nor metadata.
    ASSERT_EQ(LumoWriteImage(back.image, name.c_str(), 0), 0);
    const Bytes first = readFile(name);
    ImageOwner again;
    ASSERT_EQ(LumoReadImage(&again.image, name.c_str()), 0);
    EXPECT_EQ(std::string(again->metaData), back->metaData);
    ASSERT_EQ(LumoWriteImage(again.image, name.c_str(), 0), 0);
    EXPECT_EQ(readFile(name), first);
}

TEST(PngWrite, LaysTheChunksOutInOrder) {
    const TempFolder folder;
    const std::string name = folder / "a.png";
    ImageOwner owner(Raster(2, 1, {0x1234, 0xABCD}));
    owner.set("Image", "Source", "before");
    ASSERT_EQ(LumoPngWriteStart(owner.image, name.c_str()), 0);
    owner.set("Image", "Source", "after");
    ASSERT_EQ(LumoPngWriteRow(owner.image, owner->data), 0);
    ASSERT_EQ(LumoPngWriteEnd(owner.image), 0);
    const Bytes bytes = readFile(name);
    const std::string file(bytes.begin(), bytes.end());
    const std::string metaData = std::string("Image_X\0", 8) + owner->metaData;
    const std::string inOrder[] = {std::string("IHDR\0\0\0\2\0\0\0\1\x10\0\0\0\0", 17),
                                   std::string("pHYs\0\0\x27\x10\0\0\x27\x10\1", 13),
                                   "tEXtCreation Time",
                                   std::string("tEXtSource\0before", 17),
                                   "tEXtSoftware",
                                   "tEXtAuthor",
                                   "IDAT",
                                   "tEXt" + metaData,
                                   "IEND"};
    std::size_t at = 8;
    for (const std::string& start : inOrder) {
        ASSERT_LE(at + 12, file.size());
        const std::size_t size = (std::size_t{bytes[at + 2]} << 8) + bytes[at + 3];
        EXPECT_TRUE(file.substr(at + 4).starts_with(start)) << file.substr(at + 4, 20);
        at += 12 + size;
    }
    EXPECT_EQ(at, file.size());
}

TEST(PngWrite, StreamsRowsByAnyMixOfCalls) {
    const TempFolder folder;
    const std::string name = folder / "a.png";
    using Rows = std::function<int(lmImage*)>;
    const Rows one = [](lmImage* image) { return LumoPngWriteRow(image, image->data); };
    const Rows all = LumoPngWriteRows, all2 = LumoPngWriteRows2;
    const auto heightSet = [](int height) -> Rows {
        return [height](lmImage* image) { return (image->height = std::uint16_t(height), 0); };
    };
    const Rows low = heightSet(1), high = heightSet(2);
    // Calls, their codes, the end's code, and the row of the raster that is the file's second.
    const std::tuple<std::vector<Rows>, std::vector<int>, int, int> cases[] = {
        {{all}, {0}, 0, 1},
        {{all2}, {0}, 0, 1},
        {{one, one}, {0, 0}, 0, 0},
        {{one}, {0}, -16, 0},
        {{}, {}, -16, 0},
        {{one, all}, {0, -16}, 0, 0},
        {{one, all2}, {0, -16}, 0, 0},
        {{all, one, all, one}, {0, -16, -16, -16}, 0, 1},
        {{one, low, one, all, all2}, {0, 0, -16, -16, -16}, -16, 0},
        {{low, all2, high, all}, {0, -16, 0, -16}, -16, 0}};
    int number = 0;
    for (const auto& [calls, codes, end, second] : cases) {
        SCOPED_TRACE(testing::Message() << "case " << number++);
        ImageOwner owner(3, 2), back;
        ASSERT_EQ(LumoPngWriteStart(owner.image, name.c_str()), 0);
        for (std::size_t k = 0; k < calls.size(); ++k)
            EXPECT_EQ(calls[k](owner.image), codes[k]) << "call " << k;
        EXPECT_EQ(LumoPngWriteEnd(owner.image), end);
        EXPECT_EQ(owner->pngWriter, nullptr);
        if (end != 0) continue;
        ASSERT_EQ(LumoReadImage(&back.image, name.c_str()), 0);
        EXPECT_TRUE(std::equal(owner->data, owner->data + 3, back->data));
        EXPECT_TRUE(std::equal(back->data + 3, back->data + 6, owner->data + 3 * second));
    }
}

TEST(PngWrite, AnswersEveryFault) {
    const TempFolder folder;
    const std::string name = folder / "a.png";
    ImageOwner owner(3, 2), bare(0, 0);
    const unsigned short row[3] = {};
    expectCodes(-50, {LumoPngWriteRow(nullptr, row), LumoPngWriteRows(nullptr),
                      LumoPngWriteEnd(nullptr), LumoPngWriteStart(nullptr, name.c_str())});
    expectCodes(-8, {LumoPngWriteRows2(nullptr), LumoPngWriteRow(owner.image, row),
                     LumoPngWriteRows(owner.image), LumoPngWriteRows2(owner.image),
                     LumoPngWriteEnd(owner.image)});
    EXPECT_EQ(LumoPngWriteStart(bare.image, name.c_str()), -16) << "libpng takes no empty image";
    EXPECT_EQ(bare->pngWriter, nullptr);
    EXPECT_EQ(LumoPngWriteStart(owner.image, (folder / "no/a.png").c_str()), -16);
    ASSERT_EQ(LumoPngWriteStart(owner.image, name.c_str()), 0);
    EXPECT_EQ(LumoPngWriteRow(owner.image, nullptr), -8);
    ASSERT_EQ(LumoPngWriteStart(owner.image, name.c_str()), 0) << "the earlier write is abandoned";
    std::free(std::exchange(owner->data, nullptr));
    expectCodes(-16, {LumoPngWriteRows(owner.image), LumoPngWriteRows2(owner.image),
                      LumoPngWriteEnd(owner.image)});
    for (const std::uint32_t pitch : {0U, 1000000001U}) {
        ImageOwner fine(3, 2);
        fine->pixelsizeY = pitch;
        EXPECT_EQ(LumoPngWriteStart(fine.image, name.c_str()), -50);
        EXPECT_EQ(fine->pngWriter, nullptr);
    }
    // A full disk shows at the latest when the file is closed.
    ImageOwner small(3, 2), large(400, 300);
    EXPECT_EQ(LumoWriteImagePNG(small.image, "/dev/full"), -16);
    EXPECT_EQ(LumoWriteImagePNG(large.image, "/dev/full"), -16);
}

TEST(PngWrite, NeverLosesALongMetadataTextSilently) {
    const TempFolder folder;
    const std::string name = folder / "a.png";
    for (const std::size_t size : {2000U, 70000U, 7900000U, 7999880U, 7999900U, 9000000U}) {
        ImageOwner owner(1, 1), back;
        const std::string value(size, 'v');
        owner.set(size == 2000 ? "Image" : "Notes", "Source", value.c_str());
        const int code = LumoWriteImage(owner.image, name.c_str(), 0);
        EXPECT_TRUE(code == 0 || (code == -16 && size > 7999800)) << size;
        if (code != 0) continue;
        ASSERT_EQ(LumoReadImage(&back.image, name.c_str()), 0);
        EXPECT_NE(std::string(back->metaData).find(value), std::string::npos) << size;
    }
    ImageOwner grown(1, 1);
    ASSERT_EQ(LumoPngWriteStart(grown.image, name.c_str()), 0);
    ASSERT_EQ(LumoPngWriteRows(grown.image), 0);
    grown.set("Notes", "late", std::string(9000000, 'v').c_str());
    EXPECT_EQ(LumoPngWriteEnd(grown.image), -16);
}

}  // namespace
}  // namespace lumo::test
