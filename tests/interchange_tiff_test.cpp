// TIFF files: every taken encoding gives the values as they are stored, everything else is refused
// with its own sentence, and what is written comes back.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>

#include "cli/system/descriptor.h"
#include "interchange/tiff_bytes.h"
#include "interchange/tiff_files.h"
#include "support/support.h"

namespace {

using namespace lumo::interchange;
using lumo::test::Bytes;
using lumo::test::letters;
using lumo::test::packed;
using lumo::test::Pixels;
using lumo::test::Raster;
using lumo::test::TiffBytes;
using Tags = std::vector<TiffBytes::Tag>;
using Options = std::map<std::string, std::string>;

/// Values of so many bits.
Raster valuesOf(int bits, int width, int height) {
    Raster raster = lumo::test::noise(width, height);
    for (std::uint16_t& pixel : raster.pixels) pixel = std::uint16_t(pixel >> (16 - bits));
    return raster;
}

/// Tags of a page; those that are there already are replaced.
Tags with(Tags tags, const Tags& changes) {
    for (const TiffBytes::Tag& change : changes) {
        std::erase_if(tags, [&](const auto& tag) { return tag.number == change.number; });
        if (!change.values.empty()) tags.push_back(change);
    }
    return tags;
}

/// Strips of three rows.
Tags stripTags(TiffBytes& file, const Raster& raster, int bits, bool bigEndian) {
    constexpr int rows = 3;
    std::vector<std::uint64_t> places, sizes;
    for (int top = 0; top < raster.height; top += rows) {
        Raster strip(raster.width, std::min(rows, raster.height - top));
        for (int y = 0; y < strip.height; ++y)
            for (int x = 0; x < strip.width; ++x) strip.at(x, y) = raster.at(x, top + y);
        const Bytes data = packed(strip, bits, bigEndian);
        places.push_back(file.block(data));
        sizes.push_back(data.size());
    }
    return {{256, 4, {std::uint64_t(raster.width)}},
            {257, 3, {std::uint64_t(raster.height)}},
            {258, 3, {std::uint64_t(bits)}},
            {262, 3, {1}},
            {273, file.placeType(), places},
            {278, 3, {rows}},
            {279, 4, sizes}};
}

/// Tiles of 32 x 16.
Tags tileTags(TiffBytes& file, const Raster& raster, int bits, bool bigEndian) {
    std::vector<std::uint64_t> places, sizes;
    for (int top = 0; top < raster.height; top += 16)
        for (int left = 0; left < raster.width; left += 32) {
            Raster tile(32, 16, 7);
            for (int y = 0; y < std::min(16, raster.height - top); ++y)
                for (int x = 0; x < std::min(32, raster.width - left); ++x)
                    tile.at(x, y) = raster.at(left + x, top + y);
            const Bytes data = packed(tile, bits, bigEndian);
            places.push_back(file.block(data));
            sizes.push_back(data.size());
        }
    return {{256, 3, {std::uint64_t(raster.width)}},
            {257, 4, {std::uint64_t(raster.height)}},
            {258, 3, {std::uint64_t(bits)}},
            {262, 3, {1}},
            {322, 3, {32}},
            {323, 3, {16}},
            {324, file.placeType(), places},
            {325, 4, sizes}};
}

class Tiff : public testing::Test {
protected:
    Picture read(const Bytes& bytes, const Options& options = {}) {
        lumo::test::writeFile(name, bytes);
        return readTiff(lumo::cli::openRegular(name).number(), Request(options));
    }
    Picture readFile(const Options& options = {}) {
        const lumo::cli::Descriptor file = lumo::cli::openRegular(name);
        return readTiff(file.number(), Request(options));
    }
    std::string refusal(const Bytes& bytes, const Options& options = {}) {
        lumo::test::writeFile(name, bytes);
        try {
            (void)readFile(options);
        } catch (const Refusal& refused) {
            return refused.what();
        }
        return "";
    }
    /// One page of 40 x 8 with changed tags.
    static Bytes page(const Tags& changes, int bits = 16) {
        TiffBytes file;
        const Tags tags = stripTags(file, valuesOf(bits, 40, 8), bits, false);
        file.page(with(tags, changes));
        return file.bytes();
    }
    static Pixels pixels(const Picture& picture) {
        return {picture.raster.get(), picture.raster.get() + picture.pixelCount()};
    }
    static std::string entry(const Description& description, const std::string& name) {
        for (const Entry& entry : description.entries)
            if (entry.section + '/' + entry.key == name) return entry.value;
        return "";
    }
    /// Writes a picture into the file.
    void write(const Picture& picture, const Options& options = {}) {
        const lumo::cli::Descriptor file = lumo::cli::createFile(name);
        EXPECT_TRUE(writeTiff(picture, file.number(), Request(options)).empty());
    }
    static Picture pictureOf(const Raster& raster) {
        Picture picture;
        picture.width = std::uint32_t(raster.width);
        picture.height = std::uint32_t(raster.height);
        picture.allocate();
        std::ranges::copy(raster.pixels, picture.raster.get());
        return picture;
    }

    lumo::test::TempFolder folder;
    std::string name = folder / "a.tif";
};

TEST_F(Tiff, GivesTheStoredValuesOfEveryDepthOrderAndLayout) {
    for (int bits = 8; bits <= 16; ++bits)
        for (const bool bigEndian : {false, true})
            for (const bool large : {false, true})
                for (const bool tiled : {false, true}) {
                    const Raster raster = valuesOf(bits, 71, 35);
                    TiffBytes file(bigEndian, large);
                    file.page(tiled ? tileTags(file, raster, bits, bigEndian)
                                    : stripTags(file, raster, bits, bigEndian));
                    lumo::test::writeFile(name, file.bytes());
                    const Picture picture = readFile();
                    ASSERT_EQ(picture.width, 71U);
                    ASSERT_EQ(picture.height, 35U);
                    EXPECT_EQ(picture.bits, bits);
                    EXPECT_EQ(pixels(picture), raster.pixels)
                        << bits << ' ' << bigEndian << large << tiled;
                }
}

TEST_F(Tiff, ShiftsSignedValuesAndTurnsOnlyOnRequest) {
    lumo::test::writeFile(name, page({{339, 3, {2}}, {262, 3, {0}}}));
    const Picture kept = readFile(), turned = readFile({{"monochrome2", "1"}});
    const Pixels stored = valuesOf(16, 40, 8).pixels;
    for (std::size_t i = 0; i < stored.size(); ++i) {
        const int value = static_cast<std::int16_t>(stored[i]) + 32768;
        ASSERT_EQ(kept.raster[i], value);
        ASSERT_EQ(turned.raster[i], 65535 - value);
    }
    EXPECT_EQ(entry(kept, "Import/Offset"), "32768");
    EXPECT_EQ(entry(kept, "Import/Turned"), "");
    EXPECT_EQ(entry(turned, "Import/Turned"), "1");
    EXPECT_EQ(kept.notes.at(1),
              "min is white: small values are meant bright; --monochrome2 turns them");
    lumo::test::writeFile(name, page({{262, 3, {0}}}, 12));
    EXPECT_EQ(readFile({{"monochrome2", "1"}}).raster[5], 4095 - valuesOf(12, 40, 8).pixels[5]);
    lumo::test::writeFile(name, page({}, 12));
    EXPECT_EQ(pixels(readFile({{"monochrome2", "1"}})), valuesOf(12, 40, 8).pixels);
}

TEST_F(Tiff, RefusesEachOtherKindInItsOwnWords) {
    const struct {
        Tags changes;
        const char* message;
    } cases[] = {
        {{{258, 3, {32}}, {339, 3, {3}}}, "32-bit floating point; values would have to be scaled"},
        {{{258, 3, {32}}}, "32 bits a pixel; lumo holds 16"},
        {{{258, 3, {1}}}, "1 bit a pixel; lumo takes 8 to 16"},
        {{{258, 3, {8}}, {339, 3, {2}}}, "signed values of 8 bits; lumo takes those of 16"},
        {{{339, 3, {6}}}, "complex numbers; lumo takes grey images"},
        {{{262, 3, {2}}, {277, 3, {3}}}, "colour (RGB); lumo takes grey images"},
        {{{262, 3, {3}}, {258, 3, {8}}, {320, 3, std::vector<std::uint64_t>(768, 5)}},
         "colour (palette); lumo takes grey images"},
        {{{277, 3, {2}}, {338, 3, {1}}},
         "2 samples a pixel (alpha, or channels); lumo takes grey images"},
        {{{259, 3, {7}}}, "compressed as JPEG, which is not supported"},
        {{{259, 3, {34925}}}, "compressed as LZMA, which is not supported"},
        {{{259, 3, {50000}}}, "compressed as Zstandard, which is not supported"},
        {{{259, 3, {4711}}}, "compressed as number 4711, which is not supported"},
        {{{274, 3, {6}}}, "stored turned (orientation 6)"},
        {{{256, 4, {70000}}, {257, 4, {2}}}, "70000 x 2 pixels; lumo holds 65535 a side"},
        {{{256, 4, {65535}}, {257, 4, {65535}}},
         "65535 x 65535 pixels; lumo holds less than 4 GiB"},
        {{{322, 4, {16384}}, {323, 4, {16384}}, {324, 4, {8}}, {325, 4, {100}}, {273, 4, {}}},
         "damaged (tiles of 536870912 bytes in a picture of 640)"},
        {{{273, 4, {8, 248, 700}}}, "ends early: 542 of 640 bytes of pixels"},
        {{{259, 3, {5}},
          {256, 4, {60000}},
          {257, 4, {30000}},
          {278, 3, {60000}},
          {273, 4, {8}},
          {279, 4, {100}}},
         "damaged (60000 x 30000 pixels in 750 bytes)"},
    };
    for (const auto& [changes, message] : cases) EXPECT_EQ(refusal(page(changes)), message);
    EXPECT_EQ(refusal({}).substr(0, 9), "damaged (");
    EXPECT_EQ(refusal({'I', 'I', '*', 0}).substr(0, 9), "damaged (");
    const Bytes packed = page({{259, 3, {5}}});  // noise is no LZW
    EXPECT_EQ(refusal(packed).substr(0, 9), "damaged (");
}

TEST_F(Tiff, ReadsOrRefusesFilesCutAnywhere) {
    const Bytes whole = page({{305, 2, letters("maker")}});
    EXPECT_EQ(refusal(whole), "");  // the last four bytes only say that no page follows
    for (std::size_t size = 0; size + 4 < whole.size(); size += 3)
        EXPECT_NE(refusal(Bytes(whole.begin(), whole.begin() + std::ptrdiff_t(size))), "") << size;
}

TEST_F(Tiff, ChoosesAPageAndTellsALoop) {
    TiffBytes file;
    std::vector<Raster> rasters;
    std::uint64_t first = 0;
    for (int i = 0; i < 3; ++i) {
        rasters.push_back(valuesOf(16, 40 + i, 8));
        const std::uint64_t place = file.page(stripTags(file, rasters.back(), 16, false));
        if (i == 0) first = place;
        file.page(with(stripTags(file, valuesOf(16, 20, 4), 16, false), {{254, 4, {1}}}));
    }
    lumo::test::writeFile(name, file.bytes());
    EXPECT_EQ(refusal(file.bytes()), "3 frames; choose one with --frame 1 to 3");
    EXPECT_EQ(refusal(file.bytes(), {{"frame", "4"}}), "3 frames; there is no frame 4");
    for (const int frame : {1, 3}) {
        const Picture picture = readFile({{"frame", std::to_string(frame)}});
        EXPECT_EQ(pixels(picture), rasters[std::size_t(frame) - 1].pixels);
        EXPECT_EQ(entry(picture, "Import/Frame"), std::to_string(frame));
        EXPECT_EQ(entry(picture, "Import/Frames"), "3");
    }
    file.setLink(first);
    for (const char* frame : {"0", "1"})
        EXPECT_EQ(refusal(file.bytes(), {{"frame", frame}}), "damaged (its pages form a loop)");
    file.setLink(file.bytes().size() - 2);
    EXPECT_EQ(refusal(file.bytes(), {{"frame", "1"}}).substr(0, 9), "damaged (");
    EXPECT_EQ(refusal(page({{254, 4, {1}}})), "holds reduced pages only");
}

TEST_F(Tiff, TakesThePitchFromTheResolution) {
    const auto resolution = [](std::uint64_t over, std::uint64_t under, std::uint64_t unit,
                               const std::string& text = "") {
        Tags tags = {{282, 5, {over, under}}, {283, 5, {over, under}}, {296, 3, {unit}}};
        if (!text.empty()) tags.push_back({270, 2, letters(text)});
        return tags;
    };
    const struct {
        Tags tags;
        std::uint32_t pitch;
        const char* source;
    } cases[] = {
        {{}, 100000, "assumed"},
        {resolution(100, 1, 3), 100000, "resolution"},
        {resolution(72, 1, 2), 352778, "resolution"},
        {with(resolution(254, 1, 2), {{296, 3, {}}}), 100000, "resolution"},
        {resolution(254, 1, 1), 100000, "assumed"},
        {resolution(0, 1, 3), 100000, "assumed"},
        {resolution(1, 0, 3), 100000, "assumed"},
        {resolution(4294967295, 1, 3), 100000, "assumed"},
        {resolution(15625, 1000000, 1, "ImageJ=1.5\nunit=nm\n"), 64, "ImageJ unit"},
        {resolution(20, 1, 1, "ImageJ=1.5\nunit=\\u00B5m\n"), 50, "ImageJ unit"},
        {resolution(20, 1, 1, "ImageJ=1.5\r\nimages=2\r\nunit=mm\r\n"), 50000, "ImageJ unit"},
        {resolution(20, 1, 1, "unit=mm\n"), 100000, "assumed"},
        {resolution(20, 1, 1, "ImageJ=1.5\nunit=pixel\n"), 100000, "assumed"},
    };
    for (const auto& [tags, pitch, source] : cases) {
        lumo::test::writeFile(name, page(tags));
        const Picture picture = readFile();
        EXPECT_EQ(picture.pitchX, pitch) << source;
        EXPECT_EQ(picture.pitchY, pitch);
        EXPECT_EQ(entry(picture, "Import/PitchFrom"), source);
        EXPECT_TRUE(picture.notes.empty());
    }
    lumo::test::writeFile(name, page({{282, 5, {100, 1}}, {283, 5, {50, 1}}, {296, 3, {3}}}));
    const Picture oblong = readFile();
    EXPECT_EQ(oblong.pitchX, 100000U);
    EXPECT_EQ(oblong.pitchY, 200000U);
}

TEST_F(Tiff, KeepsTextsOfOtherPrograms) {
    lumo::test::writeFile(name, page({{270, 2, letters("a plate\nof steel")},
                                      {271, 2, letters("Maker")},
                                      {272, 2, letters("Model 7")},
                                      {305, 2, letters("scan")},
                                      {306, 2, letters("2008:12:01 09:05:03")},
                                      {315, 2, letters("somebody")}}));
    const Picture picture = readFile();
    const std::pair<const char*, const char*> expected[] = {
        {"TIFF/ImageDescription", "a plate\nof steel"},
        {"TIFF/Make", "Maker"},
        {"TIFF/Model", "Model 7"},
        {"TIFF/Software", "scan"},
        {"TIFF/DateTime", "2008:12:01 09:05:03"},
        {"TIFF/Artist", "somebody"},
        {"Image/Source", "Maker Model 7"},
        {"Import/Format", "TIFF"}};
    for (const auto& [key, value] : expected) EXPECT_EQ(entry(picture, key), value) << key;
    EXPECT_EQ(picture.entries.size(), std::size(expected) + 1);  // and the pitch's source
}

TEST_F(Tiff, ComesBackWholeInEveryCompressionAndThroughOtherPrograms) {
    Raster raster = lumo::test::noise(211, 333);
    for (int y = 100; y < 300; ++y)  // something to pack
        for (int x = 0; x < 211; ++x) raster.at(x, y) = std::uint16_t(y < 150 ? x / 5 : 0);
    Picture picture = pictureOf(raster);
    picture.pitchX = 139001;
    picture.pitchY = 50000;
    picture.entries = {{"Image", "Creation Time", "Mon, 01 Dec 2008 09:05:03 GMT"},
                       {"Image", "Author", "somebody"},
                       {"Image_X", "bits", "14"},
                       {"Import", "Format", "DICOM"},
                       {"PerformedSteps", "Step0", "filter \"type=median_filter\"\nsize=3"}};
    const auto expectSame = [&](const std::string& what) {
        const Picture back = readFile();
        EXPECT_EQ(pixels(back), raster.pixels) << what;
        EXPECT_EQ(back.entries, picture.entries) << what;
        EXPECT_EQ(back.pitchX, picture.pitchX) << what;
        EXPECT_EQ(back.pitchY, picture.pitchY) << what;
        EXPECT_TRUE(back.notes.empty()) << what;
    };
    for (const char* compression : {"", "none", "lzw", "deflate", "packbits"}) {
        write(picture, {{"compression", compression}});
        const auto size = lumo::test::readFile(name).size();
        EXPECT_EQ(size < 211 * 333 * 2, *compression != '\0' && compression != std::string("none"))
            << compression;
        expectSame(compression);
    }
    write(picture);
    const std::string written = folder / "written.tif";
    std::filesystem::rename(name, written);
    for (const char* how :
         {"-c lzw", "-c lzw:2", "-c zip:2 -r 7", "-c packbits -t", "-B", "-8 -c zip",
          "-t -w 48 -l 80 -c none", "-c none -r 333", "-f lsb2msb -c none"}) {
        const std::string command = std::string("tiffcp ") + how + ' ' + written + ' ' + name;
        ASSERT_EQ(std::system(command.c_str()), 0) << command;
        expectSame(how);
    }
    EXPECT_THROW(write(picture, {{"compression", "jpeg"}}), Refusal);
    const lumo::cli::Descriptor full = lumo::cli::createFile("/dev/full");
    EXPECT_THROW((void)writeTiff(picture, full.number(), Request()), Refusal);
}

TEST_F(Tiff, PacksTheDifferencesOfNeighbours) {
    Raster raster(300, 200);
    for (std::size_t i = 0; i < raster.pixels.size(); ++i) raster.pixels[i] = std::uint16_t(37 * i);
    for (const char* compression : {"lzw", "deflate"}) {
        write(pictureOf(raster), {{"compression", compression}});
        // Without repetitions, the values themselves would not pack to half.
        EXPECT_LT(lumo::test::readFile(name).size(), 300 * 200 * 2 / 10) << compression;
        EXPECT_EQ(pixels(readFile()), raster.pixels);
    }
}

TEST_F(Tiff, KeepsThePitchToTheNanometre) {
    Picture picture = pictureOf(valuesOf(16, 2, 1));
    lumo::test::Random random(7);
    for (int i = 0; i < 200; ++i) {
        picture.pitchX = 1000 + random.below(999001);
        picture.pitchY = 1000 + std::uint32_t(i) * 5000;
        write(picture);
        const Picture back = readFile();
        ASSERT_EQ(back.pitchX, picture.pitchX);
        ASSERT_EQ(back.pitchY, picture.pitchY);
    }
    picture.pitchX = 999'999'937;
    const lumo::cli::Descriptor file = lumo::cli::createFile(name);
    const std::vector<std::string> notes = writeTiff(picture, file.number(), Request());
    ASSERT_EQ(notes.size(), 1U);
    EXPECT_TRUE(notes[0].starts_with("a pitch of 999999937 x 996000 nm reads back from TIFF as "));
}

}  // namespace
