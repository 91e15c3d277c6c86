// Steps: their text, what they make of an image, and the history from which they can be made again.
#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <set>

#include "lumo_steps.h"
#include "support/support.h"

namespace lumo::test {
namespace {

/// A report that is freed with the object.
struct Report {
    LumoStepReport* report = nullptr;
    ~Report() { LumoDestroyStepReport(&report); }
    [[nodiscard]] LumoStepSummary get() const {
        LumoStepSummary summary{};
        summary.size = sizeof summary;
        EXPECT_EQ(LumoGetStepReport(report, &summary), 0);
        return summary;
    }
    [[nodiscard]] double value(const std::string& name) const {
        LumoStepValue value{};
        value.size = sizeof value;
        for (int i = 0; LumoGetStepValue(report, i, &value) == 0; ++i)
            if (name == value.name) return value.value;
        return NAN;
    }
};

struct History {
    LumoHistory* history = nullptr;
    explicit History(lmImage* image) { EXPECT_EQ(LumoReadHistory(image, &history), 0); }
    ~History() { LumoDestroyHistory(&history); }
    [[nodiscard]] int count() const { return LumoCountHistory(history); }
    [[nodiscard]] LumoHistoryStep at(int index) const {
        LumoHistoryStep step{};
        step.size = sizeof step;
        EXPECT_EQ(LumoGetHistoryStep(history, index, &step), 0);
        return step;
    }
};

/// Applies a step that has to succeed; gives its normal form.
std::string apply(lmImage* image, const std::string& text) {
    Report report;
    EXPECT_EQ(LumoApplyStep(image, text.c_str(), &report.report), 0)
        << text << ": " << report.get().message;
    return report.get().text;
}

std::string checked(const std::string& text) {
    Report report;
    EXPECT_EQ(LumoCheckStep(text.c_str(), 0, &report.report), 0) << report.get().message;
    return report.get().text;
}

/// A gain table of a reference with dead, weak and strong pixels.
void makeTable(const std::string& file, int width, int height) {
    Raster reference = noise(width, height, 5);
    for (std::uint16_t& value : reference.pixels)
        value = static_cast<std::uint16_t>(value / 8 + 3000);
    reference.pixels[0] = 0;
    reference.pixels[1] = 9;
    const ImageOwner owner(reference);
    ASSERT_EQ(CreateCalibrationData(owner.image, 3, 3, 50, 300, file.c_str()), 0);
}

std::string crcOf(const std::string& file) {
    const Bytes bytes = readFile(file);
    char text[9];
    std::snprintf(text, sizeof text, "%08lx",
                  crc32(0, bytes.data(), static_cast<unsigned>(bytes.size())));
    return text;
}

using Direct = std::function<int(const Image& from, OwnedImage& to)>;

/// A call that writes into a raster of the source's size.
Direct onto(const std::function<int(Image, Image)>& call) {
    return [call](const Image& from, OwnedImage& to) {
        Create_Image(from.width, from.height, &to);
        return call(from, to);
    };
}

Direct command(const char* text) {
    return onto(
        [text](Image from, Image to) { return SC_Filter_Image(from, to, 120000, 120000, text); });
}

TEST(Steps, EqualTheLibrarysOwnCalls) {
    const Raster source = noise(61, 47);
    const struct {
        const char *text, *recorded;
        Direct direct;
    } cases[] = {
        {"crop --roi 30,40,5,6", "crop --roi 30,40,5,6",
         [](const Image& from, OwnedImage& to) {
             Image whole = from;
             return Crop_Image(&whole, &to, {5, 6, 30, 40});
         }},
        {" bin\t--x=3 ", "bin --x 3 --y 2",
         [](const Image& from, OwnedImage& to) { return Bin_Image(from, &to, 3, 2); }},
        {"invert # all of it", "invert", onto(Invert_Image)},
        {"deflash --threshold 700", "deflash --threshold 700",
         onto([](Image from, Image to) { return Copy_Image(from, to) + DeFlash(to, 700); })},
        {"window --mode SQRT --hi 50000 --lo 9600", "window --lo 9600 --hi 50000 --mode sqrt",
         onto([](Image from, Image to) { return Opt_GreyscaleAbs(from, to, 9600, 50000, 1); })},
        {"window --limits 1000,20000 --invert --mirror --mode shifted-sqrt",
         "window --limits 1000,20000 --mode shifted-sqrt --invert --mirror",
         onto(
             [](Image from, Image to) { return Opt_GreyscaleLim(from, to, 1000, 20000, 0xC009); })},
        {"equalize", "equalize --limits 0,0",
         onto([](Image from, Image to) { return Equal_Histo(to, from, 0, 0); })},
        {"equalize --clipped --high 40000 --weight 20 --strength 90",
         "equalize --clipped --strength 90 --weight 20 --high 40000",
         onto([](Image from, Image to) {
             std::int32_t low = 0, high = 40000;
             return Equal_Histo3(to, from, 90, &low, &high, 0, 1, 20);
         })},
        {"rotate --angle -7.25", "rotate --angle -7.25",
         [](const Image& from, OwnedImage& to) { return RotationNewImage(from, &to, -7.25); }},
        {"shear --angle +4", "shear --angle 4",
         [](const Image& from, OwnedImage& to) { return Shear(from, &to, 4); }},
        {"filter size=5 TYPE=Median_Filter", "filter type=median_filter size=5",
         command("type=median_filter size=5")},
        {"filter type=unsharp_mask2 radius=0.50 value=+2",
         "filter type=unsharp_mask2 radius=0.5 value=2",
         command("type=unsharp_mask2 radius=0.5 value=2")},
        {"filter type=gauss_fd2 ab1=3 fbp0=1 preservezerofreq=1",
         "filter type=gauss_fd2 ab1=3 fbp0=1 preservezerofreq=1",
         command("type=gauss_fd2 ab1=3 fbp0=1 preservezerofreq=1")},
        {"filter type=histogramm_equal3 np=32", "filter type=histogramm_equal3 np=32",
         command("type=histogramm_equal3 np=32")},
    };
    for (const auto& [text, recorded, direct] : cases) {
        const ImageOwner image(source);
        image->pixelsizeX = image->pixelsizeY = 120000;
        Raster copy = source;
        OwnedImage expected;
        ASSERT_EQ(direct(copy.image(), expected), 0) << text;
        EXPECT_EQ(apply(image.image, text), recorded);
        EXPECT_TRUE(Raster(image.plain()) == Raster(expected)) << text;
        EXPECT_EQ(image.entry("PerformedSteps", "Step0"), recorded);
        EXPECT_EQ(checked(text), recorded);
        EXPECT_EQ(checked(recorded), recorded);
    }
}

TEST(Steps, TurnsAndMirrorsEqualTheRecordsOwnFunctions) {
    const struct {
        const char* text;
        std::function<int(lmImage*)> direct;
    } cases[] = {
        {"rotate --quarter 90", [](lmImage* image) { return LumoRotateImage(image, 90); }},
        {"rotate --quarter 180", [](lmImage* image) { return LumoRotateImage(image, 180); }},
        {"rotate --quarter 270", [](lmImage* image) { return LumoRotateImage(image, 270); }},
        {"mirror --horizontal", [](lmImage* image) { return LumoMirrorImage(image, 1, 0); }},
        {"mirror --vertical", [](lmImage* image) { return LumoMirrorImage(image, 0, 1); }},
        {"mirror --vertical --horizontal",
         [](lmImage* image) { return LumoMirrorImage(image, 1, 1); }},
    };
    for (const auto& [text, direct] : cases) {
        const ImageOwner step(67, 45), call(67, 45);
        for (const ImageOwner* each : {&step, &call}) {
            (*each)->pixelsizeX = 90000;
            each->set("Image", "Creation Time", "now");
        }
        apply(step.image, text);
        ASSERT_EQ(direct(call.image), 0);
        EXPECT_TRUE(Raster(step.plain()) == Raster(call.plain())) << text;
        EXPECT_EQ(step->pixelsizeX, call->pixelsizeX);
        EXPECT_EQ(step->pixelsizeY, call->pixelsizeY);
        // What the functions record of themselves is understood as the step, all else is equal.
        const History ofCall(call.image), ofStep(step.image);
        const bool halfTurn = std::strstr(text, "--vertical --horizontal") != nullptr;
        EXPECT_STREQ(ofCall.at(0).text, halfTurn ? "rotate --quarter 180" : ofStep.at(0).text);
        for (const ImageOwner* each : {&step, &call}) each->set("PerformedSteps", "Step0", "");
        for (const char* key :
             {"Rotation", "Mirror", "Width", "Height", "PixelsizeX", "PixelsizeY"})
            EXPECT_EQ(step.entry("Image_X", key), call.entry("Image_X", key)) << text << ' ' << key;
    }
}

TEST(Steps, RefuseWhatIsNotAllowedAndSayWhy) {
    const struct {
        const char *text, *message;
    } cases[] = {
        {"", "there is no step in the text"},
        {"# only a comment", "there is no step in the text"},
        {"widow --lo 1", "there is no step widow; did you mean window\\?"},
        {"Window --lo 1", "there is no step Window; did you mean window\\?"},
        {"calibrate \"a", ".*: a quote that is not closed.*"},
        {"calibrate \"\\q\"", ".*: a quote that is not closed.*"},
        {"invert now", "invert: not expected: now"},
        {"invert \"\x1b[2J\n\"", "invert: not expected: \"\\\\x1B\\[2J\\\\n\""},
        {"window --mdoe sqrt --limits 1,1",
         "window: there is no option --mdoe; did you mean --mode\\?"},
        {"window --lo 5", "window: --lo needs --hi"},
        {"window --lo 5 --hi", "window: --hi has no value"},
        {"window --lo 5 --hi --mode log", "window: --hi has no value"},
        {"window", "window: --lo or --limits is missing"},
        {"window --lo 5 --hi 5", "window: --lo 5 is not below --hi 5"},
        {"window --lo 5 --hi 9 --hi 10", "window: --hi is given twice"},
        {"window --lo 5 --hi 9 --limits 1,1", "window: --limits does not go together with --lo"},
        {"window --limits 1,1 --invert=1", "window: --invert takes no value"},
        {"window --limits 1", "window: --limits 1: not 2 whole numbers separated by commas"},
        {"window --limits 1,x", "window: --limits 1,x: no whole number"},
        {"window --limits 1,400001", "window: --limits 1,400001: outside 0 to 400000"},
        {"window --limits 1,1 --mode squrt",
         "window: --mode squrt: none of .*; did you mean sqrt\\?"},
        {"crop", "crop: --roi is missing"},
        {"crop --roi 1,2,3,-4", "crop: --roi 1,2,3,-4: outside 0 to 65534"},
        {"crop --roi 1,2,,4", "crop: --roi 1,2,,4: no whole number"},
        {"bin --x 0", "bin: --x 0: outside 1 to 255"},
        {"bin --x 3.7", "bin: --x 3.7: no whole number"},
        {"bin --x 99999999999999999999", "bin: --x 99999999999999999999: outside 1 to 255"},
        {"bin --x 010", "bin: --x 010: begins with a 0, which has two meanings"},
        {"equalize --strength 5", "equalize: --strength needs --clipped"},
        {"equalize --clipped --limits 0,0",
         "equalize: --limits does not go together with --clipped"},
        {"equalize --clipped --low 9 --high 3", "equalize: --low 9 is not below --high 3"},
        {"rotate", "rotate: --quarter, --angle or --straighten is missing"},
        {"rotate --quarter 45", "rotate: --quarter 45: none of 90, 180, 270"},
        {"rotate --quarter 90 --angle 3", "rotate: --quarter does not go together with --angle"},
        {"rotate --angle nan", "rotate: --angle nan: no number"},
        {"rotate --angle 0,5",
         "rotate: --angle 0,5: no number; it is written with a decimal point"},
        {"rotate --angle 1e999", "rotate: --angle 1e999: too large or too small a number"},
        {"rotate --angle 361", "rotate: --angle 361: outside -360 to 360"},
        {"shear --angle 90", "shear: --angle 90: outside -89 to 89"},
        {"mirror", "mirror: --horizontal or --vertical is missing"},
        {"calibrate", "calibrate: TABLE is missing"},
        {"calibrate \"\"", "calibrate: TABLE \"\": empty"},
        {"calibrate a.cal --crc 12345", "calibrate: --crc 12345: not eight hexadecimal digits"},
        {"filter size=5", "filter: type= is missing"},
        {"filter type=sharpen", "filter: type=sharpen: none of .*"},
        {"filter type=mean_fliter",
         "filter: type=mean_fliter: none of .*; did you mean mean_filter\\?"},
        {"filter type=median_filter siez=5",
         "filter: median_filter has no key siez; did you mean size=\\?"},
        {"filter type=median_filter radius=5", "filter: median_filter has no key radius"},
        {"filter type=median_filter size = 5", "filter: size: no blanks may stand around the ="},
        {"filter type=median_filter size= 5", "filter: size=: no blanks may stand around the ="},
        {"filter type=median_filter size=", "filter: size=\"\": no whole number"},
        {"filter type=median_filter size=5x3", "filter: size=5x3: no whole number"},
        {"filter type=median_filter size=3.7", "filter: size=3.7: no whole number"},
        {"filter type=median_filter size=257", "filter: size=257: outside 1 to 256"},
        {"filter type=median_filter size=3 size=5", "filter: size= is given twice"},
        {"filter type=mean_filter type=mean_filter", "filter: type= is given twice"},
        {"filter type=median_filter 5", "filter: 5: not of the form key=value"},
        {"filter type=unsharp_mask radius=abc", "filter: radius=abc: no number"},
        {"filter type=gauss_fd ftp=0", "filter: ftp=0: outside 1e-06 to 1000000"},
    };
    const ImageOwner image(9, 7);
    const Pixels before = image.pixels();
    const std::string entries = image->metaData;
    for (const auto& [text, message] : cases) {
        Report check, apply;
        EXPECT_EQ(LumoCheckStep(text, 0, &check.report), -2) << text;
        EXPECT_TRUE(matches(check.get().message, message)) << text << ": " << check.get().message;
        EXPECT_EQ(LumoApplyStep(image.image, text, &apply.report), -2) << text;
        EXPECT_STREQ(apply.get().message, check.get().message);
        EXPECT_EQ(apply.get().flags, 0U);
    }
    expectCodes(-2,
                {LumoCheckStep(nullptr, 0, nullptr), LumoApplyStep(image.image, nullptr, nullptr),
                 LumoApplyStep(image.image, "phantom", nullptr)});
    EXPECT_TRUE(image.pixels() == before && image->metaData == entries);
}

TEST(Steps, WhatDoesNotFitAnImageLeavesItAsItWas) {
    const TempFolder folder;
    makeTable(folder / "small.cal", 20, 15);
    writeFile(folder / "bad.cal", Bytes(99, 1));
    const struct {
        std::string text;
        int code;
        std::string message;
    } cases[] = {
        {"crop --roi 0,0,30,3", -50, "crop: --roi 0,0,30,3 leaves the picture of 30 x 20 pixels"},
        {"crop --roi 0,20,3,3", -50, "crop: --roi 0,20,3,3 leaves the picture of 30 x 20 pixels"},
        {"bin --y 21", -50, "bin: the picture of 30 x 20 pixels is smaller than one block"},
        {"filter type=mean_filter size=21", -2,
         "filter: the values do not fit a picture of 30 x 20 pixels"},
        {"rotate --angle 3", -50, "rotate: the pixels are not as wide as high .*"},
        {"rotate --straighten", -50, "rotate: the pixels are not as wide as high .*"},
        {"shear --angle 3", -50, "shear: the pixels are not as wide as high .*"},
        {"bin --x 20", -2, "bin: pixels of 2000000000 x 200000 nm would be larger .*"},
        {"calibrate " + (folder / "no.cal"), -1, "calibrate: .*/no.cal: .+"},
        {"calibrate " + (folder / "bad.cal"), -11,
         "calibrate: .*: cut short, or no calibration file"},
        {"calibrate " + (folder / "small.cal"), -50,
         "calibrate: .*: a table of 20 x 15 pixels does not fit the picture of 30 x 20 pixels; .*"},
        {"calibrate " + (folder / "small.cal") + " --crc 00000000 --partial", -11,
         "calibrate: .*: another table than the one meant: its CRC-32 is " +
             crcOf(folder / "small.cal") + ", not 00000000"},
    };
    const ImageOwner image(30, 20);
    image->pixelsizeX = 100000000;
    const Pixels before = image.pixels();
    const std::string entries = image->metaData;
    const std::uint16_t* address = image->data;
    for (const auto& [text, code, message] : cases) {
        Report report;
        lmtSetLastError(0);
        EXPECT_EQ(LumoApplyStep(image.image, text.c_str(), &report.report), code) << text;
        EXPECT_TRUE(matches(report.get().message, message)) << report.get().message;
        EXPECT_EQ(lmtGetLastError(), code);
    }
    EXPECT_TRUE(image.pixels() == before && image->metaData == entries && image->data == address);
    const ImageOwner flat(Raster(30, 20, 5000));
    expectCodes(-50, {LumoApplyStep(flat.image, "rotate --straighten", nullptr),
                      LumoApplyStep(nullptr, "invert", nullptr)});
    EXPECT_EQ(LumoCheckStep(("calibrate " + (folder / "no.cal")).c_str(), 1, nullptr), -1);
    EXPECT_EQ(LumoCheckStep(cases[11].text.c_str(), 1, nullptr), -11);
    EXPECT_EQ(LumoCheckStep(cases[11].text.c_str(), 0, nullptr), 0);
}

TEST(Steps, StraightenFindsEdgesOfADimAreaAndRefusesToGuess) {
    // Twelve bits: an area darker than a hand in it, but not so dark as what was not exposed.
    Raster upright(400, 300, 5);
    for (int y = 40; y < 260; ++y)
        for (int x = 50; x < 350; ++x)
            upright.at(x, y) = std::hypot(x - 200, y - 150) < 70 ? 4000 : 400;
    for (const double tilt : {-4.0, 2.5}) {
        OwnedImage turned;
        ASSERT_EQ(RotationNewImage(upright.image(), &turned, tilt), 0);
        const ImageOwner image{Raster(turned)};
        Report report;
        ASSERT_EQ(LumoApplyStep(image.image, "rotate --straighten", &report.report), 0);
        EXPECT_NEAR(report.value("angle"), -tilt, 0.2);
        EXPECT_TRUE(matches(report.get().text, "rotate --angle -?[0-9.]+"));
    }
    Raster disc(300, 300, 5);
    for (int y = 0; y < 300; ++y)
        for (int x = 0; x < 300; ++x)
            if (std::hypot(x - 100, y - 180) < 120) disc.at(x, y) = 4000;
    const ImageOwner round(disc);
    EXPECT_EQ(LumoApplyStep(round.image, "rotate --straighten", nullptr), -50);
}

TEST(Steps, ACalibrationNamesItsTableAndCountsWhatItDid) {
    const TempFolder folder;
    const std::string table = folder / "my \"gains\".cal";
    makeTable(table, 40, 30);
    Bytes bytes = readFile(table);
    bytes.push_back(7);  // bytes behind the table belong to the file
    writeFile(table, bytes);
    const auto code = [&](int x, int y) {
        return bytes[std::size_t(20 + 2 * (y * 40 + x))] | bytes[std::size_t(21 + 2 * (y * 40 + x))]
                                                               << 8;
    };
    for (const auto& [width, height, partial] :
         {std::tuple{40, 30, ""}, std::tuple{50, 20, " --partial"},
          std::tuple{3, 70, " --partial"}}) {
        Raster source = noise(width, height, 9);
        source.pixels[0] = source.pixels[1] = source.pixels[2] = 65535;
        const ImageOwner image(source), direct(source);
        Report report;
        const std::string text = "calibrate '" + table + "'" + partial;
        ASSERT_EQ(LumoApplyStep(image.image, text.c_str(), &report.report), 0)
            << report.get().message;
        ASSERT_EQ(CalibrateImage(direct.image, table.c_str()), 0);
        EXPECT_TRUE(image.pixels() == direct.pixels());
        EXPECT_EQ(image.entry("PerformedSteps", "Step0"), "calibrate \"" +
                                                              (folder / "my \\\"gains\\\".cal") +
                                                              "\" --crc " + crcOf(table) + partial);
        int covered = 0, lowest = 0, highest = 0, clamped = 0;
        for (int y = 0; y < std::min(height, 30); ++y)
            for (int x = 0; x < std::min(width, 40); ++x) {
                const auto gain = static_cast<float>(code(x, y) * (2.5 / 65535.0) + 0.5);
                ++covered;
                lowest += code(x, y) == 0;
                highest += code(x, y) == 65535;
                clamped += source.at(x, y) * static_cast<double>(gain) >= 65536.0;
            }
        EXPECT_LT(0, clamped);
        const std::vector<std::pair<const char*, double>> counts{
            {"corrected", covered},
            {"beyondTable", width * height - covered},
            {"atLowestGain", lowest},
            {"atHighestGain", highest},
            {"clamped", clamped}};
        for (const auto& [name, count] : counts) EXPECT_EQ(report.value(name), count) << name;
        EXPECT_EQ(report.get().noteCount, 0);
        ASSERT_EQ(LumoApplyStep(image.image, text.c_str(), &report.report), 0);
        ASSERT_EQ(report.get().noteCount, 1);
        EXPECT_TRUE(matches(LumoGetStepNote(report.report, 0), "already corrected .*"));
    }
}

TEST(Steps, RenewWhatTheMetadataRecordsAndNothingElse) {
    Raster source = noise(20, 12);
    std::ranges::replace(source.pixels, 65535, 65000);
    const ImageOwner image(source);
    for (const char* key :
         {"Width", "Res_X", "PixelsizeY", "Pixelsize", "MaxPix", "AvgPix", "bits"})
        image.set("Image_X", key, "7");
    image->maxPix = 9;
    apply(image.image, "bin --x 2 --y 3");
    ImageValue value{};
    Get_ImageValue(image.plain(), &value);
    const std::pair<const char*, std::string> entries[] = {
        {"Width", "10"},
        {"Height", ""},
        {"Res_X", "200000"},
        {"PixelsizeY", "300000"},
        {"Pixelsize", "0"},
        {"bits", "7"},
        {"MaxPix", std::to_string(value.max)},
        {"AvgPix", std::to_string(int(value.mean))}};
    for (const auto& [key, expected] : entries)
        EXPECT_EQ(image.entry("Image_X", key), expected) << key;
    EXPECT_EQ(image->maxPix, value.max);
    EXPECT_EQ(image->avgPix, 0);
    image.set("Image_X", "Pixelsize", "7");
    apply(image.image, "invert");
    EXPECT_EQ(image.entry("Image_X", "Pixelsize"), "7");
}

TEST(Steps, AHistoryOfEveryKindReplaysToTheBit) {
    const TempFolder folder;
    makeTable(folder / "gains of today.cal", 90, 70);
    Raster source(90, 70, 3000);
    const Raster grain = noise(90, 70, 3);
    for (int y = 12; y < 60; ++y)
        for (int x = 15 + y / 12; x < 75 + y / 12; ++x)
            source.at(x, y) = static_cast<std::uint16_t>(20000 + grain.at(x, y) / 4);
    const ImageOwner image(source), again(source);
    image.set("Image_X", "MaxPix", "1");
    again.set("Image_X", "MaxPix", "1");
    const std::string chain[] = {"calibrate \"" + (folder / "gains of today.cal") + '"',
                                 "deflash --threshold 9000",
                                 "rotate --straighten",
                                 "crop --roi 3,4,88,66",
                                 "filter type=median_filter",
                                 "filter type=gauss_fd2 ah0=0.5",
                                 "filter type=histogramm_equal low=1 high=-1",
                                 "mirror --vertical",
                                 "rotate --quarter 90",
                                 "window --limits 100,100 --mode log",
                                 "shear --angle -3.0625",
                                 "equalize --clipped",
                                 "invert",
                                 "rotate --angle 0.1",
                                 "bin",
                                 "mirror --horizontal"};
    for (const std::string& step : chain) apply(image.image, step);
    const History history(image.image);
    ASSERT_EQ(history.count(), static_cast<int>(std::size(chain)));
    for (int i = 0; i < history.count(); ++i) {
        const LumoHistoryStep step = history.at(i);
        EXPECT_EQ(step.number, unsigned(i));
        EXPECT_STREQ(step.reason, "");
        EXPECT_STREQ(step.text, step.recorded);
        EXPECT_TRUE(step.flags & LumoStepRepeatable) << step.text;
        EXPECT_EQ(apply(again.image, step.text), step.recorded);
    }
    EXPECT_TRUE(Raster(again.plain()) == Raster(image.plain()));
    again.set("Image", "Creation Time", image.entry("Image", "Creation Time").c_str());
    EXPECT_STREQ(again->metaData, image->metaData);
}

TEST(Steps, AHistorySaysWhatCannotBeAppliedAgain) {
    const ImageOwner image(4, 3);
    constexpr unsigned all = LumoStepRepeatable | LumoStepLinear | LumoStepHarmless;
    const struct {
        const char *recorded, *text, *reason;
        unsigned flags;
    } cases[] = {
        {"flat field of phantom --width 4 --height 3 --detector f.png",
         "phantom --width 4 --height 3 --seed 1 --pitch 100000 --detector f.png", "",
         LumoStepLinear | LumoStepHarmless | LumoStepSource},
        {"CalibrateImage(calibrationDataFileName=a (1).cal)", "calibrate \"a (1).cal\" --partial",
         "", all},
        {"CalibrateImage(calibrationDataFileName=--crc)", "calibrate ./--crc --partial", "", all},
        {"RotationNewImage(angle=-1.5)", "rotate --angle -1.5", "",
         LumoStepRepeatable | LumoStepLinear | LumoStepSides},
        {"LumoMirrorImage(h=0, v=7)", "mirror --vertical", "", all},
        {"LumoMirrorImage(h=0, v=0)", "", "there is no step .*", 0},
        {"LumoRotateImage(angle=45)", "", "rotate: --quarter 45: none of .*", 0},
        {"filter type=median_filter siez=5", "", "filter: median_filter has no key siez.*", 0},
        {"polished by hand\nand eye", "", "there is no step polished", 0},
        {"phantom", "phantom --width 1024 --height 1024 --seed 1 --pitch 100000",
         "begins a picture of its own", LumoStepLinear | LumoStepHarmless | LumoStepSource},
        {"window --lo 1 --hi 2", "window --lo 1 --hi 2 --mode linear", "", LumoStepRepeatable},
        {"filter type=unsharp_mask2", "filter type=unsharp_mask2", "",
         LumoStepRepeatable | LumoStepLinear | LumoStepFilterCommand},
    };
    int number = 3;
    for (const auto& each : cases)
        image.set("PerformedSteps", ("Step" + std::to_string(number += 4)).c_str(), each.recorded);
    image.set("PerformedSteps", "Stepx", "invert");
    const History history(image.image);
    ASSERT_EQ(history.count(), static_cast<int>(std::size(cases)));
    for (int i = 0; i < history.count(); ++i) {
        const auto& [recorded, text, reason, flags] = cases[i];
        const LumoHistoryStep step = history.at(i);
        EXPECT_EQ(step.number, unsigned(7 + 4 * i));
        EXPECT_STREQ(step.recorded, recorded);
        EXPECT_STREQ(step.text, text);
        EXPECT_TRUE(matches(step.reason, reason)) << step.reason;
        EXPECT_EQ(step.flags & ~unsigned{LumoStepSides | LumoStepPitch},
                  flags & ~unsigned{LumoStepSides})
            << recorded;
    }
}

TEST(Steps, AnyNameComesBackFromItsQuotes) {
    Random random(4);
    std::set<std::string> names{"a",  "a b", "#",  "a#",   "'",       "\"",
                                "\\", "\\n", "é€", "\xC3", "\xC2\x9B"};
    for (int i = 0; i < 500; ++i) {
        std::string name;
        for (unsigned k = 0; k <= random.below(12); ++k)
            name += random.below(2) != 0 ? static_cast<char>(1 + random.below(255))
                                         : " \\\"'#\n"[random.below(6)];
        if (!name.starts_with("--")) names.insert(name);
    }
    for (const std::string& name : names) {
        std::int32_t size = 0;
        ASSERT_EQ(LumoQuoteStepWord(name.c_str(), nullptr, &size), 0);
        std::string quoted(static_cast<std::size_t>(size), '?');
        std::int32_t less = size - 1;
        EXPECT_EQ(LumoQuoteStepWord(name.c_str(), quoted.data(), &less), -2);
        ASSERT_EQ(LumoQuoteStepWord(name.c_str(), quoted.data(), &size), 0);
        quoted.pop_back();
        for (const char c : quoted) EXPECT_TRUE(static_cast<unsigned char>(c) >= ' ' && c != 0x7F);
        EXPECT_EQ(quoted.find("\xC2\x9B"), std::string::npos);  // obeyed by terminals
        const std::string text = checked("calibrate " + quoted);
        EXPECT_EQ(text, "calibrate " + quoted);
        EXPECT_EQ(checked(text), text);
    }
}

/// Calls the check with each option of each step.
void forEachOption(const std::function<void(const LumoStepInfo&, const LumoOptionInfo&)>& check) {
    for (int i = 0; i < LumoCountSteps(); ++i) {
        LumoStepInfo step{};
        step.size = sizeof step;
        ASSERT_EQ(LumoDescribeStep(i, &step), 0);
        LumoOptionInfo option{};
        option.size = sizeof option;
        for (int k = 0; k < step.optionCount; ++k) {
            ASSERT_EQ(LumoDescribeStepOption(i, k, &option), 0);
            check(step, option);
        }
        expectCodes(-2, {LumoDescribeStepOption(i, step.optionCount, &option),
                         LumoDescribeStepOption(i, -1, &option)});
        for (std::string rest = step.examples; !rest.empty();) {
            const std::size_t end = std::min(rest.find('\n'), rest.size());
            const std::string example = checked(rest.substr(0, end));
            EXPECT_EQ(example.substr(0, example.find(' ')), step.name);
            rest.erase(0, end + 1);
        }
    }
}

TEST(StepTable, SaysWhatTheChecksDo) {
    forEachOption([](const LumoStepInfo& step, const LumoOptionInfo& option) {
        const std::string name = std::string(step.name) + ' ' + option.name;
        EXPECT_NE(*option.summary, '\0') << name;
        EXPECT_EQ(option.type == LumoOptionFlag, *option.value == '\0') << name;
        const bool number = option.type == LumoOptionInteger || option.type == LumoOptionReal;
        if (!number) return;
        EXPECT_LT(option.least, option.largest) << name;
        if ((option.flags & LumoOptionKey) == 0) return;
        std::string commands = option.commands;
        const std::string start =
            "filter type=" + commands.substr(0, commands.find(' ')) + ' ' + option.name + '=';
        const auto code = [&](double value) {
            char text[40];
            std::snprintf(text, sizeof text, "%.17g", value);
            return LumoCheckStep((start + text).c_str(), 0, nullptr);
        };
        expectCodes(0, {LumoCheckStep((start + option.standard).c_str(), 0, nullptr),
                        code(option.least), code(option.largest)});
        expectCodes(-2, {code(option.least - 1), code(option.largest + 1)});
    });
}

TEST(StepTable, HandsOutNoMoreThanARecordHolds) {
    LumoStepInfo info;
    std::memset(&info, 0x55, sizeof info);
    info.size = offsetof(LumoStepInfo, summary);
    ASSERT_EQ(LumoDescribeStep(0, &info), 0);
    EXPECT_EQ(info.size, offsetof(LumoStepInfo, summary));
    EXPECT_STREQ(info.name, "calibrate");
    EXPECT_EQ(info.reserved, 0x55555555);
    info.size = 4;
    expectCodes(
        -2, {LumoDescribeStep(0, &info), LumoDescribeStep(0, nullptr), LumoDescribeStep(-1, &info),
             LumoDescribeStep(LumoCountSteps(), &info), LumoGetStepReport(nullptr, nullptr),
             LumoGetStepValue(nullptr, 0, nullptr), LumoDestroyStepReport(nullptr),
             LumoDestroyHistory(nullptr), LumoGetHistoryStep(nullptr, 0, nullptr)});
    EXPECT_EQ(LumoReadHistory(nullptr, nullptr), -50);
    EXPECT_EQ(LumoGetStepNote(nullptr, 0), nullptr);
}

}  // namespace
}  // namespace lumo::test
