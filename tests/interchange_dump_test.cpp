// Headerless dumps: words become pixels as their layout says, and files that do not fit it are
// refused with what would.
#include <gtest/gtest.h>

#include <cerrno>
#include <system_error>

#include "cli/files/import.h"
#include "support/support.h"

namespace {

using namespace lumo::cli;
using lumo::test::Bytes;
using lumo::test::Pixels;
using lumo::test::TempFolder;

/// The message of a failure; empty without one.
template <class Work>
std::string failure(Work work) {
    try {
        work();
    } catch (const CommandError& error) {
        return error.what();
    }
    return "";
}

DumpLayout layoutOf(const DumpSettings& settings) {
    return parseLayout(settings, "--", wrongCommandLine);
}

/// One value from the definition; the word must hold nothing else.
struct Word {
    bool strange = false;
    std::uint16_t pixel = 0;

    Word(const DumpLayout& layout, std::uint32_t word) {
        const std::uint32_t size = 8 * layout.wordSize();
        std::int64_t value = 0;
        bool othersZero = true, othersAreSign = true;
        const bool sign = layout.isSigned && (word >> layout.highBit & 1) != 0;
        for (std::uint32_t bit = 0; bit < size; ++bit) {
            const bool on = (word >> bit & 1) != 0;
            const std::uint32_t low = layout.highBit + 1 - layout.bits;
            if (bit < low && on) strange = true;
            if (bit > layout.highBit) {
                othersZero &= !on;
                othersAreSign &= on == sign;
            }
            if (low <= bit && bit <= layout.highBit && on)
                value += bit == layout.highBit && layout.isSigned
                             ? -(std::int64_t{1} << (bit - low))
                             : std::int64_t{1} << (bit - low);
        }
        strange |= !othersZero && !othersAreSign;
        if (layout.isSigned) value += std::int64_t{1} << (layout.bits - 1);
        pixel = static_cast<std::uint16_t>(value);
    }
};

TEST(Dump, DecodesEveryWordOfEveryLayout) {
    for (std::uint32_t bits = 1; bits <= 16; ++bits)
        for (std::uint32_t highBit = bits - 1; highBit < (bits <= 8 ? 8U : 16U); ++highBit)
            for (const char* endian : {"little", "big"})
                for (const char* isSigned : {"no", "yes"}) {
                    const DumpLayout layout = layoutOf({{"width", "1"},
                                                        {"height", "1"},
                                                        {"bits", std::to_string(bits)},
                                                        {"high-bit", std::to_string(highBit)},
                                                        {"endian", endian},
                                                        {"signed", isSigned}});
                    const std::uint32_t words = 1U << (8 * layout.wordSize());
                    for (std::uint32_t word = 0; word<words; word += words> 256 ? 13 : 1) {
                        std::uint8_t bytes[2] = {std::uint8_t(word), std::uint8_t(word >> 8)};
                        if (layout.bigEndian && layout.wordSize() == 2)
                            std::swap(bytes[0], bytes[1]);
                        std::uint16_t pixel = 0;
                        const bool strange = decodeRow(layout, bytes, &pixel) == 0;
                        const Word expected(layout, word);
                        ASSERT_EQ(strange, expected.strange) << layout.text() << ' ' << word;
                        if (strange) continue;
                        ASSERT_EQ(pixel, expected.pixel) << layout.text() << ' ' << word;
                    }
                }
}

TEST(Dump, RefusesLayoutsThatAreNone) {
    const std::pair<const char*, const char*> settings[] = {
        {"width", "0"},     {"width", "65536"}, {"height", "x"},         {"bits", "17"},
        {"bits", "0"},      {"high-bit", "14"}, {"high-bit", "16"},      {"endian", "middle"},
        {"signed", "1"},    {"offset", "-1"},   {"stride", "5"},         {"pitch", "0"},
        {"pitch", "1,2,3"}, {"pitch", "1,"},    {"pitch", "1000000001"}, {"width", "3 "}};
    for (const auto& [name, value] : settings) {
        DumpSettings all = {{"width", "3"}, {"height", "2"}};
        all[name] = value;
        const std::string message = failure([&] { (void)layoutOf(all); });
        EXPECT_TRUE(message.starts_with(std::string("--") + name + ' ' + value + ": not "))
            << message;
    }
}

TEST(Dump, ComparesTheSizeToTheByte) {
    const auto layout = [](const char* offset, const char* stride) {
        return layoutOf({{"width", "10"}, {"height", "4"}, {"offset", offset}, {"stride", stride}});
    };
    const struct {
        const char *offset, *stride;
        std::uint64_t size, frames;
        const char* message;
    } cases[] = {
        {"", "", 80, 1, ""},
        {"", "", 800, 10, ""},
        {"7", "", 87, 1, ""},
        {"", "24", 96, 1, ""},
        {"", "24", 92, 1, ""},  // the last row's rest is missing
        {"", "24", 188, 2, ""},
        {"", "", 79, 0, "80 bytes expected, the file has 79: 1 fewer"},
        {"", "", 0, 0, "80 bytes expected, the file has 0: 80 fewer"},
        {"5", "", 3, 0, "85 bytes expected, the file has 3: 82 fewer"},
        {"", "", 84, 0, "80 bytes expected, the file has 84: 4 more (a header? --offset 4)"},
        {"5", "", 89, 0, "85 bytes expected, the file has 89: 4 more (a header? --offset 9)"},
        {"", "", 244, 0,
         "80 bytes expected, the file has 244: 4 more than 3 frames (a header? --offset 4)"},
    };
    for (const auto& [offset, stride, size, frames, message] : cases) {
        std::uint64_t found = 0;
        const std::string text = failure([&, offset = offset, stride = stride, size = size] {
            found = framesIn(layout(offset, stride), size, "a.bin");
        });
        EXPECT_EQ(found, frames) << size;
        EXPECT_EQ(text, *message == '\0' ? "" : std::string("a.bin: ") + message);
    }
}

TEST(Dump, ProposesSidesThatItsNameSaysAndItsSizeAllows) {
    const DumpLayout layout = layoutOf({});
    const std::string proposal = "; its name and size suggest --width 10 --height 4";
    EXPECT_EQ(proposalFor(layout, 80, "dir1x2/flat_10x4_a.bin"), proposal);
    EXPECT_EQ(proposalFor(layout, 160, "10x4.bin"), proposal);  // two frames
    for (const char* name : {"flat.bin", "10x4_5x8.bin", "10x5.bin", "x4.bin", "10x.bin", "0x4.bin",
                             "70000x4.bin", "99999999999x4.bin", "x"})
        EXPECT_EQ(proposalFor(layout, 80, name), "") << name;
}

/// Dumps on disk, imported as the program does.
class DumpFile : public testing::Test {
protected:
    Imported read(DumpSettings settings, const ImportOptions& more = {}) {
        ImportOptions options = more;
        options.from = "dump";
        options.dump = std::move(settings);
        return importPicture(FileKind::dump, openRegular(file), file, options);
    }
    std::string message(const DumpSettings& settings, const ImportOptions& more = {}) {
        return failure([&] { (void)read(settings, more); });
    }
    static Pixels pixels(const Imported& imported) {
        return lumo::test::Raster(
                   Image{imported.image->width, imported.image->height, imported.image->data})
            .pixels;
    }

    TempFolder folder;
    std::string file = folder / "flat.bin";
};

TEST_F(DumpFile, BringsFramesRowsAndWhatWasSaidIntoTheImage) {
    Bytes bytes = {9, 9, 9};  // a header
    for (int frame = 0; frame < 3; ++frame)
        for (int y = 0; y < 500; ++y) {
            for (int x = 0; x < 400; ++x) lumo::test::put(bytes, frame * 1000 + x + y - 300, 2);
            lumo::test::put(bytes, 0xFFFFFFFF, 4);  // padding
        }
    bytes.resize(bytes.size() - 4);
    lumo::test::writeFile(file, bytes);
    const DumpSettings settings = {{"width", "400"},          {"height", "500"}, {"bits", "14"},
                                   {"offset", "3"},           {"stride", "804"}, {"signed", "yes"},
                                   {"pitch", "139000,140000"}};
    EXPECT_EQ(message(settings), file + ": 3 frames; choose one with --frame 1 to 3");
    ImportOptions options;
    options.frame = 4;
    EXPECT_EQ(message(settings, options), file + ": 3 frames; there is no frame 4");
    options.frame = 3;
    const Imported imported = read(settings, options);
    Pixels expected;
    for (int y = 0; y < 500; ++y)
        for (int x = 0; x < 400; ++x) expected.push_back(std::uint16_t(2000 + x + y - 300 + 8192));
    EXPECT_EQ(pixels(imported), expected);
    EXPECT_EQ(imported.image->pixelsizeX, 139000U);
    EXPECT_EQ(imported.image->pixelsizeY, 140000U);
    EXPECT_EQ(imported.notes, std::vector<std::string>{"signed values; 8192 added"});
    const std::string text = imported.image->metaData;
    const std::string layout =
        "--width 400 --height 500 --bits 14 --offset 3 --stride 804 --signed";
    for (const std::string& line :
         {std::string("bits=14"), std::string("MaxPixValue=16383"), std::string("Format=dump"),
          std::string("Offset=8192"), std::string("Frame=3"), std::string("Frames=3"),
          "Layout=" + layout, "Step0=convert --from dump " + layout + " --frame 3"})
        EXPECT_NE(text.find('\n' + line + '\n'), std::string::npos) << line << " in " << text;
}

TEST_F(DumpFile, NamesThePlaceOfAValueWithMoreBits) {
    Bytes bytes(2 * 300 * 300, 0);
    bytes[2 * (300 * 222 + 111) + 1] = 0x40;
    lumo::test::writeFile(file, bytes);
    EXPECT_EQ(message({{"width", "300"}, {"height", "300"}, {"bits", "14"}}),
              file + ": the value in column 111, row 222 has bits outside its 14 up to bit 13");
    EXPECT_EQ(message({{"width", "300"}, {"height", "300"}}), "");
    EXPECT_EQ(message({{"width", "300"}}), file + ": --width and --height of a dump are needed");
}

TEST_F(DumpFile, ComesBackThroughItsSidecar) {
    lumo::test::ImageOwner image(70, 30);
    image->pixelsizeX = 139001;
    image->pixelsizeY = 1;
    std::vector<lumo::interchange::Entry> entries = {{"Import", "Format", "DICOM"},
                                                     {"Import", "Offset", "2048"},
                                                     {"Image_X", "bits", "12"},
                                                     {"PerformedSteps", "Step0", "a\nb"}};
    writeDump(*image.image, createFile(file), file);
    const std::string text = sidecarText(*image.image, 12, entries);
    ImportOptions options;
    options.sidecar = folder / "flat.ini";
    lumo::test::writeFile(options.sidecar, Bytes(text.begin(), text.end()));
    // The raster does not keep to the 12 bits that its sidecar promises; the option beats it.
    EXPECT_NE(message({}, options).find("has bits outside its 12"), std::string::npos);
    const Imported imported = read({{"bits", "16"}}, options);
    EXPECT_EQ(pixels(imported), image.pixels());
    EXPECT_EQ(imported.image->pixelsizeX, 139001U);
    EXPECT_EQ(imported.image->pixelsizeY, 1U);
    EXPECT_TRUE(imported.notes.empty());
    const std::string metadata = imported.image->metaData;
    for (const char* line : {"Format=DICOM", "Offset=2048", "bits=12"})
        EXPECT_NE(metadata.find(std::string("\n") + line + '\n'), std::string::npos) << metadata;
    EXPECT_EQ(metadata.find("Layout"), std::string::npos);

    const std::string broken = "[Dump]\nwidth=0\n";
    lumo::test::writeFile(options.sidecar, Bytes(broken.begin(), broken.end()));
    EXPECT_EQ(message({}, options), options.sidecar + ": width 0: not 1 to 65535");
    lumo::test::writeFile(options.sidecar, {});
    EXPECT_EQ(message({}, options), options.sidecar + ": has no section [Dump]");
    options.sidecar = folder / "missing.ini";
    EXPECT_EQ(message({}, options), options.sidecar + ": cannot be opened (" +
                                        std::generic_category().message(ENOENT) + ")");
}

TEST(Import, RecognisesFilesByTheirFirstBytes) {
    const auto kind = [](const char* name, const Bytes& bytes) {
        const void* const start = bytes.data();
        return recognise(
            {static_cast<const char*>(start), std::min<std::size_t>(bytes.size(), 132)},
            bytes.size(), name, {});
    };
    Bytes dicom(140, 0);
    const Bytes mark = {'D', 'I', 'C', 'M'};
    std::copy(mark.begin(), mark.end(), dicom.begin() + 128);
    EXPECT_EQ(kind("a", dicom), FileKind::dicom);
    EXPECT_EQ(kind("b", {'I', 'I', '*', 0, 1}), FileKind::tiff);
    EXPECT_EQ(kind("c", {'M', 'M', 0, '*', 1}), FileKind::tiff);
    EXPECT_EQ(kind("d", {'I', 'I', '+', 0, 1}), FileKind::tiff);
    EXPECT_EQ(kind("e", {'M', 'M', 0, '+', 1}), FileKind::tiff);
    EXPECT_EQ(kind("f", {'I', 'I', '*', 1, 1}), FileKind::own);
    EXPECT_EQ(kind("g", {}), FileKind::own);
    EXPECT_EQ(kind("h.DCM", {1, 2, 3, 4, 5, 6, 7, 8}), FileKind::dicom);
    EXPECT_EQ(kind("i.ima", {0x89, 'P', 'N', 'G', 13, 10, 26, 10}), FileKind::own);
    EXPECT_EQ(kind("h.dcm.raw", {1, 2, 3, 4, 5, 6, 7, 8}), FileKind::own);
    Bytes xyz = {'I', 'I', '*', 0};  // 18761 x 42 pixels
    xyz.resize(4 + 2 * 18761 * 42);
    EXPECT_EQ(kind("j", xyz), FileKind::own);
    xyz.push_back(0);
    EXPECT_EQ(kind("k", xyz), FileKind::tiff);
}

TEST(Import, RefusesOptionsThatSayNothingToAFile) {
    const TempFolder folder;
    const std::string file = folder / "a.raw";
    lumo::test::writeFile(file, {1, 0, 1, 0, 7, 7});
    const auto message = [&](auto change) {
        ImportOptions options;
        change(options);
        return failure([&] {
            checkImportOptions(options);
            refuseUseless(options, options.from == "tiff" ? FileKind::tiff : FileKind::own, file);
        });
    };
    EXPECT_EQ(message([](ImportOptions& o) { o.frame = 2; }),
              file + ": --frame is for TIFF and DICOM files and dumps");
    EXPECT_EQ(message([](ImportOptions& o) { o.monochrome2 = true; }),
              file + ": --monochrome2 is for TIFF and DICOM files");
    EXPECT_EQ(message([](ImportOptions& o) {
                  o.from = "tiff";
                  o.keep = "all";
              }),
              file + ": --keep is for DICOM files");
    EXPECT_EQ(message([](ImportOptions& o) { o.dump["width"] = "7"; }),
              "--width describes a dump: --from dump is missing");
    EXPECT_EQ(message([](ImportOptions& o) { o.sidecar = "a.ini"; }),
              "--sidecar describes a dump: --from dump is missing");
}

}  // namespace
