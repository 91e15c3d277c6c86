// Which format a file or a name stands for, and images that come from pipes and open descriptors.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "support/support.h"

namespace lumo::test {
namespace {

Bytes bytesOf(const std::string& text) {
    return {text.begin(), text.end()};
}

TEST(Formats, AreFoundByAFilesFirstBytes) {
    using namespace std::string_literals;
    const TempFolder folder;
    const std::string png = "\x89PNG\r\n\x1A\n"s, rest(200, ' ');
    const std::tuple<std::string, int, const char*> cases[] = {
        {png + rest, FormatPng, ""},
        {png, FormatPng, ""},
        {png.substr(0, 7), FormatXyz, ""},
        {"", FormatXyz, ""},
        {"\3\0\2\0 pixels"s, FormatXyz, ""},
        {"\xFF\xFF\0\0"s + rest, FormatXyz8, ""},
        {"\0\0\0\0"s + rest, FormatRaw, ""},
        {"GIF89a" + rest, FormatGif, "GIF"},
        {"GIF87a", FormatGif, "GIF"},
        {"GIF88a", FormatXyz, ""},
        {"\xFF\xD8\xFF\xE0"s + rest, FormatXyz, "JPEG"},
        {"II*\0"s + rest, FormatXyz, "TIFF"},
        {"MM\0*"s + rest, FormatXyz, "TIFF"},
        {std::string(128, '\0') + "DICM" + rest, FormatRaw, "DICOM"},
        {std::string(128, 'x') + "DICM", FormatXyz, "DICOM"},
        {std::string(128, 'x') + "DIC", FormatXyz, ""},
        {"BM1234\0\0\0\0"s + rest, FormatXyz, "BMP"},
        {"BM1234\0\1\0\0"s + rest, FormatXyz, ""},
        {"%PDF-1.7" + rest, FormatXyz, "PDF"},
        {"PK\3\4"s + rest, FormatXyz, "ZIP"}};
    for (const auto& [start, format, foreign] : cases) {
        const std::string name = folder / "file.png";
        writeFile(name, bytesOf(start));
        int found = -7;
        EXPECT_EQ(LumoFormatOfFile(name.c_str(), &found), 0);
        EXPECT_EQ(found, format) << start.substr(0, 8);
        EXPECT_STREQ(LumoForeignFormat(name.c_str()), foreign) << start.substr(0, 8);
    }
    // What is no file is not opened: a pipe would wait for its writer.
    ASSERT_EQ(mkfifo((folder / "pipe").c_str(), 0600), 0);
    int found = -7;
    for (const std::string& name : {folder / "missing", folder / "", folder / "pipe"}) {
        EXPECT_EQ(LumoFormatOfFile(name.c_str(), &found), -1) << name;
        EXPECT_STREQ(LumoForeignFormat(name.c_str()), "") << name;
    }
    EXPECT_EQ(LumoFormatOfFile(nullptr, &found), -1);
    EXPECT_EQ(LumoFormatOfFile((folder / "file.png").c_str(), nullptr), -2);
    EXPECT_EQ(found, -7);
    EXPECT_STREQ(LumoForeignFormat(nullptr), "");
}

TEST(Formats, HaveNamesAndExtensions) {
    const std::tuple<int, const char*, const char*, int> cases[] = {
        {FormatPng, "PNG", "png", 1},
        {FormatXyz, "XYZ, 16-bit", "xyz", 1},
        {FormatRaw, "raw", "raw", 1},
        {FormatXyz8, "XYZ, 8-bit", "xyz", 1},
        {FormatGif, "GIF", "gif", 0},
        {FormatTxt, "XYZ information", "txt", 0},
        {FormatAuto, "", "", 0},
        {99, "", "", 0},
        {-1, "", "", 0}};
    for (const auto& [format, name, extension, isImage] : cases) {
        EXPECT_STREQ(LumoFormatName(format), name);
        EXPECT_STREQ(LumoFormatExtension(format), extension);
        EXPECT_EQ(LumoFormatIsImage(format), isImage) << format;
    }
    const std::pair<const char*, int> names[] = {{"a.png", FormatPng},
                                                 {"/b.c/a.PnG", FormatPng},
                                                 {"a.XYZ", FormatXyz},
                                                 {"a.raw", FormatRaw},
                                                 {"a.txt", FormatTxt},
                                                 {"a.gif", FormatGif},
                                                 {"a.bmp", 0},
                                                 {"png", 0},
                                                 {".png", FormatPng},
                                                 {"a.png.", 0},
                                                 {"", 0},
                                                 {nullptr, 0}};
    for (const auto& [name, format] : names) EXPECT_EQ(LumoFormatOfName(name), format);
}

/// Hands bytes to a descriptor that something else reads; it may stop before their end.
std::thread feed(int descriptor, const Bytes& bytes) {
    return std::thread([=] {
        for (std::size_t done = 0; done < bytes.size();) {
            const ssize_t count = write(descriptor, bytes.data() + done, bytes.size() - done);
            if (count <= 0) break;
            done += std::size_t(count);
        }
        close(descriptor);
    });
}

struct Samples {
    TempFolder folder;
    ImageOwner owner{300, 200};
    Bytes png, xyz;
    Samples() {
        owner.set("Image", "Source", "sample");
        LumoWriteImage(owner.image, (folder / "a.png").c_str(), 0);
        LumoWriteImage(owner.image, (folder / "a.xyz").c_str(), 0);
        png = readFile(folder / "a.png");
        xyz = readFile(folder / "a.xyz");
    }
};

TEST(Pipe, CanBeReadWhereItIsPng) {
    const Samples samples;
    signal(SIGPIPE, SIG_IGN);
    const std::string pipe = samples.folder / "pipe.xyz";
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    for (const auto& [bytes, code] : {std::pair{samples.png, 0}, {samples.xyz, -11}}) {
        std::thread writer(
            [&, &bytes = bytes] { feed(open(pipe.c_str(), O_WRONLY), bytes).join(); });
        ImageOwner back;
        EXPECT_EQ(LumoReadImage(&back.image, pipe.c_str()), code);
        writer.join();
        if (code != 0) continue;
        EXPECT_EQ(back.pixels(), samples.owner.pixels());
        EXPECT_EQ(back.entry("Image", "Source"), "sample");
    }
}

TEST(Descriptor, GivesAnImageOrSaysWhyNot) {
    using namespace std::string_literals;
    const Samples samples;
    signal(SIGPIPE, SIG_IGN);
    Bytes cut = samples.png, broken = samples.png;
    cut.resize(cut.size() / 2);
    broken[samples.png.size() / 2] ^= 0xFF;
    const std::tuple<Bytes, int, const char*> cases[] = {
        {samples.png, 0, ""},
        {cut, -11, ""},
        {broken, -11, ""},
        {samples.xyz, -10004, ""},
        {{}, -50, ""},
        {bytesOf("abc"), -50, ""},
        {bytesOf("\xFF\xD8\xFF\xE1 a photograph"), -50, "JPEG"},
        {bytesOf("GIF89a" + std::string(100000, ' ')), -50, "GIF"},
        {bytesOf(std::string(128, '\0') + "DICM" + std::string(50, ' ')), -50, "DICOM"}};
    const std::size_t open = openFiles();
    for (const bool pipe : {true, false})
        for (const auto& [bytes, code, foreign] : cases) {
            int ends[2] = {};
            std::thread writer;
            if (pipe) {
                ASSERT_EQ(::pipe(ends), 0);
                writer = feed(ends[1], bytes);
            } else {  // from the position on
                Bytes behind(1000, 0x89);
                behind.insert(behind.end(), bytes.begin(), bytes.end());
                writeFile(samples.folder / "behind", behind);
                ends[0] = ::open((samples.folder / "behind").c_str(), O_RDONLY);
                lseek(ends[0], 1000, SEEK_SET);
            }
            ImageOwner back;
            const char* what = nullptr;
            const LogLines log;
            EXPECT_EQ(LumoReadImageFd(&back.image, ends[0], "standard input", &what), code);
            EXPECT_STREQ(what, foreign);
            EXPECT_EQ(log.lines().front(), "7 LumoReadImageFd standard input entry");
            EXPECT_EQ(log.lines().back(),
                      "7 LumoReadImageFd standard input return " + std::to_string(code));
            EXPECT_EQ(back.image != nullptr, code == 0);
            if (code == 0) {
                EXPECT_EQ(back.pixels(), samples.owner.pixels());
                EXPECT_EQ(back.entry("Image", "Source"), "sample");
            }
            EXPECT_EQ(close(ends[0]), 0) << "it stays the caller's";
            if (pipe) writer.join();
        }
    EXPECT_EQ(openFiles(), open);
}

TEST(Descriptor, HasToBeReadable) {
    const Samples samples;
    ImageOwner back;
    const std::pair<const char*, int> cases[] = {{"a.png", O_WRONLY}, {"", O_RDONLY | O_DIRECTORY}};
    for (const auto& [name, mode] : cases) {
        const int descriptor = open((samples.folder / name).c_str(), mode);
        ASSERT_GE(descriptor, 0);
        EXPECT_EQ(LumoReadImageFd(&back.image, descriptor, nullptr, nullptr), -1) << name;
        close(descriptor);
    }
    EXPECT_EQ(LumoReadImageFd(&back.image, -1, nullptr, nullptr), -1);
    const int png = open((samples.folder / "a.png").c_str(), O_RDONLY);
    EXPECT_EQ(LumoReadImageFd(nullptr, png, nullptr, nullptr), -8);
    close(png);
}

}  // namespace
}  // namespace lumo::test
