// Image records: life cycle, access, depth conversion, the information file as a record.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <tuple>

#include "image/info_header.h"
#include "image/lm_image.h"
#include "support/support.h"

namespace lumo::test {
namespace {

void expectWholeText(const lmImage& image) {
    EXPECT_EQ(image.metaSize, static_cast<int>(std::strlen(image.metaData)) + 1);
}

TEST(Create, GivesDefinedFieldsWithAndWithoutRaster) {
    for (const int height : {0, 3}) {
        ImageOwner owner;
        ASSERT_EQ(LumoCreateImage(&owner.image, 5, std::uint16_t(height)), 0);
        EXPECT_EQ(owner->width, height == 0 ? 0 : 5);
        EXPECT_EQ(owner->height, height);
        EXPECT_EQ(owner->data == nullptr, height == 0);
        EXPECT_EQ(owner->pixelsizeX, 100000U);
        EXPECT_EQ(owner->pixelsizeY, 100000U);
        EXPECT_EQ(owner->maxPix + owner->avgPix + owner->equivLow, 0);
        EXPECT_EQ(owner->equivHigh, 65535);
        EXPECT_EQ(owner->rowPointers, nullptr);
        EXPECT_EQ(owner->pngWriter, nullptr);
        EXPECT_TRUE(std::string(owner->metaData).starts_with("[Image]\nCreation Time="));
        EXPECT_EQ(owner.entry("Image", "Creation Time").size(), 29U);
        expectWholeText(*owner.image);
    }
}

TEST(Create, FailsWithItsCodesAndLogLines) {
    EXPECT_EQ(LumoCreateImage(nullptr, 1, 1), -8);
    EXPECT_EQ(LumoDestroyImage(nullptr), -50);
    EXPECT_EQ(lmtGetLastError(), -50);
    ImageOwner owner(2, 2), large;
    EXPECT_EQ(LumoCreateImage(&large.image, 33000, 32600), 0) << "more than 2 GiB";
    const LogLines log;
    EXPECT_EQ(LumoCreateImage(&owner.image, 65535, 32769), -8) << "more than 4 GiB";
    EXPECT_EQ(owner.image, nullptr);
    EXPECT_EQ(lmtGetLastError(), -8);
    const std::string message = lmtErrorMessage(-8);
    EXPECT_EQ(log.lines(), (std::vector<std::string>{
                               "8 LumoCreateImage entry", "8 LumoDestroyImage entry",
                               "7 LumoDestroyImage return 0", "8 LumoResizeImageBuf entry",
                               "8 LumoDestroyImage entry", "7 LumoDestroyImage return 0",
                               "3 LumoResizeImageBuf -8 " + message,
                               "7 LumoResizeImageBuf width=65535 height=32769 return -8",
                               "3 LumoCreateImage -8 " + message, "7 LumoCreateImage return -8"}));
    const LogLines again;
    EXPECT_EQ(LumoDestroyImage(&owner.image), 0);
    EXPECT_EQ(again.lines(), std::vector<std::string>{"8 LumoDestroyImage entry"}) << "empty";
}

TEST(Resize, KeepsBytesAndDropsTheRowCache) {
    ImageOwner owner(4, 4);
    const auto before = owner.pixels();
    buildRowPointers(*owner.image);
    owner.set("Image_X", "Width", "4");
    ASSERT_EQ(LumoResizeImageBuf(&owner.image, 2, 8), 0);
    EXPECT_EQ(Raster(owner.plain()), Raster(2, 8, before));
    EXPECT_EQ(owner->rowPointers, nullptr);
    EXPECT_EQ(owner.entry("Image_X", "Width"), "4");
    EXPECT_EQ(LumoResizeImageBuf(&owner.image, 0, 10), -50);
    EXPECT_EQ(owner.image, nullptr);
    EXPECT_EQ(LumoResizeImageBuf(&owner.image, 1, 1), -50);
    EXPECT_EQ(LumoResizeImageBuf(nullptr, 1, 1), -50);
}

TEST(ChangeDataBuffer, TakesTheBlockOver) {
    ImageOwner owner(2, 1);
    auto* block = static_cast<std::uint16_t*>(std::calloc(2, 2));
    block[1] = 7;
    EXPECT_EQ(LumoChangeDataBuffer(owner.image, nullptr), -2);
    EXPECT_EQ(LumoChangeDataBuffer(nullptr, block), -2);
    buildRowPointers(*owner.image);
    ASSERT_EQ(LumoChangeDataBuffer(owner.image, block), 0);
    EXPECT_EQ(owner->rowPointers, nullptr);
    ASSERT_EQ(LumoChangeDataBuffer(owner.image, block), 0) << "its own block again";
    EXPECT_EQ(owner.pixels(), (Pixels{0, 7}));
}

TEST(Delete, RemovesTheInformationFileOfXyzOnly) {
    const TempFolder folder;
    for (const char* name : {"x.Xyz", "x.txt", "y.png", "y.txt", "z.xyz"})
        writeFile(folder / name, {1});
    std::filesystem::create_directory(folder / "sub.xyz");
    EXPECT_EQ(LumoDeleteImage((folder / "x.Xyz").c_str()), 0);
    EXPECT_FALSE(std::filesystem::exists(folder / "x.txt"));
    EXPECT_EQ(LumoDeleteImage((folder / "y.png").c_str()), 0);
    EXPECT_TRUE(std::filesystem::exists(folder / "y.txt"));
    LogLines log;
    EXPECT_EQ(LumoDeleteImage((folder / "z.xyz").c_str()), 0) << "without information file";
    ASSERT_EQ(log.upTo(4).size(), 1U);
    EXPECT_EQ(log.upTo(4)[0].find("4 " + (folder / "z.txt") + " failed: "), 0U);
    for (const std::string& missing :
         {folder / "no.xyz", folder / "sub.xyz", std::string(1100, 'a'), std::string()})
        EXPECT_EQ(LumoDeleteImage(missing.c_str()), -11);
    EXPECT_EQ(LumoDeleteImage(nullptr), -11);
    EXPECT_TRUE(std::filesystem::exists(folder / "sub.xyz"));
}

struct Collected {
    std::vector<std::string> entries{};  // section|key|value
    std::size_t most = 100;
    lmImage* changed = nullptr;
};

int collectEntry(const char* section, const char* key, const char* value, void* user) {
    auto& all = *static_cast<Collected*>(user);
    all.entries.push_back(std::string(section) + '|' + key + '|' + value);
    const std::string added = std::string("new ") + key;
    if (all.changed) LumoSetMetaEntry(all.changed, section, added.c_str(), "");
    return all.entries.size() == all.most;
}

TEST(Access, WalksThroughTheMetadata) {
    ImageOwner owner(1, 1);
    const std::string tooLong(5000, 'v');
    const std::string text =
        "\xEF\xBB\xBFp=0\n[A]\r\nk=1\r\nk=2\n;c=3\n#d=4\n=5\n x = 6 = 7 "
        "\n\xff\n[Image_XHEAD]\nh=1\n"
        "[ B ] ;\nlong=" +
        tooLong +
        "\n[open\n[Empty]\n[A]\nk=8\nm=%lumo:a%0Ab\n%lumo:q%3D=\n%lumo:0%00=9\n[%lumo:T%5D]\n;%"
        "lumo:z=9%";
    const std::vector<std::string> expected{
        "|p|0", "A|k|1", "A|x|6 = 7", "A|m|a\nb", "A|q=|", "B|long|" + tooLong, "T]|z|9"};
    std::free(std::exchange(owner->metaData, strdup(text.c_str())));
    owner->metaSize = std::int32_t(text.size() + 1);
    Collected all{.changed = owner.image};
    EXPECT_EQ(LumoForEachMetaEntry(owner.image, collectEntry, &all), 0);
    EXPECT_EQ(all.entries, expected);
    EXPECT_NE(std::string(owner->metaData).find("new x=\n"), std::string::npos);
    Collected two{.most = 2};
    EXPECT_EQ(LumoForEachMetaEntry(owner.image, collectEntry, &two), 0);
    EXPECT_EQ(two.entries.size(), 2U);
    std::free(std::exchange(owner->metaData, nullptr));
    EXPECT_EQ(LumoForEachMetaEntry(owner.image, collectEntry, &(all = {})), 0);
    EXPECT_EQ(all.entries.size(), 0U);
}

TEST(Access, AnswersEveryMissingPiece) {
    ImageOwner owner(3, 2), bare(0, 0);
    std::uint16_t value = 0, *data = nullptr;
    std::uint32_t n = 0;
    std::int32_t size = 0;
    char text[16];
    EXPECT_EQ(LumoGetPixel(owner.image, 2, 1, &value), 0);
    EXPECT_EQ(value, owner->data[5]);
    EXPECT_EQ(LumoSetPixel(owner.image, 1, 1, 4711), 0);
    EXPECT_EQ(owner->data[4], 4711);
    lmImage *none = nullptr, *image = owner.image;
    expectCodes(-102, {LumoGetPixel(image, 3, 0, &value), LumoGetPixel(image, 0, 2, &value),
                       LumoGetPixel(bare.image, 0, 0, &value), LumoSetPixel(none, 0, 0, 1),
                       LumoSetMetaEntry(image, nullptr, "b", ""),
                       LumoGetMetaEntry(image, nullptr, "b", text, &size),
                       LumoGetMetaEntry(image, "a", nullptr, text, &size)});
    expectCodes(-50, {LumoGetGeometry(none, &n, &n, &n, &n), LumoGetBufferAddress(none, &data),
                      LumoGetMetaData(none, text, &size), LumoSetMetaEntry(none, "a", "b", ""),
                      LumoGetMetaEntry(none, "a", "b", text, &size),
                      LumoForEachMetaEntry(none, collectEntry, nullptr),
                      LumoAddPerformedStep(none, "x"), LumoGetExtHeader(none, text, &size),
                      LumoGetDoseEquiv(none, &value, &value, &value, &value)});
    expectCodes(-2,
                {LumoGetPixel(image, 0, 0, nullptr), LumoGetBufferAddress(image, nullptr),
                 LumoGetGeometry(image, &n, &n, &n, nullptr), LumoAddPerformedStep(image, nullptr),
                 LumoGetMetaData(image, text, nullptr), LumoGetExtHeader(image, text, nullptr),
                 LumoGetMetaEntry(image, "a", "b", text, nullptr),
                 LumoForEachMetaEntry(image, nullptr, nullptr),
                 LumoGetDoseEquiv(image, &value, nullptr, &value, &value)});
}

TEST(Access, HandsTextsOutBySize) {
    ImageOwner owner(1, 1);
    const std::string whole = owner->metaData + std::string(1, '\0');
    const auto length = std::int32_t(whole.size());
    for (const std::int32_t room : {length, length + 5, 5, -3}) {  // 5: without a terminating zero
        std::string text(whole.size() + 9, '#');
        std::int32_t size = room;
        ASSERT_EQ(LumoGetMetaData(owner.image, text.data(), &size), 0);
        EXPECT_EQ(size, std::min(room, length));
        const auto count = std::size_t(std::max(size, 0));
        EXPECT_EQ(text.find('#'), count);
        EXPECT_TRUE(whole.starts_with(text.substr(0, count)));
    }
    const std::tuple<const char*, std::int32_t, std::int32_t> cases[] = {
        {"Creation Time", 0, 30}, {"Creation Time", 99, 30}, {"Missing", 0, 1}};
    for (const auto& [key, room, expected] : cases) {  // without a buffer
        std::int32_t size = room, all = room;
        ASSERT_EQ(LumoGetMetaEntry(owner.image, "Image", key, nullptr, &size), 0);
        EXPECT_EQ(size, expected) << key;
        ASSERT_EQ(LumoGetMetaData(owner.image, nullptr, &all), 0);
        EXPECT_EQ(all, length);
    }
    EXPECT_EQ(owner.entry("Image", "Missing"), "");
}

TEST(Access, SetsRemovesAndAppends) {
    ImageOwner owner(1, 1);
    const std::string value = "two\nlines\n[Image]\nSource=forged ";
    owner.set("Notes", "text", value.c_str());
    EXPECT_EQ(owner.entry("Notes", "text"), value);
    EXPECT_EQ(owner.entry("Image", "Source"), "");
    owner.set("Notes", "text", nullptr);
    EXPECT_EQ(owner.entry("Notes", "text"), "");
    ASSERT_EQ(LumoAddPerformedStep(owner.image, "a(b=1)"), 0);
    ASSERT_EQ(LumoAddPerformedStep(owner.image, "c"), 0);
    EXPECT_EQ(owner.entry("PerformedSteps", "Step1"), "c");
    expectWholeText(*owner.image);

    // A record whose metadata somebody took away reads as one with the empty text.
    std::free(std::exchange(owner->metaData, nullptr));
    owner->metaSize = 0;
    std::int32_t size = 4;
    char text[4] = "###";
    EXPECT_EQ(LumoGetMetaData(owner.image, text, &size), 0);
    EXPECT_EQ(size, 1);
    EXPECT_STREQ(text, "");
    owner.set("a", "b", "c");
    EXPECT_EQ(owner.entry("a", "b"), "c");
}

TEST(Raster, CreatesAndDestroysPlainRecords) {
    Image image{9, 9, nullptr};
    LogLines log;
    ASSERT_EQ(Create_Image(0, 5, &image), 0);
    EXPECT_NE(image.data, nullptr);
    EXPECT_EQ(Destroy_Image(&image), 0);
    EXPECT_EQ(image.data, nullptr);
    EXPECT_EQ(image.height, 0);
    EXPECT_EQ(Destroy_Image(&image), 0);
    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{"8 Create_Image entry", "7 Create_Image return 0"}));
    FImage values{};
    ASSERT_EQ(Create_FImage(3, 2, &values), 0);
    values.data[5] = 1.5F;
    EXPECT_EQ(Destroy_FImage(&values), 0);
    EXPECT_EQ(values.data, nullptr);
    EXPECT_EQ(Create_Image(1, 1, nullptr), -2);
    EXPECT_EQ(Destroy_FImage(nullptr), -2);
}

TEST(Depth, WidensEveryCodeByTheSquareLaw) {
    Bytes codes;
    for (int code = 0; code < 256; ++code) put(codes, code, 1);
    Pixels values(256);
    for (const int scale : {0, 1, 257, 4000, 10000, 65534, 65535}) {
        ASSERT_EQ(Convert_Image8_16(codes.data(), values.data(), 16, 16, std::uint16_t(scale)), 0);
        const double factor = scale / 65535.0;
        for (const std::uint8_t v : codes) ASSERT_EQ(values[v], int(v * v * factor)) << scale;
    }
    EXPECT_EQ(values[255], 65025);
    EXPECT_EQ(Convert_Image8_16(codes.data(), nullptr, 1, 1, 1), -2);
    EXPECT_EQ(Convert_Image8_16(codes.data(), values.data(), -1, 5, 1), 0);
}

TEST(Depth, NarrowsByTheSquareRootLawAtAnySize) {
    const std::tuple<Pixels, int, Bytes> cases[] = {{{0, 100, 400, 65535}, 400, {0, 127, 255, 255}},
                                                    {{65535, 65535}, 65535, {255, 255}},
                                                    {{0, 65535, 0}, 0, {0, 0, 0}},
                                                    {{3, 3}, 3, {254, 254}},
                                                    {{10}, 10, {254}},
                                                    {{12}, 12, {254}},
                                                    {{65534}, 65534, {255}},
                                                    {Pixels{}, 65535, Bytes{}}};
    for (const auto& [pixels, white, narrowed] : cases) {
        Bytes codes(narrowed.size() + 1, 77), expected = narrowed;
        expected.push_back(77);
        std::uint16_t maximum = 1;
        const int width = int(pixels.size());
        const std::uint16_t* source = width > 0 ? pixels.data() : &maximum;
        ASSERT_EQ(Convert_Image16_8(source, codes.data(), width, 1, 10000, &maximum), 0);
        EXPECT_EQ(maximum, white);
        EXPECT_EQ(codes, expected);
    }
    // More pixels than grey values go through a table.
    const Raster raster = noise(300, 300);
    Bytes codes(raster.pixels.size());
    std::uint16_t maximum = 0;
    ASSERT_EQ(Convert_Image16_8(raster.pixels.data(), codes.data(), 300, 300, 0, &maximum), 0);
    const double k = 255 / std::sqrt(double(maximum));
    for (std::size_t i = 0; i < codes.size(); ++i)
        ASSERT_EQ(codes[i], int(std::min(std::sqrt(double(raster.pixels[i])) * k, 255.0))) << i;
}

TEST(ImageInfo, EveryFieldTravelsAtItsOffset) {
    const TempFolder folder;
    ImageInfo info = sampleInfo(), read{};
    info.reserved[13] = 9;
    info.reserved2 = 0x1234;
    info.pixelsize = -7;
    Bytes bytes;
    const auto add = [&](std::initializer_list<std::int64_t> values, int size) {
        for (const std::int64_t value : values) put(bytes, value, size);
    };
    add({108, 2, 3, 80000, 125000}, 4);
    add({14}, 1), add({70000}, 4), add({3}, 1), add({2008}, 2), add({12, 1, 9, 5, 3}, 1);
    bytes.insert(bytes.end(), info.source, info.source + 32);
    bytes.resize(bytes.size() + 13);
    add({9}, 1), add({0x1234}, 2), add({90}, 1), add({-7, 0x3DCCCCCD}, 4);
    add({60001, 1234}, 2), add({200}, 1), add({65535}, 2), add({0}, 4);
    writeFile(folder / "img.raw", {});
    ASSERT_EQ(WriteImageInfo(info, (folder / "img.txt").c_str()), 0);
    EXPECT_EQ(readFile(folder / "img.txt"), bytes);
    ASSERT_EQ(Get_ImageInfo(&read, (folder / "img.raw").c_str()), 0);
    EXPECT_EQ(infoBytes(read), bytes);
    EXPECT_EQ(WriteImageInfo(info, (folder / "no/img.txt").c_str()), -1);
    EXPECT_EQ(WriteImageInfo(info, "/dev/full"), -16);
    EXPECT_EQ(WriteImageInfo(info, nullptr), -1);
}

TEST(ImageInfo, ChecksEveryRangeAndEveryLength) {
    const TempFolder folder;
    const std::string image = folder / "img.xyz", text = folder / "img.txt";
    writeFile(image, {});
    const Bytes good = infoBytes(sampleInfo());
    const std::tuple<std::ptrdiff_t, int, std::vector<int>, std::vector<int>> fields[] = {
        {4, 4, {1, 65535}, {-1, 0, 65536}},
        {8, 4, {1, 65535}, {-1, 0, 65536}},
        {12, 4, {1000, 1000000}, {-1, 999, 1000001}},
        {16, 4, {1000, 1000000}, {-1, 999, 1000001}},
        {21, 4, {0, INT32_MAX}, {-1}},
        {26, 2, {1997, 65535}, {0, 1996}},
        {28, 1, {0, 12}, {13, 255}},
        {29, 1, {0, 31}, {32}},
        {30, 1, {0, 23}, {24}},
        {31, 1, {0, 59}, {60}},
        {32, 1, {0, 59}, {60}}};
    for (const auto& [offset, size, accepted, refused] : fields)
        for (const auto& [code, values] : {std::pair{0, accepted}, {-1, refused}})
            for (const int value : values) {
                Bytes changed, bytes = good;
                put(changed, value, size);
                std::ranges::copy(changed, bytes.begin() + offset);
                writeFile(text, bytes);
                ImageInfo read{};
                EXPECT_EQ(Get_ImageInfo(&read, image.c_str()), code) << offset << ": " << value;
                EXPECT_EQ(infoBytes(read), bytes) << "the record keeps what was read";
            }
    for (std::size_t length = 0; length < good.size(); ++length) {
        ImageInfo read{};
        EXPECT_LT(decodeInfoHeader(std::span(good).first(length), read), infoHeaderItems) << length;
    }
    std::filesystem::remove(image);
    ImageInfo read{};
    EXPECT_EQ(Get_ImageInfo(&read, image.c_str()), -1) << "the image itself must exist";
    EXPECT_EQ(Get_ImageInfo(&read, nullptr), -1);
    EXPECT_EQ(Get_ImageInfo(nullptr, image.c_str()), -2);
}

TEST(ExtraHeader, DeliversWhatTheFileHolds) {
    const TempFolder folder;
    const std::string image = folder / "img.xyz";
    char block[16] = "";
    const int cases[][3] = {// bytes claimed, held, delivered
                            {5, 5, 5},
                            {5, 9, 5},
                            {1000000000, 3, 3},
                            {0, 4, 0},
                            {-1, 4, 0}};
    for (const auto& [claimed, held, delivered] : cases) {
        ImageInfo info = sampleInfo();
        info.extHeaderSize = claimed;
        writeFile(folder / "img.txt", infoBytes(info, Bytes(std::size_t(held), 'e')));
        std::memset(block, 'u', sizeof block);
        expectCodes(delivered, {Get_ImageExtraHeaderSize(image.c_str()),
                                Get_ImageExtraHeader(image.c_str(), block)});
        EXPECT_EQ(std::string(block, 16), std::string(std::size_t(delivered), 'e') +
                                              std::string(std::size_t(16 - delivered), 'u'));
    }
    expectCodes(0, {Get_ImageExtraHeader(image.c_str(), nullptr),
                    Get_ImageExtraHeader((folder / "none.xyz").c_str(), block),
                    Get_ImageExtraHeader(std::string(20000, 'n').c_str(), block),
                    Get_ImageExtraHeader(nullptr, block), Set_ImageExtraHeader(4, block),
                    Set_ImageExtraHeader(0, block), Set_ImageExtraHeader(4, nullptr)});
}

}  // namespace
}  // namespace lumo::test
