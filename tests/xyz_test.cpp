// XYZ images and raw pixel files: layouts, round trips, every way to fail.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstring>
#include <thread>
#include <tuple>

#include "image/info_header.h"
#include "image/info_name.h"
#include "support/support.h"

namespace lumo::test {
namespace {

const Bytes pixels2x3 = {2, 0, 3, 0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 0xCD, 0xAB};

TEST(InfoName, FollowsThreeRules) {
    const char* const cases[][4] = {
        {"a.xyz", "a.txt", "a.txt", "a.txt"},    {"a.XyZ", "a.txt", "a.txt", "a.txt"},
        {"a.raw", "", "a.txt", "a.txt"},         {"x.ab", "", "x.txt", "xtxt"},
        {"x.jpeg", "", "x.txt", "x.jtxt"},       {"noext", "", "", "notxt"},
        {"d.xyz/img", "", "d.txt", "d.xyz/txt"}, {"ab", "", "", ""},
        {"dir.d/ab", "", "dir.txt", ""}};
    for (const auto& [name, deleting, reading, writing] : cases) {
        EXPECT_STREQ(infoNameForDeleting(name).text, deleting);
        EXPECT_STREQ(infoNameForReading(name).text, reading);
        EXPECT_STREQ(infoNameForWriting(name).text, writing);
    }
}

TEST(XyzRead, TakesPixelsAndHeader) {
    const TempFolder folder;
    const Bytes block{'k', '=', 'v', '\r', '\n'};
    ImageInfo info = sampleInfo();
    writeFile(folder / "a.xyz", pixels2x3);
    ImageOwner owner;
    const LogLines log;
    for (const auto& [claimed, held] : {std::pair{5, 5}, {5, 6}, {2000000000, 5}, {0, 0}, {9, 0}}) {
        info.extHeaderSize = claimed;
        Bytes rest = block;
        rest.resize(std::size_t(held), 'x');
        writeFile(folder / "a.txt", infoBytes(info, rest));
        ASSERT_EQ(LumoReadImage(&owner.image, (folder / "a.xyz").c_str()), 0);
        char body[8];
        std::int32_t size = sizeof body;
        ASSERT_EQ(LumoGetExtHeader(owner.image, body, &size), 0);
        EXPECT_EQ(Bytes(body, body + size), held > 0 ? block : Bytes{}) << claimed;
    }
    info.extHeaderSize = 2000000000;
    writeFile(folder / "a.txt", infoBytes(info, Bytes(70000, 'e')));
    ASSERT_EQ(LumoReadImage(&owner.image, (folder / "a.xyz").c_str()), 0);
    std::int32_t size = 0;
    ASSERT_EQ(LumoGetExtHeader(owner.image, nullptr, &size), 0);
    EXPECT_EQ(size, 70000);

    EXPECT_EQ(log.upTo(4).size(), 0U);
    EXPECT_EQ(owner.pixels(), (Pixels{1, 2, 3, 4, 5, 0xABCD}));
    EXPECT_EQ(owner->pixelsizeX, 80000U);
    EXPECT_EQ(owner->pixelsizeY, 125000U);
    EXPECT_EQ(owner.entry("Image", "Creation Time"), "XXX, 01 Dec 2008 09:05:03 GMT");
    EXPECT_EQ(owner.entry("Image", "Source"), "0123456789ABCDEF0123456789abcdef");
    const std::pair<const char*, const char*> entries[] = {
        {"Res_X", "80000"}, {"Res_Y", "125000"}, {"bits", "14"},          {"Offset_X", "70000"},
        {"SlotMask", "3"},  {"Rotation", "90"},  {"Pixelsize", "42"},     {"MaxPix", "60001"},
        {"AvgPix", "1234"}, {"ModeUuid", "200"}, {"MaxPixValue", "65535"}};
    for (const auto& [key, value] : entries) EXPECT_EQ(owner.entry("Image_X", key), value) << key;
    EXPECT_EQ(std::strtof(owner.entry("Image_X", "Scale").c_str(), nullptr), 0.1F);
    std::uint16_t average = 0, maximum = 0, low = 1, high = 0;
    ASSERT_EQ(LumoGetDoseEquiv(owner.image, &average, &maximum, &low, &high), 0);
    EXPECT_EQ((Pixels{average, maximum, low, high}), (Pixels{1234, 60001, 0, 65535}));

    writeFile(folder / "plain", pixels2x3);  // a name without '.' has no information file
    ASSERT_EQ(LumoReadImage(&owner.image, (folder / "plain").c_str()), 0);
    EXPECT_EQ(owner->pixelsizeX, 100000U);
    EXPECT_EQ(std::string(owner->metaData).find("Image_X"), std::string::npos);
}

TEST(XyzRead, AnswersEveryFault) {
    const TempFolder folder;
    const std::string image = folder / "a.xyz";
    int number = 0;
    const auto first = [](const Bytes& bytes, std::ptrdiff_t count) {
        return Bytes(bytes.begin(), bytes.begin() + count);
    };
    Bytes whole8 = {0xFF, 0xFF, 0, 0, 2, 0, 3, 0, 0xFF, 0xFF};
    whole8.resize(256 + 6, 255);
    Bytes empty8 = first(whole8, 256);
    empty8[6] = 0;
    const Bytes good = infoBytes(sampleInfo());
    ImageInfo badYear = sampleInfo(), badPitch = sampleInfo();
    badYear.year = 1996;
    badPitch.resX = 999;
    const std::tuple<Bytes, Bytes, int, int, bool> cases[] = {
        // < a record is there after the failure
        {pixels2x3, {}, -10004, 4, true},
        {pixels2x3, first(good, 100), -10006, 4, true},
        {pixels2x3, infoBytes(badYear), -10006, 4, true},
        {pixels2x3, infoBytes(badPitch), -10006, 4, true},
        {first(pixels2x3, 15), good, -50, 3, true},
        {{}, good, -50, 3, false},
        {{2, 0, 3}, good, -50, 3, false},
        {{0, 0, 0, 0}, good, -50, 3, true},
        {{2, 0, 0, 0}, good, -50, 3, true},
        {{'G', 'I', 'F', '8', '9', 'a'}, good, -50, 3, true},
        {first(whole8, 255), good, -50, 3, false},
        {first(whole8, 261), good, -50, 3, true},
        {empty8, good, -50, 3, true},
        {{0xFF, 0xFF, 0xFF, 0xFF}, good, -8, 3, false}};
    for (const auto& [pixels, info, code, level, made] : cases) {
        SCOPED_TRACE(testing::Message() << "case " << number++);
        writeFile(image, pixels);
        std::filesystem::remove(folder / "a.txt");
        if (!info.empty()) writeFile(folder / "a.txt", info);
        ImageOwner owner;
        const LogLines log;
        EXPECT_EQ(LumoReadImage(&owner.image, image.c_str()), code);
        EXPECT_EQ(owner.image != nullptr, made);
        EXPECT_EQ(lmtGetLastError(), code);
        const std::string tail = std::to_string(code) + " " + lmtErrorMessage(code);
        const auto lines = log.upTo(4);
        ASSERT_GE(lines.size(), 2U);
        EXPECT_EQ(*(lines.end() - 2), std::to_string(level) + " LumoReadImageXYZ " + tail);
        EXPECT_EQ(lines.back(), "3 LumoReadImage " + tail);
    }
    ImageOwner owner(1, 1);
    const lmImage* before = owner.image;
    for (const std::string& missing : {folder / "none.xyz", folder / "", std::string(1100, 'n')})
        EXPECT_EQ(LumoReadImage(&owner.image, missing.c_str()), -1);
    EXPECT_EQ(LumoReadImage(&owner.image, nullptr), -1);
    writeFile(image, {1});
    EXPECT_EQ(LumoReadImage(&owner.image, image.c_str()), -50);
    EXPECT_EQ(owner.image, before) << "nothing was created, so the older image stays";
    EXPECT_EQ(LumoReadImage(nullptr, image.c_str()), -50);
}

TEST(XyzWrite, RoundTripsPixelsHeaderAndBlock) {
    const TempFolder folder;
    writeFile(folder / "a.xyz", pixels2x3);
    ImageInfo info = sampleInfo();
    const Bytes block = {'[', 'x', ']', '\n', 0, 0xFF, '\r', '\n', '\n', 'k', '=', '1'};
    info.extHeaderSize = static_cast<int>(block.size());
    writeFile(folder / "a.txt", infoBytes(info, block));
    ImageOwner owner;
    ASSERT_EQ(LumoReadImage(&owner.image, (folder / "a.xyz").c_str()), 0);
    const std::tuple<const char*, const char*, int, bool> cases[] = {
        {"b.xyz", "b.txt", 0, true}, {"b.Xyz", "b.txt", 0, true}, {"c.raw", "c.txt", 0, true},
        {"e.png", "e.txt", 1, true}, {"f.ab", "ftxt", 1, true},   {"g.txt", "g.txt", 0, false},
        {"g.TXT", "g.txt", 6, true}};
    for (const auto& [name, infoName, format, pixelFile] : cases) {
        std::filesystem::remove(folder / infoName);
        ASSERT_EQ(LumoWriteImage(owner.image, (folder / name).c_str(), format), 0) << name;
        EXPECT_EQ(readFile(folder / infoName), infoBytes(info, block)) << name;
        const Bytes expected = pixelFile ? pixels2x3 : infoBytes(info, block);
        EXPECT_EQ(readFile(folder / name), expected) << name;
    }
}

TEST(XyzWrite, FillsTheHeaderFromDefaultsAndMetadata) {
    const TempFolder folder;
    ImageOwner owner(3, 2);
    owner->maxPix = 7;  // the statistics come from the metadata, not from the record
    const auto write = [&] {
        ImageInfo info{};
        EXPECT_EQ(LumoWriteImage(owner.image, (folder / "a.xyz").c_str(), 0), 0);
        EXPECT_EQ(Get_ImageInfo(&info, (folder / "a.xyz").c_str()), 0);
        return info;
    };
    ImageInfo info = write();
    EXPECT_EQ(readFile(folder / "a.txt").size(), 101U);
    EXPECT_EQ(info.headerSize, 108U);
    EXPECT_EQ(info.width, 3);
    EXPECT_EQ(info.bits, 16);
    EXPECT_EQ(std::string(info.source, 32), "Unknown" + std::string(25, '\0'));
    EXPECT_EQ(info.pixelsize, 100000);
    EXPECT_EQ(info.scale, 1.0F);
    EXPECT_EQ(info.maxPix, 0);

    owner->pixelsizeX = 80000;
    owner->pixelsizeY = 125000;
    const char* const entries[][2] = {{"Scale", "0.5"}, {"bits", "270"}, {"MaxPix", "65537"}};
    for (const auto& [key, value] : entries) owner.set("Image_X", key, value);
    owner.set("Image", "Source", std::string(40, 's').c_str());
    owner.set("Image", "Creation Time", "Mon, 01 Dec 2008 09:05:03 GMT");
    info = write();
    EXPECT_EQ(info.pixelsize, 50000);
    EXPECT_EQ(info.bits, 14) << "low bits";
    EXPECT_EQ(info.maxPix, 1);
    EXPECT_EQ(std::string(info.source, 32), std::string(32, 's'));
    EXPECT_EQ(info.year * 10000 + info.month * 100 + info.day, 20081201);
    EXPECT_EQ(info.hour * 10000 + info.minute * 100 + info.second, 90503);
    for (const auto& [scale, pixelsize] :
         {std::pair{"nan", 0}, {"1e300", INT32_MAX}, {"-1e300", INT32_MIN}}) {
        owner.set("Image_X", "Scale", scale);
        EXPECT_EQ(write().pixelsize, pixelsize) << scale;
    }
    owner.set("Image_X", "Pixelsize", "42");
    owner.set("Image", "Creation Time", "yesterday");
    info = write();
    EXPECT_EQ(info.pixelsize, 42);
    const std::time_t now = std::time(nullptr);
    EXPECT_EQ(info.year, std::localtime(&now)->tm_year + 1900) << "the current time stands in";

    owner->pixelsizeX = 999;
    LogLines log;
    EXPECT_EQ(LumoWriteImage(owner.image, (folder / "a.xyz").c_str(), 0), 0);
    EXPECT_EQ(log.upTo(4).size(), 1U) << "no reader will take this header";
}

TEST(XyzWrite, EightBitIsTheSquareRootCode) {
    const TempFolder folder;
    ImageOwner owner(701, 301), back;  // more than one block of the reader
    ASSERT_EQ(LumoWriteImage(owner.image, (folder / "a.png").c_str(), FormatXyz8), 0);
    const Bytes file = readFile(folder / "a.png");
    ASSERT_EQ(file.size(), 256U + 701 * 301);
    ASSERT_EQ(LumoReadImage(&back.image, (folder / "a.png").c_str()), 0);
    const int white = file[8] + 256 * file[9];
    const double k = 255 / std::sqrt(double(white)), factor = white / 65535.0;
    for (std::size_t i = 0; i < 701 * 301; ++i) {
        const int code = int(std::min(255.0, std::sqrt(double(owner->data[i])) * k));
        ASSERT_EQ(file[256 + i], code);
        ASSERT_EQ(back->data[i], int(code * code * factor));
    }
}

TEST(Write, AnswersEveryFault) {
    const TempFolder folder;
    ImageOwner owner(3, 2), bare(0, 0);
    const std::string lost = folder / "no/such/a.", big(1100, 'b');
    std::filesystem::create_directory(folder / "dir.xyz");
    std::filesystem::create_directory(folder / "b.txt");
    const std::tuple<lmImage*, std::string, int, int> cases[] = {
        {owner.image, lost + "xyz", 0, -16},       {owner.image, lost + "txt", 0, -16},
        {owner.image, lost + "xyz", 2, -16},       {owner.image, lost + "png", 0, -16},
        {owner.image, folder / "dir.xyz", 0, -16}, {owner.image, folder / "b.xyz", 0, -16},
        {owner.image, folder / "dir.xyz", 2, -1},  {owner.image, folder / "b.xyz", 2, -16},
        {owner.image, big + ".xyz", 0, -16},       {owner.image, big + ".png", 0, -16},
        {owner.image, "/dev/full", 3, -16},        {owner.image, "/dev/full", 1, -16},
        {bare.image, folder / "c.xyz", 0, -50},    {bare.image, folder / "c.png", 0, -50},
        {nullptr, folder / "c.xyz", 0, -50},       {nullptr, folder / "c.png", 0, -50},
        {owner.image, "noextension", 0, -1},       {owner.image, folder / "c.gif", 0, 0},
        {owner.image, folder / "c.bmp", 0, 0},     {owner.image, folder / "c.xyz", 4, 0},
        {owner.image, folder / "c.xyz", 99, 0}};
    for (const auto& [image, name, format, code] : cases)
        EXPECT_EQ(LumoWriteImage(image, name.c_str(), format), code) << name;
    EXPECT_FALSE(std::filesystem::exists(folder / "c.xyz"));
    EXPECT_TRUE(std::filesystem::exists(folder / "b.xyz")) << "written before its information file";
    EXPECT_EQ(LumoWriteImage(owner.image, nullptr, 0), -1);
    EXPECT_EQ(LumoWriteImage(owner.image, nullptr, 1), -16);
    EXPECT_EQ(LumoWriteImage(owner.image, nullptr, 3), -16);
    LogLines log;
    EXPECT_EQ(LumoWriteImage(owner.image, "noextension", 0), -1);
    EXPECT_EQ(log.lines(),
              (std::vector<std::string>{
                  "7 LumoWriteImage noextension entry",
                  "3 LumoWriteImage extension invalid for auto format detect. File =noextension"}));
}

TEST(Write, TakesNamesUpToTheLongest) {
    const TempFolder folder;
    ImageOwner owner(3, 2);
    for (const auto& [length, works] : {std::pair{1023U, true}, {1024U, false}}) {
        for (const std::string end : {"a.xyz", "a.png"}) {
            std::string name = folder / "";
            name += std::string(length - name.size() - end.size(), '/') + end;
            EXPECT_EQ(LumoWriteImage(owner.image, name.c_str(), 0), works ? 0 : -16);
            EXPECT_EQ(LumoReadImage(&owner.image, name.c_str()), works ? 0 : -1);
            EXPECT_EQ(LumoDeleteImage(name.c_str()), works ? 0 : -11);
        }
    }
    EXPECT_FALSE(std::filesystem::exists(folder / "a.txt"));
}

Image8 image8Of(int width, int height, std::uint8_t* codes) {
    Image8 image{};
    image.width = width;
    image.height = height;
    image.whiteLevel = 0xFFFF0000U + 4000;
    image.pixels = codes;
    return image;
}

TEST(RawFiles, WriteTurnedAndReadBack) {
    const TempFolder folder;
    std::string name = folder / "r.raw";
    for (const auto& [width, height] : {std::pair{2, 1}, {3, 2}, {1, 7}, {33, 18}, {300, 250}}) {
        Raster raster = noise(width, height);
        Bytes codes(raster.pixels.begin(), raster.pixels.end());
        const Image8 image8 = image8Of(width, height, codes.data());
        for (const int degrees : {0, 45, 90, -270, 180, -180, 270, -90}) {
            const Raster expected = turned(raster, degrees == 45 ? 0 : degrees);
            OwnedImage read, read8;
            ASSERT_EQ(WriteImageRot(raster.image(), name.data(), degrees), 0);
            ASSERT_EQ(Read_Image(name.c_str(), &read), 0);
            EXPECT_EQ(Raster(read), expected) << degrees;

            Bytes bytes{0xFF, 0xFF, 0, 0};
            put(bytes, expected.width, 2), put(bytes, expected.height, 2), put(bytes, 4000, 2);
            bytes.resize(256);
            for (const std::uint16_t pixel : expected.pixels) put(bytes, pixel, 1);
            ASSERT_EQ(WriteImage8Rot(image8, name.c_str(), degrees), 0);
            EXPECT_EQ(readFile(name), bytes) << degrees;
            ASSERT_EQ(Read_Image(name.c_str(), &read8), 0);
            EXPECT_EQ(read8.height, expected.height);
        }
    }
    Raster raster(3, 2, 0x0102);
    ASSERT_EQ(Write_Image(name.c_str(), raster.image()), 0);
    EXPECT_EQ(readFile(name), (Bytes{3, 0, 2, 0, 2, 1, 2, 1, 2, 1, 2, 1, 2, 1, 2, 1}));
}

TEST(RawFiles, ASignalCutsNoReadShort) {
    const TempFolder folder;
    const std::string name = folder / "pipe.raw";
    ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
    const int pipe = open(name.c_str(), O_RDWR);
    struct sigaction interrupt {
    }, before{};
    interrupt.sa_handler = [](int) {};  // without SA_RESTART
    sigaction(SIGUSR1, &interrupt, &before);
    const pthread_t reader = pthread_self();
    std::thread writer([&] {
        EXPECT_EQ(write(pipe, "\2\0\1\0\7", 5), 5);
        for (int i = 0; i < 30; ++i) {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            pthread_kill(reader, SIGUSR1);
        }
        EXPECT_EQ(write(pipe, "\0\x8\0", 3), 3);
    });
    OwnedImage read;
    EXPECT_EQ(Read_Image(name.c_str(), &read), 0);
    writer.join();
    EXPECT_EQ(Raster(read), Raster(2, 1, {7, 8}));
    sigaction(SIGUSR1, &before, nullptr);
    close(pipe);
}

TEST(RawFiles, AnswerEveryFault) {
    const TempFolder folder;
    std::string name = folder / "r.raw", lost = folder / "no/r.raw", full = "/dev/full";
    Raster raster(3, 2);
    std::uint8_t codes[6] = {};
    const Image8 image8 = image8Of(3, 2, codes);
    EXPECT_EQ(WriteImage8Rot(image8Of(0, 2, codes), name.c_str(), 90), 0);
    expectCodes(-50, {WriteImage8Rot(image8Of(3, 2, nullptr), name.c_str(), 0),
                      WriteImage8Rot(image8Of(65536, 2, codes), name.c_str(), 0),
                      Write_Image(name.c_str(), {3, 2, nullptr})});
    EXPECT_EQ(Write_Image(nullptr, raster.image()), -1);
    for (const int degrees : {0, 90}) {
        expectCodes(-1, {WriteImageRot(raster.image(), lost.data(), degrees),
                         WriteImage8Rot(image8, lost.c_str(), degrees)});
        expectCodes(-16, {WriteImageRot(raster.image(), full.data(), degrees),
                          WriteImage8Rot(image8, full.c_str(), degrees)});
    }
    Image lostImage{1, 1, raster.pixels.data()};
    EXPECT_EQ(Read_Image(lost.c_str(), &lostImage), -1);
    EXPECT_EQ(lostImage.data, nullptr);
    EXPECT_EQ(lostImage.width, 0);
    EXPECT_EQ(Read_Image(nullptr, &lostImage), -1);
    EXPECT_EQ(Read_Image(name.c_str(), nullptr), -2);
    writeFile(name, {0, 0, 2, 0});
    OwnedImage empty;
    EXPECT_EQ(Read_Image(name.c_str(), &empty), -50);
    Bytes cut8{0xFF, 0xFF, 0, 0, 3, 0, 2, 0};
    cut8.resize(256 + 5, 255);
    const std::tuple<Bytes, std::size_t, int> cases[] = {// the file, a pixel of it, its value
                                                         {{3, 0, 2}, 0, -1},
                                                         {{3, 0, 2, 0, 7, 0, 8, 0}, 1, 8},
                                                         {cut8, 0, 65025}};
    for (const auto& [file, pixel, value] : cases) {
        OwnedImage read;
        writeFile(name, file);
        EXPECT_EQ(Read_Image(name.c_str(), &read), -50);
        EXPECT_EQ(read.data == nullptr ? -1 : read.data[pixel], value) << "partly filled";
    }
}

}  // namespace
}  // namespace lumo::test
