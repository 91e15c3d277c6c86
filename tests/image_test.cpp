// Image records: life cycle, access, depth conversion, the information file as a record.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "frame/ini2.h"
#include "image/image_info.h"
#include "image/lm_image.h"
#include "support/support.h"

namespace lumo::test {
namespace {

void expectNewMetaData(const lmImage& image) {
    EXPECT_EQ(image.metaSize, static_cast<int>(std::strlen(image.metaData)) + 1);
    EXPECT_EQ(std::string(image.metaData).find("[Image]\nCreation Time="), 0U);
}

TEST(Create, GivesDefinedFieldsWithAndWithoutRaster) {
    for (const int height : {0, 3}) {
        ImageOwner owner;
        ASSERT_EQ(LumoCreateImage(&owner.image, 5, static_cast<std::uint16_t>(height)), 0);
        EXPECT_EQ(owner->width, height == 0 ? 0 : 5);
        EXPECT_EQ(owner->height, height);
        EXPECT_EQ(owner->data == nullptr, height == 0);
        EXPECT_EQ(owner->pixelsizeX, 100000U);
        EXPECT_EQ(owner->pixelsizeY, 100000U);
        EXPECT_EQ(owner->maxPix + owner->avgPix + owner->equivLow, 0);
        EXPECT_EQ(owner->equivHigh, 65535);
        EXPECT_EQ(owner->rowPointers, nullptr);
        EXPECT_EQ(owner->pngWriter, nullptr);
        expectNewMetaData(*owner.image);
        EXPECT_EQ(owner.entry("Image", "Creation Time").size(), 29U);
    }
}

TEST(Create, FailsWithItsCodesAndLogLines) {
    EXPECT_EQ(LumoCreateImage(nullptr, 1, 1), -8);
    ImageOwner owner(2, 2);
    LogLines log;
    EXPECT_EQ(LumoCreateImage(&owner.image, 65535, 32769), -8) << "more than 4 GiB";
    EXPECT_EQ(owner.image, nullptr);
    EXPECT_EQ(lmtGetLastError(), -8);
    const std::string message = lmtErrorMessage(-8);
    const std::vector<std::string> expected = {
        "8 LumoCreateImage entry",
        "8 LumoDestroyImage entry",
        "7 LumoDestroyImage return 0",
        "8 LumoResizeImageBuf entry",
        "8 LumoDestroyImage entry",
        "7 LumoDestroyImage return 0",
        "3 LumoResizeImageBuf -8 " + message,
        "7 LumoResizeImageBuf width=65535 height=32769 return -8",
        "3 LumoCreateImage -8 " + message,
        "7 LumoCreateImage return -8"};
    EXPECT_EQ(log.lines(), expected);
}

TEST(Resize, KeepsBytesAndDropsTheRowCache) {
    ImageOwner owner(4, 4);
    const auto before = owner.pixels();
    buildRowPointers(*owner.image);
    ASSERT_EQ(LumoSetMetaEntry(owner.image, "Image_X", "Width", "4"), 0);
    ASSERT_EQ(LumoResizeImageBuf(&owner.image, 2, 8), 0);
    EXPECT_EQ(owner.pixels(), before);
    EXPECT_EQ(owner->width, 2);
    EXPECT_EQ(owner->height, 8);
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
    ASSERT_EQ(LumoChangeDataBuffer(owner.image, block), 0);
    ASSERT_EQ(LumoChangeDataBuffer(owner.image, block), 0) << "its own block again";
    EXPECT_EQ(owner.pixels(), (std::vector<std::uint16_t>{0, 7}));
}

TEST(Destroy, AnswersEmptyAndMissingPlaces) {
    lmImage* empty = nullptr;
    LogLines log;
    EXPECT_EQ(LumoDestroyImage(&empty), 0);
    EXPECT_EQ(log.lines(), std::vector<std::string>{"8 LumoDestroyImage entry"});
    EXPECT_EQ(LumoDestroyImage(nullptr), -50);
    EXPECT_EQ(lmtGetLastError(), -50);
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
    const int results[][2] = {
        {LumoGetPixel(owner.image, 3, 0, &value), -102},
        {LumoGetPixel(owner.image, 0, 2, &value), -102},
        {LumoGetPixel(bare.image, 0, 0, &value), -102},
        {LumoSetPixel(nullptr, 0, 0, 1), -102},
        {LumoGetPixel(owner.image, 0, 0, nullptr), -2},
        {LumoGetGeometry(nullptr, &n, &n, &n, &n), -50},
        {LumoGetGeometry(owner.image, &n, &n, &n, nullptr), -2},
        {LumoGetBufferAddress(nullptr, &data), -50},
        {LumoGetBufferAddress(owner.image, nullptr), -2},
        {LumoGetMetaData(nullptr, text, &size), -50},
        {LumoGetMetaData(owner.image, text, nullptr), -2},
        {LumoGetMetaEntry(nullptr, "a", "b", text, &size), -50},
        {LumoGetMetaEntry(owner.image, nullptr, "b", text, &size), -102},
        {LumoGetMetaEntry(owner.image, "a", nullptr, text, &size), -102},
        {LumoGetMetaEntry(owner.image, "a", "b", text, nullptr), -2},
        {LumoSetMetaEntry(nullptr, "a", "b", ""), -50},
        {LumoSetMetaEntry(owner.image, nullptr, "b", ""), -102},
        {LumoAddPerformedStep(nullptr, "x"), -50},
        {LumoAddPerformedStep(owner.image, nullptr), -2},
        {LumoGetExtHeader(nullptr, text, &size), -50},
        {LumoGetExtHeader(owner.image, text, nullptr), -2},
        {LumoGetDoseEquiv(nullptr, &value, &value, &value, &value), -50},
        {LumoGetDoseEquiv(owner.image, &value, nullptr, &value, &value), -2},
    };
    for (std::size_t i = 0; i < std::size(results); ++i)
        EXPECT_EQ(results[i][0], results[i][1]) << i;
}

TEST(Access, HandsTextsOutBySize) {
    ImageOwner owner(1, 1);
    std::int32_t size = 99;
    ASSERT_EQ(LumoGetMetaData(owner.image, nullptr, &size), 0);
    EXPECT_EQ(size, owner->metaSize);
    std::vector<char> text(static_cast<std::size_t>(size) + 1, '#');
    ASSERT_EQ(LumoGetMetaData(owner.image, text.data(), &size), 0);
    EXPECT_STREQ(text.data(), owner->metaData);
    EXPECT_EQ(text.back(), '#');
    char five[6] = "#####";
    size = 5;
    ASSERT_EQ(LumoGetMetaData(owner.image, five, &size), 0);
    EXPECT_EQ(size, 5);
    EXPECT_STREQ(five, "[Imag") << "cut without a terminating zero";

    size = 0;
    ASSERT_EQ(LumoGetMetaEntry(owner.image, "Image", "Creation Time", nullptr, &size), 0);
    EXPECT_EQ(size, 30);
    size = 0;
    ASSERT_EQ(LumoGetMetaEntry(owner.image, "Image", "Missing", nullptr, &size), 0);
    EXPECT_EQ(size, 1);
    size = 99;
    ASSERT_EQ(LumoGetMetaEntry(owner.image, "Image", "Creation Time", nullptr, &size), 0);
    EXPECT_EQ(size, 30) << "no buffer asks for the size";
    size = 10;
    char value[10] = "#";
    ASSERT_EQ(LumoGetMetaEntry(owner.image, "Image", "Missing", value, &size), 0);
    EXPECT_EQ(size, 1);
    EXPECT_STREQ(value, "");
}

TEST(Access, SetsRemovesAndAppends) {
    ImageOwner owner(1, 1);
    const std::string value = "two\nlines\n[Image]\nSource=forged ";
    ASSERT_EQ(LumoSetMetaEntry(owner.image, "Notes", "text", value.c_str()), 0);
    EXPECT_EQ(owner.entry("Notes", "text"), value);
    EXPECT_EQ(owner.entry("Image", "Source"), "");
    ASSERT_EQ(LumoSetMetaEntry(owner.image, "Notes", "text", nullptr), 0);
    EXPECT_EQ(owner.entry("Notes", "text"), "");
    ASSERT_EQ(LumoAddPerformedStep(owner.image, "a(b=1)"), 0);
    ASSERT_EQ(LumoAddPerformedStep(owner.image, "c"), 0);
    EXPECT_EQ(owner.entry("PerformedSteps", "Step1"), "c");
    EXPECT_EQ(owner->metaSize, static_cast<int>(std::strlen(owner->metaData)) + 1);

    // A record whose metadata somebody took away reads as one with the empty text.
    std::free(std::exchange(owner->metaData, nullptr));
    owner->metaSize = 0;
    std::int32_t size = 4;
    char text[4] = "###";
    EXPECT_EQ(LumoGetMetaData(owner.image, text, &size), 0);
    EXPECT_EQ(size, 1);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(LumoSetMetaEntry(owner.image, "a", "b", "c"), 0);
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
    std::vector<std::uint8_t> codes(256);
    for (std::size_t i = 0; i < codes.size(); ++i) codes[i] = static_cast<std::uint8_t>(i);
    std::vector<std::uint16_t> values(256);
    for (const int scale : {0, 1, 257, 4000, 10000, 65534, 65535}) {
        ASSERT_EQ(Convert_Image8_16(codes.data(), values.data(), 16, 16,
                                    static_cast<std::uint16_t>(scale)),
                  0);
        const double factor = scale / 65535.0;
        for (int v = 0; v < 256; ++v)
            ASSERT_EQ(values[static_cast<std::size_t>(v)], static_cast<int>(v * v * factor))
                << v << " at " << scale;
    }
    EXPECT_EQ(values[255], 65025);
    EXPECT_EQ(Convert_Image8_16(codes.data(), nullptr, 1, 1, 1), -2);
    EXPECT_EQ(Convert_Image8_16(codes.data(), values.data(), -1, 5, 1), 0);
}

TEST(Depth, NarrowsByTheSquareRootLawAtAnySize) {
    const struct {
        std::vector<std::uint16_t> pixels;
        int maximum;
        std::vector<std::uint8_t> codes;
    } cases[] = {
        {{0, 100, 400, 65535}, 400, {0, 127, 255, 255}},
        {{65535, 65535}, 65535, {255, 255}},
        {{0, 65535, 0}, 0, {0, 0, 0}},
        {{3, 3}, 3, {254, 254}},
        {{10}, 10, {254}},
        {{12}, 12, {254}},
        {{65534}, 65534, {255}},
        {{}, 65535, {}},
    };
    for (const auto& one : cases) {
        std::vector<std::uint8_t> codes(one.codes.size() + 1, 77);
        std::uint16_t maximum = 1;
        ASSERT_EQ(Convert_Image16_8(codes.size() > 1 ? one.pixels.data()
                                    : codes.size()   ? &maximum
                                                     : nullptr,
                                    codes.data(), static_cast<int>(one.pixels.size()), 1, 10000,
                                    &maximum),
                  0);
        EXPECT_EQ(maximum, one.maximum);
        EXPECT_EQ(codes.back(), 77);
        codes.pop_back();
        EXPECT_EQ(codes, one.codes);
    }
    // More pixels than grey values go through a table.
    const Raster raster = noise(300, 300);
    std::vector<std::uint8_t> codes(raster.pixels.size());
    std::uint16_t maximum = 0;
    ASSERT_EQ(Convert_Image16_8(raster.pixels.data(), codes.data(), 300, 300, 0, &maximum), 0);
    const double k = 255 / std::sqrt(static_cast<double>(maximum));
    for (std::size_t i = 0; i < codes.size(); ++i) {
        const double v = std::sqrt(static_cast<double>(raster.pixels[i])) * k;
        ASSERT_EQ(codes[i], v > 255 ? 255 : static_cast<int>(v)) << raster.pixels[i];
    }
}

ImageInfo validInfo() {
    ImageInfo info{};
    info.headerSize = 108;
    info.width = 3;
    info.height = 2;
    info.resX = 1000;
    info.resY = 1000000;
    info.bits = 14;
    info.offsetX = 5;
    info.slotMask = 6;
    info.year = 1997;
    info.month = 12;
    info.day = 31;
    info.hour = 23;
    info.minute = 59;
    info.second = 58;
    std::memcpy(info.source, "0123456789ABCDEF0123456789abcdef", 32);
    info.reserved[13] = 9;
    info.reserved2 = 0x1234;
    info.rotation = 90;
    info.pixelsize = -7;
    info.scale = 0.1F;
    info.maxPix = 60000;
    info.avgPix = 1234;
    info.modeUuid = 200;
    info.maxPixValue = 65535;
    return info;
}

TEST(ImageInfo, EveryFieldTravelsAtItsOffset) {
    const TempFolder folder;
    const ImageInfo info = validInfo();
    writeFile(folder / "img.raw", {});
    ASSERT_EQ(WriteImageInfo(info, (folder / "img.txt").c_str()), 0);
    const auto bytes = readFile(folder / "img.txt");
    ASSERT_EQ(bytes.size(), 101U);
    const std::pair<std::size_t, int> offsets[] = {
        {0, 108},   {4, 3},     {12, 0xE8}, {20, 14},   {21, 5},   {25, 6},    {26, 0xCD},
        {28, 12},   {32, 58},   {33, '0'},  {64, 'f'},  {78, 9},   {79, 0x34}, {81, 90},
        {82, 0xF9}, {86, 0xCD}, {90, 0x60}, {92, 0xD2}, {94, 200}, {95, 0xFF}, {97, 0}};
    for (const auto& [offset, value] : offsets) EXPECT_EQ(bytes[offset], value) << offset;
    ImageInfo read{};
    ASSERT_EQ(Get_ImageInfo(&read, (folder / "img.raw").c_str()), 0);
    EXPECT_EQ(encodeInfoHeader(read), encodeInfoHeader(info));
    EXPECT_EQ(WriteImageInfo(info, (folder / "no/img.txt").c_str()), -1);
    EXPECT_EQ(WriteImageInfo(info, "/dev/full"), -16);
    EXPECT_EQ(WriteImageInfo(info, nullptr), -1);
}

TEST(ImageInfo, ChecksEveryRangeAndEveryLength) {
    const TempFolder folder;
    const std::string image = folder / "img.xyz", text = folder / "img.txt";
    writeFile(image, {});
    using Change = void (*)(ImageInfo&);
    const std::pair<Change, int> changes[] = {
        {[](ImageInfo& i) { i.width = 0; }, -1},      {[](ImageInfo& i) { i.width = 65535; }, 0},
        {[](ImageInfo& i) { i.height = 65536; }, -1}, {[](ImageInfo& i) { i.resX = 999; }, -1},
        {[](ImageInfo& i) { i.resY = 1000001; }, -1}, {[](ImageInfo& i) { i.offsetX = -1; }, -1},
        {[](ImageInfo& i) { i.year = 1996; }, -1},    {[](ImageInfo& i) { i.month = 13; }, -1},
        {[](ImageInfo& i) { i.month = 0; }, 0},       {[](ImageInfo& i) { i.day = 32; }, -1},
        {[](ImageInfo& i) { i.hour = 24; }, -1},      {[](ImageInfo& i) { i.minute = 60; }, -1},
        {[](ImageInfo& i) { i.second = 60; }, -1},    {[](ImageInfo& i) { i.day = 0; }, 0},
    };
    for (std::size_t i = 0; i < std::size(changes); ++i) {
        ImageInfo info = validInfo(), read{};
        changes[i].first(info);
        ASSERT_EQ(WriteImageInfo(info, text.c_str()), 0);
        EXPECT_EQ(Get_ImageInfo(&read, image.c_str()), changes[i].second) << i;
        EXPECT_EQ(encodeInfoHeader(read), encodeInfoHeader(info))
            << "the record keeps what was read";
    }
    const auto whole = encodeInfoHeader(validInfo());
    for (std::size_t length = 0; length < whole.size(); ++length) {
        ImageInfo read{};
        EXPECT_LT(decodeInfoHeader(std::span(whole).first(length), read), infoHeaderItems)
            << length;
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
    for (const auto& [claimed, held] : std::vector<std::pair<int, std::size_t>>{
             {5, 5}, {5, 9}, {1000000000, 3}, {0, 4}, {-1, 4}}) {
        ImageInfo info = validInfo();
        info.extHeaderSize = claimed;
        const auto header = encodeInfoHeader(info);
        std::vector<std::uint8_t> bytes(header.begin(), header.end());
        for (std::size_t i = 0; i < held; ++i) bytes.push_back(static_cast<std::uint8_t>('a' + i));
        writeFile(folder / "img.txt", bytes);
        const int expected = claimed <= 0 ? 0 : std::min(claimed, static_cast<int>(held));
        char block[16] = "";
        EXPECT_EQ(Get_ImageExtraHeaderSize(image.c_str()), expected);
        EXPECT_EQ(Get_ImageExtraHeader(image.c_str(), block), expected);
        EXPECT_EQ(std::string(block),
                  std::string("abcdefghi").substr(0, static_cast<std::size_t>(expected)));
        EXPECT_EQ(Get_ImageExtraHeader(image.c_str(), nullptr), 0);
    }
    char block[4];
    EXPECT_EQ(Get_ImageExtraHeader((folder / "none.xyz").c_str(), block), 0);
    EXPECT_EQ(Set_ImageExtraHeader(4, block), 0);
    EXPECT_EQ(Set_ImageExtraHeader(0, block), 0);
    EXPECT_EQ(Set_ImageExtraHeader(4, nullptr), 0);
}

}  // namespace
}  // namespace lumo::test
