// The program's side of a helper: whatever that does, one sentence, no picture, and no process
// left.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <filesystem>

#include "cli/files/helper.h"
#include "support/support.h"

namespace {

using namespace lumo::cli;
using lumo::test::Pixels;
using lumo::test::TempFolder;

constexpr HelperProgram standIn = {"stand_in", "TIFF"};

/// A folder with an input, and the helper's place.
class Helper : public testing::Test {
protected:
    Helper() { lumo::test::writeFile(folder / "a.tif", {1, 2, 3}); }
    ~Helper() override {
        EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1) << "a helper is left";
        EXPECT_EQ(lumo::test::openFiles(), filesBefore);
    }

    [[nodiscard]] Incoming read(const std::string& kind) {
        return readByHelper(standIn, "a.tif", openRegular(folder / "a.tif"),
                            {"keep=" + kind, "pitch-from=" + (folder / "written")}, place);
    }

    /// The message of a failure; empty without one.
    [[nodiscard]] std::string failure(const std::string& kind) {
        try {
            (void)read(kind);
        } catch (const CommandError& error) {
            EXPECT_EQ(error.status, failed);
            return error.what();
        }
        return "";
    }

    std::vector<std::string> write(const std::string& kind, const std::string& output) {
        const lumo::test::ImageOwner image(900, 700);
        lumo::interchange::Description description{image->width, image->height};
        description.add("Image", "Source", "detector");
        return writeByHelper(standIn, "b.tif", *image.image, description,
                             createFile(folder / output), {"keep=" + kind}, nullptr, place);
    }

    TempFolder folder;
    std::size_t filesBefore = lumo::test::openFiles();
    HelperPlace place{{folder / "none/", LUMO_STAND_IN}, std::chrono::seconds(60)};
};

TEST_F(Helper, BringsThePictureIn) {
    const Incoming incoming = read("sound");
    const lmImage& image = *incoming.image;
    ASSERT_EQ(image.width, 300);
    ASSERT_EQ(image.height, 200);
    EXPECT_EQ(image.pixelsizeX, 50'000U);
    EXPECT_EQ(image.pixelsizeY, 60'000U);
    EXPECT_EQ(incoming.description.bits, 14);
    for (std::uint32_t i = 0; i < 300 * 200; ++i)
        ASSERT_EQ(image.data[i], static_cast<std::uint16_t>(i * 7));
}

#ifndef LUMO_SANITIZED
TEST_F(Helper, RunsUnderLimitsThatGrowWithTheRaster) {
    const Descriptor inherited(dup(STDERR_FILENO));  // by every child that does not close it
    const std::vector<std::string> notes = read("limits").description.notes;
    ASSERT_EQ(notes.size(), 3U);
    EXPECT_EQ(notes[0], "60 536870912; 80 936870912");
    EXPECT_EQ(notes[1], "core 0 files 0 privileges 1");
    EXPECT_EQ(notes[2], "open 0 1 2 ");
}

TEST_F(Helper, IsStoppedWhereItTakesTooMuch) {
    const std::string start = "a.tif: its reader was stopped (",
                      end = "); the file is damaged or hostile";
    EXPECT_EQ(failure("memory"), start + "out of memory" + end);
    EXPECT_EQ(failure("spin"), start + "over its time" + end);
    EXPECT_EQ(failure("file"), start + "signal " + std::to_string(SIGXFSZ) + end);
    EXPECT_EQ(lumo::test::readFile(folder / "written").size(), 0U);
    EXPECT_EQ(failure("crash"), start + "signal 11" + end);
    EXPECT_EQ(failure("abort"), start + "signal 6" + end);
}
#endif

TEST_F(Helper, IsStoppedWhereItHangs) {
    place.longestSilence = std::chrono::milliseconds(300);
    for (const char* kind : {"hang", "close"})
        EXPECT_EQ(failure(kind),
                  "a.tif: its reader was stopped (over its time); the file is damaged or hostile")
            << kind;
    try {
        write("deaf", "b.tif");
        ADD_FAILURE();
    } catch (const CommandError& error) {
        EXPECT_STREQ(error.what(), "b.tif: its writer was stopped (over its time)");
    }
}

TEST_F(Helper, IsNotBelievedWhereItLies) {
    for (const char* kind :
         {"short", "more", "large", "other", "nothing", "endless", "status", "dead"})
        EXPECT_EQ(failure(kind), "a.tif: its reader sent something unexpected") << kind;
    EXPECT_EQ(failure("refuse"), "a.tif: no \x1B[31mpicture");
}

TEST_F(Helper, MayBeMissing) {
    place.folders = {folder / "none/", folder / ""};
    EXPECT_EQ(failure("sound"),
              "a.tif: a TIFF file; this installation reads none (stand_in is not installed)");
    std::filesystem::create_directory(folder / "stand_in");  // not a program
    EXPECT_EQ(failure("sound"),
              "a.tif: a TIFF file; this installation reads none (stand_in is not installed)");
}

TEST_F(Helper, WritesOrSaysWhyNot) {
    EXPECT_EQ(write("sound", "b.tif"), (std::vector<std::string>{"detector", "open 0 1 2 3 "}));
    const lumo::test::Bytes written = lumo::test::readFile(folder / "b.tif");
    const Pixels expected = lumo::test::noise(900, 700).pixels;
    ASSERT_EQ(written.size(), expected.size() * 2);
    EXPECT_EQ(std::memcmp(written.data(), expected.data(), written.size()), 0);
    const std::pair<const char*, const char*> failures[] = {
        {"refuse", "b.tif: no room"},
#ifndef LUMO_SANITIZED  // they take that signal themselves
        {"crash", "b.tif: its writer was stopped (signal 11)"},
#endif
        {"lie", "b.tif: its writer sent something unexpected"},
        {"dead", "b.tif: its writer sent something unexpected"}};
    for (const auto& [kind, message] : failures) {
        try {
            write(kind, "c.tif");
            ADD_FAILURE() << kind;
        } catch (const CommandError& error) {
            EXPECT_STREQ(error.what(), message);
        }
    }
}

}  // namespace
