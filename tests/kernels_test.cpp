// Every kernel runs at the level that a test forces: without that, the twins at every level would
// compare one copy with itself.
#include <gtest/gtest.h>

#include <map>
#include <mutex>
#include <set>

#include "calibration/smooth_mean.h"
#include "filters/filters.h"
#include "io/png_filter.h"
#include "io/png_unfilter.h"
#include "lumo_steps.h"
#include "platform/cpu_level.h"
#include "quality/local_median.h"
#include "support/pictures.h"

namespace lumo::test {
namespace {

using Names = std::set<std::string>;

/// The kernels that run while it is alive, with the levels of their copies; also those that the
/// band filter's workers run.
class KernelsRun {
public:
    KernelsRun() {
        levels().clear();
        observeKernels([](const char* kernel, CpuLevel level) {
            const std::lock_guard lock(mutex());
            levels()[kernel].insert(level);
        });
    }
    ~KernelsRun() { observeKernels(nullptr); }
    KernelsRun(const KernelsRun&) = delete;
    KernelsRun& operator=(const KernelsRun&) = delete;
    [[nodiscard]] static std::map<std::string, std::set<CpuLevel>>& levels() {
        static std::map<std::string, std::set<CpuLevel>> all;
        return all;
    }

private:
    static std::mutex& mutex() {
        static std::mutex one;
        return one;
    }
};

struct Family {
    std::function<void(Image from, Image to)> run;
    Names kernels;
};

void measureNoise(Image, Image) {
    Raster raster = picture(
        100, 90, [](int, int) { return 9000; }, 50);
    for (const std::uint32_t along : {0U, 1U}) {
        LumoSnrOptions options = sized<LumoSnrOptions>();
        options.along = along;
        LumoSnr snr = sized<LumoSnr>();
        ASSERT_EQ(LumoMeasureSnr(raster.image(), wholeOf(raster), &options, &snr), 0);
    }
}

void measureEdge(Image, Image) {
    Raster raster = picture(
        90, 80, [](int x, int y) { return x < 40 + y / 10 ? 9000 : 19000; }, 50);
    LumoMtf mtf = sized<LumoMtf>();
    ASSERT_EQ(LumoMeasureMtf(raster.image(), wholeOf(raster), 100000, 100000, nullptr, &mtf,
                             nullptr, nullptr),
              0);
}

void measureSpectrum(Image, Image) {
    Raster raster = picture(
        300, 260, [](int, int) { return 9000; }, 50);
    const double same[] = {0, 65535};
    LumoSignal signal = sized<LumoSignal>();
    signal.responseCount = 2;
    signal.responseGrey = signal.responseSignal = same;
    LumoNps* spectrum = nullptr;
    ASSERT_EQ(LumoNpsCreate(&spectrum, 100000, 100000, nullptr), 0);
    EXPECT_EQ(LumoNpsAdd(spectrum, raster.image(), nullptr, nullptr, nullptr), 0);
    EXPECT_EQ(LumoNpsAdd(spectrum, raster.image(), nullptr, &signal, nullptr), 0);
    LumoNpsDestroy(&spectrum);
}

void stackFrames(Image from, Image to) {
    LumoStack* stack = nullptr;
    ASSERT_EQ(LumoStackCreate(&stack, from.width, from.height, 1), 0);
    EXPECT_EQ(LumoStackAdd(stack, from), 0);
    EXPECT_EQ(LumoSubtractDark(from, from, to), 0);
    LumoStackDestroy(&stack);
}

void compareWithMedians(Image from, Image) {
    const std::vector<float> values(from.data, from.data + std::size_t{from.width} * from.height);
    std::size_t found = 0;
    LocalMedian(values, from.width, from.height, 9).forEachAbove(1, [&](std::size_t) { ++found; });
    EXPECT_GT(found, 0U);
}

std::function<void(Image, Image)> command(const std::string& text) {
    return [=](Image from, Image to) {
        ASSERT_EQ(SC_Filter_Image(from, to, 100000, 100000, text.c_str()), 0);
    };
}

std::function<void(Image, Image)> convolution(int side, bool unsharp) {
    return [=](Image from, Image to) {
        std::vector<float> weights(std::size_t(side) * std::size_t(side), 0.1F);
        const FImage kernel = {std::uint16_t(side), std::uint16_t(side), weights.data()};
        ASSERT_EQ(unsharp ? UnsharpMask(from, to, kernel, 1) : Convol_Image(from, to, kernel), 0);
    };
}

std::function<void(Image, Image)> smoothing(int side) {
    return [=](Image from, Image) { Smooth_Mean(from, std::uint16_t(side), std::uint16_t(side)); };
}

/// A turn by any angle or a bin, into a raster of its own.
template <class Make>
std::function<void(Image, Image)> into(Make make) {
    return [=](Image from, Image) {
        OwnedImage made;
        ASSERT_EQ(make(from, &made), 0);
    };
}

void calibrate(Image from, Image) {
    const TempFolder folder;
    const ImageOwner image{Raster(from)};
    ASSERT_EQ(CreateCalibrationData(image.image, 1, 1, 50, 200, (folder / "c").c_str()), 0);
    ASSERT_EQ(CalibrateImage(image.image, (folder / "c").c_str()), 0);
    ASSERT_EQ(LumoApplyStep(image.image, ("calibrate " + (folder / "c")).c_str(), nullptr), 0);
}

void mirror(Image from, Image) {
    const ImageOwner image{Raster(from)};
    ASSERT_EQ(LumoMirrorImage(image.image, 1, 0), 0);
    ASSERT_EQ(LumoMirrorImage(image.image, 0, 1), 0);
    ASSERT_EQ(LumoRotateImage(image.image, 180), 0);
}

void measure(Image from, Image) {
    const Roi region = {1, 1, 190, 60};
    ImageValue value{};
    std::uint16_t profile[200];
    ASSERT_EQ(Get_ImageValue(from, &value), 0);
    ASSERT_EQ(Make_XScan(from, region, profile), 0);
    ASSERT_EQ(Make_YScan(from, region, profile), 0);
}

void code(Image from, Image to) {
    std::vector<std::uint8_t> codes(std::size_t{from.width} * from.height);
    std::uint16_t white = 0;
    ASSERT_EQ(Convert_Image16_8(from.data, codes.data(), from.width, from.height, 0, &white), 0);
    ASSERT_EQ(Convert_Image8_16(codes.data(), to.data, from.width, from.height, white), 0);
}

void equalise(Image from, Image to) {
    std::int32_t low = 100, high = 60000;
    ASSERT_EQ(Equal_Histo3(to, from, 50, &low, &high, 1, 1, 50), 0);
}

/// PNG's filters, done and undone.
void filter(Image from, Image to) {
    const std::size_t rowSize = filteredRowSize(from.width, 16);
    std::vector<std::uint8_t> rows(rowSize * from.height + PngFilter::room);
    PngFilter filter(from.width);
    for (std::size_t y = 0; y < from.height; ++y)
        filter.filter(from.data + y * from.width, &rows[y * rowSize]);
    for (const int depth : {8, 16})
        ASSERT_TRUE(unfilterRows(rows.data(), depth, viewOf(to), 0, 1)) << depth;
}

int binBoth(Image from, Image* made) {
    const int code = Bin_Image(from, made, 2, 2);
    Destroy_Image(made);
    return code != 0 ? code : Bin_Image(from, made, 3, 3);
}

const std::vector<Family>& families() {
    const std::string band = " al0=0.5 ah0=0.8 ab1=2";
    const Names spectrum = {"squareFrequencies", "multiplySeparable", "multiplyBand",
                            "roundFactors",      "scaleRow",          "toPixels"};
    Names window = spectrum;
    window.insert({"widenExtent", "findBins"});
    static const std::vector<Family> all = {
        {measureNoise,
         {"sumGroupsOfRow", "sumGroupColumns", "collectMiddle", "widenExtremes", "addStatistics"}},
        {measureEdge, {"shiftSignal", "widenExtremes"}},
        {measureSpectrum,
         {"sumTrendOfPixels", "sumTrendOfSignal", "detrendPixels", "detrendSignal",
          "addBlockSquares", "addPowers", "addMirroredPowers", "widenExtremes"}},
        {stackFrames, {"stackSums", "stackSquares", "subtractDark"}},
        {compareWithMedians, {"countBeyond"}},
        {command("type=mean_filter size=5"), {"addRow", "addUp", "means"}},
        {command("type=median_filter size=3"), {"medianOfNetwork"}},
        {command("type=median_filter size=21"), {"moveShared", "moveMedian"}},
        {command("type=unsharp_mask2 radius=0.4"), {"addRow", "addUp", "means", "blendPixels"}},
        {command("type=gauss_fd2" + band), spectrum},
        {command("type=gauss_fd" + band), window},
        {convolution(3, false), {"toFloats", "sumBand", "storePixels"}},
        {convolution(5, true), {"toFloats", "sumBand", "blendHalves", "stretchHalves"}},
        {smoothing(7), {"smoothSmall"}},
        {smoothing(9), {"smoothMiddle"}},
        {smoothing(183), {"smoothLarge"}},
        {calibrate, {"encodeAtLevel", "correctAtLevel", "sumAtLevel", "countRow"}},
        {into([](Image from, Image* made) { return RotationNewImage(from, made, 7); }),
         {"rotateStripAtLevel"}},
        {into([](Image from, Image* made) { return Shear(from, made, 7); }), {"shearStripAtLevel"}},
        {filter, {"swapBytes", "sumMagnitudes", "applyFilter", "unfilterBytes", "unfilterWords"}},
        {into(binBoth), {"sumPairs", "sumColumns", "average"}},
        {[](Image from, Image) { EXPECT_NE(CalculateRotationAngle(from), 99); },
         {"scanColumnsAtLevel", "scanRowsAtLevel"}},
        {mirror, {"reverseEachAtLevel", "exchangeEachAtLevel", "reverseAllAtLevel"}},
        {measure, {"addStatistics", "columnMeans", "sumRow"}},
        {code, {"scaleMaximum", "widenInWholeNumbers"}},
        {equalise, {"clipRange", "addSquareRoots"}},
        {[](Image from, Image to) { ASSERT_EQ(Invert_Image(from, to), 0); },
         {"invertLinesAtLevel"}},
        {[](Image from, Image) { ASSERT_EQ(DeFlash(from, 9), 0); }, {"deflashRow"}}};
    return all;
}

TEST(Kernels, RunAtTheForcedLevelAndNoOther) {
    for (const CpuLevel level : supportedLevels())
        for (const Family& family : families()) {
            Raster from = noise(200, 190), to(200, 190);
            const ForcedLevel forced(level);
            const KernelsRun run;
            family.run(from.image(), to.image());
            Names names;
            for (const auto& [name, levels] : run.levels()) {
                names.insert(name);
                EXPECT_EQ(levels, std::set{level}) << name;
            }
            EXPECT_EQ(names, family.kernels);
        }
}

TEST(Kernels, AreNotReportedWhereNothingIsForced) {
    Raster from = noise(200, 190), to(200, 190);
    const KernelsRun run;
    for (const Family& family : families()) family.run(from.image(), to.image());
    EXPECT_TRUE(run.levels().empty());
}

}  // namespace
}  // namespace lumo::test
