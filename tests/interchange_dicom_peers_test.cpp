// DICOM files of another system's programs, through the helper program itself: every encoding of
// one picture gives the same values, and what the helper writes the others read.
#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>

#include "cli/files/export.h"
#include "cli/files/helper.h"
#include "cli/files/import.h"
#include "cli/metadata.h"
#include "interchange/dicom/files.h"
#include "support/support.h"

namespace {

using namespace lumo::cli;
using lumo::test::Bytes;
using lumo::test::Raster;
using lumo::test::TempFolder;

constexpr int width = 64, height = 40;

bool run(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

class DicomPeers : public testing::Test {
protected:
    void SetUp() override {
        if (!run("dump2dcm --version") || !run("dcmcjpls --version"))
            GTEST_SKIP() << "the programs of DCMTK are not installed";
    }

    /// A digital radiograph to be processed, of 14 bits, of somebody.
    std::string radiograph(const std::string& more = "") {
        raster = lumo::test::noise(width, height);
        Bytes words;
        for (std::uint16_t& pixel : raster.pixels) {
            pixel = std::uint16_t(pixel >> 2);
            lumo::test::put(words, pixel, 2);
        }
        lumo::test::writeFile(folder / "pixels", words);
        std::ofstream(folder / "dump")
            << "(0008,0005) CS [ISO_IR 100]\n"
               "(0008,0016) UI 1.2.840.10008.5.1.4.1.1.1.1.1\n(0008,0018) UI 1.2.3.4\n"
               "(0008,0060) CS [DX]\n(0008,0068) CS [FOR PROCESSING]\n"
               "(0008,0070) LO [Maker]\n(0010,0010) PN [Secret^Person]\n(0010,0020) LO [4711]\n"
               "(0018,0060) DS [81.5]\n(0018,1152) IS [3]\n(0018,1164) DS [0.139\\0.139]\n"
               "(0018,1411) DS [312.25]\n(0018,1405) IS [1500]\n"
               "(0020,000d) UI 1.2.3.5\n(0020,000e) UI 1.2.3.6\n"
               "(0028,0002) US 1\n(0028,0004) CS [MONOCHROME2]\n(0028,0010) US "
            << height << "\n(0028,0011) US " << width
            << "\n(0028,0100) US 16\n(0028,0101) US 14\n(0028,0102) US 13\n(0028,0103) US 0\n"
               "(0028,1040) CS [LIN]\n(0028,1041) SS 1\n(7fe0,0010) OW ="
            << folder / "pixels" << '\n'
            << more;
        EXPECT_TRUE(run("dump2dcm +te " + (folder / "dump") + ' ' + (folder / "a.dcm")));
        return folder / "a.dcm";
    }

    Imported read(const std::string& file, const ImportOptions& options = {}) {
        const Bytes bytes = lumo::test::readFile(file);
        const std::string start(bytes.begin(), bytes.end());
        const Descriptor input(::open(file.c_str(), O_RDONLY));
        return importPicture(recognise(start, bytes.size(), file, options), input, file, options,
                             place);
    }
    static Raster rasterOf(const Imported& picture) {
        return Raster(Image{picture.image->width, picture.image->height, picture.image->data});
    }

    TempFolder folder;
    Raster raster{1, 1};
    const HelperPlace place = {{LUMO_HELPERS}};
};

TEST_F(DicomPeers, EveryEncodingOfAPictureGivesTheSameValues) {
    const std::string file = radiograph(), other = folder / "b.dcm";
    EXPECT_EQ(rasterOf(read(file)), raster);
    constexpr const char* encoders[] = {"dcmcrle",     "dcmcjpeg +e1", "dcmcjpeg +el",
                                        "dcmcjpls",    "dcmcjpls +pc", "dcmconv +ti",
                                        "dcmconv +tb", "dcmconv +td",  "dcmconv +te -F"};
    for (const std::string encoder : encoders) {
        ASSERT_TRUE(run(encoder + ' ' + file + ' ' + other)) << encoder;
        EXPECT_EQ(rasterOf(read(other)), raster) << encoder;
    }
    ASSERT_TRUE(run("dcmcjpls +en +md 3 " + file + ' ' + other));
    const Imported lossy = read(other);
    EXPECT_NE(rasterOf(lossy), raster);
    EXPECT_NE(std::ranges::find(lossy.notes, "lossy compressed: not the detector's values"),
              lossy.notes.end());
}

TEST_F(DicomPeers, ReadWhatTheHelperWrites) {
    const std::string file = radiograph(), other = folder / "b.dcm", native = folder / "c.dcm";
    const Imported picture = read(file);
    constexpr std::pair<const char*, const char*> ways[] = {{"none", "dcmconv"},
                                                            {"rle", "dcmdrle"},
                                                            {"jpeg-lossless", "dcmdjpeg"},
                                                            {"jpeg-ls", "dcmdjpls"}};
    for (const auto& [compression, decoder] : ways) {
        lumo::interchange::Picture sent =
            lumo::interchange::readDicom(lumo::test::readFile(file), lumo::interchange::Request());
        {
            const Descriptor output = createFile(other);
            (void)writeByHelper(dicomHelper, other, *picture.image, sent, output,
                                {std::string("compression=") + compression}, nullptr, place);
        }
        ASSERT_TRUE(run(std::string(decoder) + ' ' + other + ' ' + native)) << decoder;
        EXPECT_EQ(rasterOf(read(native)), raster) << decoder;
        std::remove(other.c_str());
    }
}

TEST_F(DicomPeers, TheWayThroughPngAndBackLikeTheOriginalKeepsWhatBelongsToIt) {
    const std::string file = radiograph(), png = folder / "a.png", back = folder / "back.dcm";
    {
        const Imported picture = read(file);
        ASSERT_EQ(LumoWriteImage(picture.image.get(), png.c_str(), FormatPng), 0);
        const Bytes bytes = lumo::test::readFile(png);
        const std::string_view text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        for (const char* const secret : {"Secret", "Person", "4711"})
            EXPECT_EQ(text.find(secret), std::string_view::npos) << secret;
    }
    lmImage* made = nullptr;
    ASSERT_EQ(LumoReadImage(&made, png.c_str()), 0);
    const ImageHandle image(made);
    ASSERT_EQ(LumoAddPerformedStep(image.get(), "filter type=median_filter size=5"), 0);
    image->data[7] ^= 1;
    ExportOptions options;
    options.original = file;
    (void)exportByHelper(dicomHelper, image.get(), back, back, options, place);

    ImportOptions all;
    all.keep = "people,uids";
    const Imported picture = read(back, all);
    const auto entry = [&](const char* section, const char* key) {
        return metaValue(picture.image.get(), section, key, back);
    };
    raster.pixels[7] ^= 1;
    EXPECT_EQ(rasterOf(picture), raster);
    EXPECT_EQ(picture.image->pixelsizeX, 139000U);
    EXPECT_EQ(entry("DICOM", "ImagerPixelSpacing"), "0.139\\0.139");
    constexpr std::pair<const char*, const char*> kept[] = {{"KVP", "81.5"},
                                                            {"Exposure", "3"},
                                                            {"ExposureIndex", "312.25"},
                                                            {"RelativeXRayExposure", "1500"}};
    for (const auto& [key, value] : kept) EXPECT_EQ(entry("DICOM", key), value);
    EXPECT_EQ(entry("DICOM_Identity", "PatientName"), "Secret^Person");
    EXPECT_EQ(entry("DICOM_Identity", "StudyInstanceUID"), "1.2.3.5");
    EXPECT_TRUE(entry("DICOM_Identity", "SOPInstanceUID").starts_with("2.25."));
    EXPECT_EQ(entry("DICOM_Identity", "DerivationDescription"), "filter type=median_filter size=5");
    EXPECT_EQ(entry("PerformedSteps", "Step0"), "filter type=median_filter size=5");
}

}  // namespace
