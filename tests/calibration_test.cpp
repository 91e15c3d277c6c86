// Calibration files and corrections: against slow twins at every level, and what is refused.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>

#include "calibration/gain_table.h"
#include "calibration/smooth_mean.h"
#include "support/support.h"

namespace lumo::test {
namespace {

Raster smoothedSlowly(const Raster& in, int kernelWidth, int kernelHeight) {
    const int hx = kernelWidth / 2, hy = kernelHeight / 2;
    const std::uint64_t count = std::uint64_t(2 * hx + 1) * std::uint64_t(2 * hy + 1);
    Raster out = in;
    for (int y = hy; y < in.height - hy; ++y)
        for (int x = hx; x < in.width - hx; ++x) {
            std::uint64_t sum = 0;
            for (int v = -hy; v <= hy; ++v)
                for (int u = -hx; u <= hx; ++u) sum += in.at(x + u, y + v);
            out.at(x, y) = static_cast<std::uint16_t>(sum / count);
        }
    return out;
}

/// The whole file, from the smoothed reference.
Bytes fileSlowly(const Raster& smoothed, std::uint32_t pitchX, std::uint32_t pitchY, int minPercent,
                 int maxPercent) {
    Bytes bytes;
    for (const int field : {1, smoothed.width, smoothed.height, 20}) put(bytes, field, 2);
    for (const std::uint32_t pitch : {pitchX, pitchY}) put(bytes, pitch, 4);
    for (const int limit : {minPercent, maxPercent}) put(bytes, limit, 2);
    const int bx = int(smoothed.width * 0.15000000596046448);
    const int by = int(smoothed.height * 0.15000000596046448);
    double sum = 0, count = 0;
    for (int y = by; y < smoothed.height - by; ++y)
        for (int x = bx; x < smoothed.width - bx; ++x) sum += smoothed.at(x, y), ++count;
    const auto mean = static_cast<float>(sum / count);
    const float lo = float(minPercent) / 100, hi = float(maxPercent) / 100;
    const double scale = 65535.0 / (double(hi) - double(lo));
    for (const std::uint16_t p : smoothed.pixels) {
        const float g = std::clamp(p == 0 ? 1.0F : mean / float(p), lo, hi);
        put(bytes, std::clamp(int((double(g) - double(lo)) * scale), 0, 65535), 2);
    }
    return bytes;
}

Raster correctedSlowly(const Raster& in, const Bytes& file) {
    const auto field = [&](std::size_t at) { return file[at] + 256 * file[at + 1]; };
    const int width = field(2), height = field(4);
    const float lo = float(field(16)) / 100, hi = float(field(18)) / 100;
    const double step = (double(hi) - double(lo)) / 65535.0;
    Raster out = in;
    for (int y = 0; y < std::min(in.height, height); ++y)
        for (int x = 0; x < std::min(in.width, width); ++x) {
            const int code = field(std::size_t(field(6)) +
                                   2 * (std::size_t(y) * std::size_t(width) + std::size_t(x)));
            const auto g = static_cast<float>(code * step + double(lo));
            out.at(x, y) = std::uint16_t(std::min(65535.0, std::floor(in.at(x, y) * double(g))));
        }
    return out;
}

int create(lmImage* reference, int width, int height, int low, int high, const std::string& name) {
    return CreateCalibrationData(reference, std::uint16_t(width), std::uint16_t(height),
                                 std::uint16_t(low), std::uint16_t(high), name.c_str());
}

TEST(SmoothMean, EqualsTheMeanOfUnsmoothedPixels) {
    const auto expectTwin = [](Raster in, int width, int height) {
        const Raster expected = smoothedSlowly(in, width, height);
        atEveryLevel([&] {
            Raster out = in;
            Smooth_Mean(out.image(), std::uint16_t(width), std::uint16_t(height));
            ASSERT_EQ(out, expected) << width << " x " << height;
        });
    };
    atEverySize([&](const Raster& in) {
        for (const auto& [width, height] : std::initializer_list<std::pair<int, int>>{
                 {0, 1}, {3, 3}, {5, 5}, {2, 7}, {1, 3}, {9, 7}, {3, 0}, {13, 12}, {65535, 3}})
            expectTwin(in, width, height);
    });
    // Windows of the brightest pixels where sums, counts and quotients are largest.
    Raster bright(186, 187, 65535);
    bright.at(93, 93) = 65534;
    for (const auto& [width, height] : {std::pair{7, 9},
                                        {11, 11},
                                        {15, 17},
                                        {31, 31},
                                        {79, 79},
                                        {181, 181},
                                        {183, 179},
                                        {185, 185}})
        expectTwin(bright, width, height);
}

TEST(Calibration, FileAndCorrectionEqualTheFormulas) {
    const TempFolder folder;
    const std::string name = folder / "gains.cal";
    // Some highest gains have code 65534, as the product falls short of 65535.
    const int cases[][4] = {{1, 1, 15, 200}, {3, 5, 0, 65535}, {0, 3, 99, 101}};
    atEveryLevelAndSize([&](const Raster& in) {
        for (const auto& [smoothWidth, smoothHeight, low, high] : cases) {
            ImageOwner reference(in);
            reference->pixelsizeX = 0x01020304;
            reference->pixelsizeY = 70000;
            std::filesystem::remove(name);  // some file systems flush what is written anew
            ASSERT_EQ(create(reference.image, smoothWidth, smoothHeight, low, high, name), 0);
            const Raster smoothed = smoothedSlowly(in, smoothWidth, smoothHeight);
            ASSERT_EQ(reference.pixels(), smoothed.pixels);
            const Bytes file = readFile(name);
            ASSERT_EQ(file, fileSlowly(smoothed, 0x01020304, 70000, low, high));
            // Images smaller, equal and larger than the table.
            for (const int more : {-4, 0, 9}) {
                const Raster exposure =
                    noise(std::max(in.width + more, 1), std::max(in.height + more, 1), 7);
                ImageOwner image(exposure);
                ASSERT_EQ(CalibrateImage(image.image, name.c_str()), 0);
                ASSERT_EQ(image.pixels(), correctedSlowly(exposure, file).pixels) << more;
            }
        }
    });
}

/// A table of more rows than are written or read at once, wider than the image, behind a longer
/// header.
TEST(Calibration, MakesLongTablesAndReadsThemBehindAnyHeader) {
    const TempFolder folder;
    const Raster smoothed = noise(700, 400);
    Bytes file = fileSlowly(smoothed, 100000, 100000, 53, 150);
    atEveryLevel([&] {
        ASSERT_EQ(create(ImageOwner(smoothed).image, 1, 1, 53, 150, folder / "c.cal"), 0);
        EXPECT_TRUE(readFile(folder / "c.cal") == file);
    });
    for (const int length : {20, 33, 6}) {
        Bytes changed = file;
        changed.at(6) = std::uint8_t(length);
        if (length > 20) changed.insert(changed.begin() + 20, std::size_t(length - 20), 0xAB);
        writeFile(folder / "c.cal", changed);
        const Raster exposure = noise(650, 390, 3);
        ImageOwner image(exposure);
        ASSERT_EQ(CalibrateImage(image.image, (folder / "c.cal").c_str()), 0);
        EXPECT_EQ(image.pixels(), correctedSlowly(exposure, changed).pixels) << length;
    }
}

TEST(Calibration, KeepsTheHistoryWhateverTheNamesLength) {
    const TempFolder folder;
    const std::string name = folder / std::string(200, 'n');
    ImageOwner image(5, 5);
    ASSERT_EQ(create(image.image, 1, 1, 50, 150, name), 0);
    EXPECT_EQ(image.entry("PerformedSteps", "Step0"), "") << "creating is no step of the reference";
    for (int i = 0; i < 2; ++i) ASSERT_EQ(CalibrateImage(image.image, name.c_str()), 0);
    for (const char* key : {"Step0", "Step1"})
        EXPECT_EQ(image.entry("PerformedSteps", key),
                  "CalibrateImage(calibrationDataFileName=" + name + ")");
}

TEST(Calibration, ChangesNothingWhenItRefuses) {
    const TempFolder folder;
    const std::string name = folder / "c.cal";
    const Raster in = noise(30, 20);
    ImageOwner image(in), empty(0, 0);
    const std::string metadata = image->metaData;
    const LogLines log;
    EXPECT_EQ(create(image.image, 3, 3, 100, 150, name), -2);
    EXPECT_EQ(create(image.image, 3, 3, 50, 100, name), -2);
    EXPECT_EQ(create(nullptr, 3, 3, 100, 100, name), -2) << "the limits come first";
    EXPECT_EQ(create(nullptr, 3, 3, 50, 150, name), -50);
    EXPECT_EQ(create(empty.image, 3, 3, 50, 150, name), -50);
    EXPECT_FALSE(std::filesystem::exists(name));

    EXPECT_EQ(CalibrateImage(image.image, name.c_str()), -1);
    EXPECT_EQ(CalibrateImage(image.image, nullptr), -1);
    EXPECT_EQ(CalibrateImage(nullptr, name.c_str()), -50);
    EXPECT_EQ(CalibrateImage(empty.image, name.c_str()), -50);
    EXPECT_EQ(CalibrateImage(image.image, "/dev/null"), -11) << "no header, no size";
    const Bytes whole = fileSlowly(in, 1, 1, 50, 150);
    for (const std::ptrdiff_t size : {0L, 19L, 20L, std::ssize(whole) - 1}) {
        writeFile(name, {whole.begin(), whole.begin() + size});
        EXPECT_EQ(CalibrateImage(image.image, name.c_str()), -11) << size;
    }
    Bytes farTable = whole;
    farTable[6] = 21;
    writeFile(name, farTable);
    EXPECT_EQ(CalibrateImage(image.image, name.c_str()), -11);
    EXPECT_EQ(image.pixels(), in.pixels);
    EXPECT_EQ(image->metaData, metadata);
    EXPECT_TRUE(log.lines().empty());
}

TEST(Calibration, SmoothsTheReferenceEvenIfTheFileFails) {
    const TempFolder folder;
    for (const auto& [name, code] :
         {std::pair{folder / "missing/c.cal", -1}, {std::string("/dev/full"), -16}}) {
        const Raster in = noise(30, 20);
        ImageOwner reference(in);
        EXPECT_EQ(create(reference.image, 3, 3, 50, 150, name), code);
        EXPECT_EQ(reference.pixels(), smoothedSlowly(in, 3, 3).pixels);
    }
}

}  // namespace
}  // namespace lumo::test
