// Statistics, histograms, profiles and raster operations, beside slow twins.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "image/pixel.h"
#include "support/support.h"

namespace lumo::test {
namespace {

using Counts = std::vector<std::uint32_t>;
using Pixels = std::vector<std::uint16_t>;

Roi wholeOf(const Raster& raster) {
    return {0, 0, raster.width - 1, raster.height - 1};
}

/// A region that leaves off what it can at the left and at the top, corners exchanged.
Roi innerOf(const Raster& raster) {
    return {raster.width - 1, raster.height - 1, raster.width / 3, raster.height / 4};
}

Pixels pixelsIn(const Raster& raster, Roi region) {
    Pixels pixels;
    for (int y = std::min(region.y1, region.y2); y <= std::max(region.y1, region.y2); ++y)
        for (int x = std::min(region.x1, region.x2); x <= std::max(region.x1, region.x2); ++x)
            pixels.push_back(raster.at(x, y));
    return pixels;
}

Counts countsOf(const Pixels& pixels) {
    Counts counts(greyValues);
    for (const std::uint16_t pixel : pixels) ++counts[pixel];
    return counts;
}

/// A raster of one row.
Raster rowOf(const Pixels& pixels) {
    Raster raster(static_cast<int>(pixels.size()), 1);
    raster.pixels = pixels;
    return raster;
}

void expectStatistics(const ImageValue& value, const Pixels& pixels) {
    const auto count = static_cast<long double>(pixels.size());
    std::uint64_t sum = 0;
    for (const std::uint16_t pixel : pixels) sum += pixel;
    const long double mean = static_cast<long double>(sum) / count;
    long double squares = 0;
    for (const std::uint16_t pixel : pixels) squares += (pixel - mean) * (pixel - mean);
    const auto sigma = static_cast<double>(std::sqrt(squares / count));
    EXPECT_EQ(value.size, 24U);
    EXPECT_EQ(value.min, std::ranges::min(pixels));
    EXPECT_EQ(value.max, std::ranges::max(pixels));
    EXPECT_EQ(value.mean, static_cast<double>(sum) / static_cast<double>(pixels.size()));
    EXPECT_NEAR(value.sigma, sigma, 1e-12 * sigma);
}

std::uint16_t meanOf(const Pixels& pixels) {
    std::uint64_t sum = 0;
    for (const std::uint16_t pixel : pixels) sum += pixel;
    return static_cast<std::uint16_t>(sum / pixels.size());
}

TEST(Measure, StatisticsHistogramsAndProfilesEqualTheirTwins) {
    atEveryLevelAndSize([](const Raster& original) {
        Raster raster = original;
        const Image image = raster.image();
        const Roi inner = innerOf(raster);
        const Pixels region = pixelsIn(raster, inner);
        ImageValue value{};
        ASSERT_EQ(Get_ImageValue(image, &value), 0);
        expectStatistics(value, raster.pixels);
        ASSERT_EQ(Get_ImageValueRoi(image, inner, &value), 0);
        expectStatistics(value, region);

        Counts counts(greyValues, 77);
        ASSERT_EQ(Make_Histogram(image, counts.data()), 0);
        EXPECT_EQ(counts, countsOf(raster.pixels));
        ASSERT_EQ(Make_HistogramRoi(image, inner, counts.data()), 0);
        EXPECT_EQ(counts, countsOf(region));

        Pixels columns, rows;
        for (int x = inner.x2; x <= inner.x1; ++x)
            columns.push_back(meanOf(pixelsIn(raster, {x, inner.y2, x, inner.y1})));
        for (int y = inner.y2; y <= inner.y1; ++y)
            rows.push_back(meanOf(pixelsIn(raster, {inner.x2, y, inner.x1, y})));
        Pixels profile(columns.size());
        ASSERT_EQ(Make_XScan(image, inner, profile.data()), 0);
        EXPECT_EQ(profile, columns);
        profile.resize(rows.size());
        ASSERT_EQ(Make_YScan(image, inner, profile.data()), 0);
        EXPECT_EQ(profile, rows);
        EXPECT_EQ(raster, original);
    });
}

TEST(Measure, SumsOfLargeRastersAreExact) {
    constexpr int side = 4100, wide = 9000;  // more than 2^24 pixels; more columns than one block
    for (const std::uint16_t grey : Pixels{0, 255, 32767, 32768, 65535}) {
        Raster square(side, side, grey), strip(wide, 1900, grey);
        ImageValue value{};
        EXPECT_EQ(Get_ImageValue(square.image(), &value), 0);
        EXPECT_EQ(value.mean, grey);
        EXPECT_EQ(value.sigma, 0.0);
        Counts counts(greyValues);
        EXPECT_EQ(Make_Histogram(square.image(), counts.data()), 0);
        EXPECT_EQ(counts[grey], std::uint32_t{side} * side);
        Pixels profile(wide);
        EXPECT_EQ(Make_XScan(strip.image(), wholeOf(strip), profile.data()), 0);
        EXPECT_EQ(profile, Pixels(wide, grey));
        EXPECT_EQ(Make_YScan(strip.image(), wholeOf(strip), profile.data()), 0);
        EXPECT_EQ(profile[1899], grey);
        strip.pixels.back() ^= 1;
        EXPECT_EQ(Get_ImageValue(strip.image(), &value), 0);
        const double share = 1.0 / (wide * 1900.0);
        EXPECT_NEAR(value.sigma, std::sqrt(share * (1 - share)), 1e-15);
    }
}

TEST(Measure, RejectsWhatItCannotMeasure) {
    Raster raster = noise(9, 7);
    Counts counts(greyValues, 5);
    Pixels profile(9, 5);
    const Image image = raster.image(), missing{9, 7, nullptr}, flat{0, 7, raster.pixels.data()};
    const ImageValue before{1, 2, 3, 4.0, 5.0};
    ImageValue value = before;
    const auto expectAll = [&](const Image& on, Roi region, int code) {
        EXPECT_EQ(Get_ImageValueRoi(on, region, &value), code);
        EXPECT_EQ(Get_ImageValueLimRoi(on, region, &value, 0, 0), code);
        EXPECT_EQ(Make_HistogramRoi(on, region, counts.data()), code);
        EXPECT_EQ(Make_HistogramScaledRoi(on, region, counts.data(), 4, 0, 0, 9), code);
        EXPECT_EQ(Make_XScan(on, region, profile.data()), code);
        EXPECT_EQ(Make_YScan(on, region, profile.data()), code);
        EXPECT_EQ(Write_ImageRoi("/dev/null", on, region), code);
    };
    for (const Roi& outside : {Roi{0, 0, 9, 6}, Roi{0, 0, 8, 7}, Roi{-1, 0, 8, 6}, Roi{0, -1, 8, 6},
                               Roi{INT32_MIN, 0, INT32_MAX, 6}})
        expectAll(image, outside, -50);
    expectAll(missing, {0, 0, 8, 6}, -50);
    expectAll(flat, {0, 0, 0, 6}, -50);
    EXPECT_EQ(Make_HistogramScaledRoi(image, {5, 5, 3, 3}, counts.data(), 4, 0, 0, 9), -50);
    for (const Image& empty : {missing, flat}) {
        EXPECT_EQ(Make_Histogram(empty, counts.data()), -50);
        EXPECT_EQ(Make_HistogramScaled(empty, counts.data(), 0, 0, 0, 9), -50);
        EXPECT_EQ(Get_ImageValueLim(empty, &value, 0, 0), -50);
    }
    EXPECT_EQ(Make_HistogramScaled(image, counts.data(), 0, 0, 0, 9), -2);
    EXPECT_EQ(Make_HistogramScaled(image, counts.data(), 4, 0, 9, 8), -2);
    EXPECT_EQ(Get_ImageValue(missing, &value), -50);
    EXPECT_EQ(value.mean, before.mean);
    EXPECT_EQ(counts, Counts(greyValues, 5));
    EXPECT_EQ(profile, Pixels(9, 5));

    EXPECT_EQ(Get_ImageValue(image, nullptr), -2);
    EXPECT_EQ(Get_ImageValueLim(image, nullptr, 0, 0), -2);
    EXPECT_EQ(Make_Histogram(image, nullptr), -2);
    EXPECT_EQ(Make_HistogramScaled(image, nullptr, 4, 0, 0, 9), -2);
    EXPECT_EQ(Get_HistoValue(image, 0, 0, nullptr, nullptr), -2);
    EXPECT_EQ(Make_XScan(image, wholeOf(raster), nullptr), -50);

    EXPECT_EQ(Get_ImageValue(flat, &value), 0);
    EXPECT_EQ(value.min, 65535);
    EXPECT_EQ(value.max, 0);
    EXPECT_EQ(value.mean + value.sigma, 0.0);
    EXPECT_EQ(Get_Pixel(image, 8, 6), raster.at(8, 6));
    EXPECT_EQ(Get_Pixel(image, 9, 6) + Get_Pixel(image, 8, 7) + Get_Pixel(missing, 0, 0), 0);
}

TEST(Measure, LimitsKeepTheirSpread) {
    struct Case {
        Pixels pixels;
        std::int32_t lowPpm, highPpm;
        int low, high;
        double mean;
    };
    const Case cases[] = {
        {{1000, 1005}, 0, 0, 984, 1021, 1002.5},
        {{10, 20}, 0, 0, 10, 36, 15},
        {{65530, 65534}, 0, 0, 65514, 65534, 65532},
        {{65519, 65519}, 0, 0, 65503, 65519, 65519},
        {{100, 116}, 0, 0, 100, 116, 108},
        {{0, 0, 0}, 0, 0, 0, 65535, 0},
        {{65535, 65535}, 0, 0, 0, 65535, 65535},
        {{0, 65535, 500, 40000}, 0, 0, 500, 40000, 20250},
        {{100, 200, 300, 400, 500}, -1, 200000, 0, 400, 250},
        {{100, 200, 300, 400, 500}, 199999, -7, 100, 65535, 300},
        {{100, 200, 300, 400, 500}, 200000, 0, 200, 500, 350},
        {{100, 200, 300, 400, 500}, 500000, 400000, 300 - 16, 300 + 16, 300},
    };
    for (const Case& given : cases) {
        Raster raster = rowOf(given.pixels);
        ImageValue value{}, region{};
        EXPECT_EQ(Get_ImageValueLim(raster.image(), &value, given.lowPpm, given.highPpm), 0);
        EXPECT_EQ(value.size, 24U);
        EXPECT_EQ(value.min, given.low);
        EXPECT_EQ(value.max, given.high);
        EXPECT_EQ(value.mean, given.mean);
        EXPECT_EQ(value.sigma, 0.0);
        raster = Raster(raster.width + 4, 1, 1);
        std::ranges::copy(given.pixels, raster.pixels.begin() + 4);
        EXPECT_EQ(Get_ImageValueLimRoi(raster.image(), {raster.width - 1, 0, 4, 0}, &region,
                                       given.lowPpm, given.highPpm),
                  0);
        EXPECT_EQ(region.min, given.low);
        EXPECT_EQ(region.max, given.high);
        EXPECT_EQ(region.mean, given.mean);
    }
}

TEST(Measure, LimitsAndSharesFollowTheSortedPixels) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        Raster raster = noise(61, 37, seed);
        Random random(seed);
        const auto ppm = static_cast<std::int32_t>(random.below(400000));
        Pixels sorted = raster.pixels;
        std::erase_if(sorted, [](int pixel) { return pixel == 0 || pixel == 65535; });
        std::ranges::sort(sorted);
        const auto beyond = static_cast<std::size_t>(61 * 37 * (ppm / 1e6));
        ImageValue value{};
        ASSERT_EQ(Get_ImageValueLim(raster.image(), &value, ppm, ppm), 0);
        EXPECT_EQ(value.min, sorted[beyond]);
        EXPECT_EQ(value.max, sorted[sorted.size() - 1 - beyond]);

        std::uint32_t low = 9, high = 9;
        const auto limit = static_cast<std::uint16_t>(random.below(65536));
        ASSERT_EQ(Get_HistoValue(raster.image(), limit, limit, &low, &high), 0);
        const auto upTo = std::ranges::upper_bound(sorted, limit) - sorted.begin();
        const auto from = sorted.end() - std::ranges::lower_bound(sorted, limit);
        EXPECT_EQ(low, upTo * 1000000 / (61 * 37));
        EXPECT_EQ(high, from * 1000000 / (61 * 37));
        ASSERT_EQ(Get_HistoValue(raster.image(), 65535, 0, &low, &high), 0);
        EXPECT_EQ(low, std::ssize(sorted) * 1000000 / (61 * 37));
        EXPECT_EQ(high, low);
        ASSERT_EQ(Get_HistoValue(raster.image(), 0, 65535, &low, &high), 0);
        EXPECT_EQ(low + high, 0U);
    }
    std::uint32_t low = 9, high = 9;
    EXPECT_EQ(Get_HistoValue(Image{3, 3, nullptr}, 1, 1, &low, &high), -50);
    EXPECT_EQ(low + high, 0U);
}

Counts scaled(Raster raster, int bins, int height, int lo, int hi) {
    Counts condensed(static_cast<std::size_t>(bins));
    EXPECT_EQ(
        Make_HistogramScaled(raster.image(), condensed.data(), static_cast<std::uint16_t>(bins),
                             static_cast<std::uint16_t>(height), static_cast<std::uint16_t>(lo),
                             static_cast<std::uint16_t>(hi)),
        0);
    return condensed;
}

TEST(Measure, CondensesHistograms) {
    // Grey value 100 once, 101 twice, ... 109 ten times.
    Pixels stairs;
    for (int i = 0; i < 10; ++i)
        stairs.insert(stairs.end(), static_cast<std::size_t>(i + 1),
                      static_cast<std::uint16_t>(100 + i));
    const Raster raster = rowOf(stairs);
    EXPECT_EQ(scaled(raster, 20, 0, 100, 109),
              (Counts{1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 10}));
    EXPECT_EQ(scaled(raster, 5, 0, 100, 109), (Counts{3, 7, 11, 15, 19}));
    EXPECT_EQ(scaled(raster, 3, 0, 100, 109), (Counts{6, 15, 34}));
    EXPECT_EQ(scaled(raster, 5, 100, 100, 109), (Counts{15, 36, 57, 78, 100}));
    EXPECT_EQ(scaled(raster, 2, 100, 200, 209), (Counts{0, 0}));
    EXPECT_EQ(scaled(raster, 1, 0, 109, 109), (Counts{10}));

    Raster grey = noise(70, 50);
    const Counts all = countsOf(grey.pixels), quarter = scaled(grey, 256, 0, 0, 65535);
    for (std::size_t i = 0; i < 256; ++i) {
        std::uint32_t sum = 0;
        for (std::size_t v = 0; v < 256; ++v) sum += all[256 * i + v];
        EXPECT_EQ(quarter[i], sum) << i;
    }
    // Whatever the numbers, the highest bin has the height: 3 / 10 * 10 is less than 3.
    for (int height = 1; height < 400; ++height) {
        const Counts bins = scaled(grey, 97, height, 0, 65535);
        EXPECT_EQ(std::ranges::max(bins), static_cast<std::uint32_t>(height));
    }
    Counts region(256), whole(256);
    EXPECT_EQ(Make_HistogramScaledRoi(grey.image(), wholeOf(grey), region.data(), 256, 40, 7, 9000),
              0);
    EXPECT_EQ(region, scaled(grey, 256, 40, 7, 9000));
}

TEST(RasterOperations, InvertsRastersLargerThanTheCaches) {
    const Raster from = noise(3001, 2801);
    Raster to(3001, 2801), expected = from;
    for (auto& pixel : expected.pixels) pixel = static_cast<std::uint16_t>(65535 - pixel);
    ASSERT_EQ(Invert_Image(Raster(from).image(), to.image()), 0);
    EXPECT_TRUE(to == expected);
}

TEST(RasterOperations, InvertAndCopyEqualTheirTwins) {
    atEveryLevelAndSize([](const Raster& original) {
        Raster from = original, to(original.width, original.height), twin = original;
        for (auto& pixel : twin.pixels) pixel = static_cast<std::uint16_t>(65535 - pixel);
        ASSERT_EQ(Invert_Image(from.image(), to.image()), 0);
        EXPECT_EQ(to, twin);
        EXPECT_EQ(from, original);
        ASSERT_EQ(Copy_Image(to.image(), from.image()), 0);
        EXPECT_EQ(from, twin);
        ASSERT_EQ(Invert_Image(from.image(), from.image()), 0);
        EXPECT_EQ(from, original);
    });
    Raster large(1500, 1401), inverted(1500, 1401, 3), other(1500, 1400);
    EXPECT_EQ(Invert_Image(large.image(), inverted.image()), 0);
    EXPECT_EQ(inverted, Raster(1500, 1401, 65535));
    for (auto* operation : {Invert_Image, Copy_Image}) {
        EXPECT_EQ(operation(large.image(), other.image()), -50);
        EXPECT_EQ(operation(Image{1500, 1401, nullptr}, large.image()), -50);
        EXPECT_EQ(operation(large.image(), Image{1500, 1401, nullptr}), -50);
        EXPECT_EQ(operation(Image{0, 5, large.pixels.data()}, Image{0, 5, large.pixels.data()}), 0);
    }
}

/// A record whose raster is freed with it.
struct OwnedImage : Image {
    OwnedImage() : Image{} {}
    explicit OwnedImage(const Raster& raster) : Image{} {
        Create_Image(static_cast<std::uint16_t>(raster.width),
                     static_cast<std::uint16_t>(raster.height), this);
        if (data != nullptr) std::ranges::copy(raster.pixels, data);
    }
    ~OwnedImage() { Destroy_Image(this); }
    OwnedImage(const OwnedImage&) = delete;
    OwnedImage& operator=(const OwnedImage&) = delete;
    [[nodiscard]] Raster raster() const {
        Raster copy(width, height);
        std::copy_n(data, copy.pixels.size(), copy.pixels.begin());
        return copy;
    }
};

TEST(RasterOperations, CropsToTheClippedRegion) {
    struct Case {
        Roi region, clipped;
    };
    constexpr std::int32_t lowest = INT32_MIN, highest = INT32_MAX;
    const Case cases[] = {
        {{90, 70, 150, 120}, {90, 70, 99, 79}},
        {{200, 5, 250, 10}, {99, 79, 99, 79}},
        {{5, 200, 10, 250}, {99, 79, 99, 79}},
        {{20, 30, 10, 25}, {10, 25, 20, 30}},
        {{-5, -6, 3, 2}, {0, 0, 3, 2}},
        {{-5, -6, -2, -2}, {0, 0, 0, 0}},
        {{-5, 7, -2, 9}, {0, 7, 0, 9}},
        {{0, 0, 99, 79}, {0, 0, 99, 79}},
        {{1, 0, 99, 79}, {1, 0, 99, 79}},
        {{lowest, lowest, highest, highest}, {0, 0, 99, 79}},
        {{40, 40, 40, 40}, {40, 40, 40, 40}},
        {{99, 79, 100, 80}, {99, 79, 99, 79}},
    };
    const Raster raster = noise(100, 80);
    for (const auto& [region, clipped] : cases) {
        Raster twin(clipped.x2 - clipped.x1 + 1, clipped.y2 - clipped.y1 + 1);
        twin.pixels = pixelsIn(raster, clipped);
        OwnedImage source(raster), fresh, reused(Raster(100, 90, 7));
        std::uint16_t* const block = reused.data;
        ASSERT_EQ(Crop_Image(&source, &fresh, region), 0);
        EXPECT_EQ(fresh.raster(), twin);
        ASSERT_EQ(Crop_Image(&source, &reused, region), 0);
        EXPECT_EQ(reused.raster(), twin);
        EXPECT_EQ(reused.data, block);
        EXPECT_EQ(source.raster(), raster);
        ASSERT_EQ(Crop_Image(&source, nullptr, region), 0);
        EXPECT_EQ(source.raster(), twin);
    }
    OwnedImage source(raster), tooNarrow(Raster(9, 20)), tooLow(Raster(20, 9)), none;
    for (OwnedImage* small : {&tooNarrow, &tooLow}) {
        const Raster before = small->raster();
        EXPECT_EQ(Crop_Image(&source, small, {0, 0, 9, 9}), -50);
        EXPECT_EQ(small->raster(), before);
    }
    Image flat{0, 80, source.data};
    EXPECT_EQ(Crop_Image(nullptr, &none, {0, 0, 1, 1}), -50);
    EXPECT_EQ(Crop_Image(&none, &source, {0, 0, 1, 1}), -50);
    EXPECT_EQ(Crop_Image(&flat, &none, {0, 0, 1, 1}), -50);
    EXPECT_EQ(none.data, nullptr);
}

TEST(RasterOperations, BinningEqualsItsTwin) {
    const auto expectTwin = [](Raster raster, int factorX, int factorY) {
        OwnedImage binned;
        ASSERT_EQ(Bin_Image(raster.image(), &binned, static_cast<std::uint8_t>(factorX),
                            static_cast<std::uint8_t>(factorY)),
                  0);
        Raster twin(raster.width / factorX, raster.height / factorY);
        for (int y = 0; y < twin.height; ++y)
            for (int x = 0; x < twin.width; ++x)
                twin.at(x, y) =
                    meanOf(pixelsIn(raster, {x * factorX, y * factorY, (x + 1) * factorX - 1,
                                             (y + 1) * factorY - 1}));
        ASSERT_EQ(binned.raster(), twin) << factorX << " x " << factorY;
    };
    atEveryLevelAndSize([&](const Raster& raster) {
        for (int factor = 1; factor <= 6; ++factor)
            for (const int other : {1, factor, 5}) expectTwin(raster, factor, other);
    });
    for (const std::uint16_t grey : Pixels{0, 32767, 32768, 65535})
        expectTwin(Raster(600, 511, grey), 255, 255);
    expectTwin(noise(4999, 23), 7, 11);
    expectTwin(noise(1003, 300), 255, 255);
    expectTwin(noise(1003, 300), 254, 3);

    Raster raster(5, 5);
    Image binned{};
    EXPECT_EQ(Bin_Image(raster.image(), &binned, 0, 2), -2);
    EXPECT_EQ(Bin_Image(raster.image(), &binned, 2, 0), -2);
    EXPECT_EQ(Bin_Image(raster.image(), nullptr, 2, 2), -2);
    EXPECT_EQ(Bin_Image(Image{5, 5, nullptr}, &binned, 2, 2), -50);
    EXPECT_EQ(binned.data, nullptr);
}

TEST(RasterOperations, WritesRegions) {
    const TempFolder folder;
    Raster raster = noise(900, 500);
    const Image image = raster.image();
    const std::string name = folder / "region.raw";
    for (const Roi& region :
         {Roi{3, 4, 3, 4}, wholeOf(raster), innerOf(raster), Roi{899, 0, 899, 499}}) {
        const Pixels pixels = pixelsIn(raster, region);
        const int width = std::abs(region.x2 - region.x1) + 1;
        Pixels words{static_cast<std::uint16_t>(width),
                     static_cast<std::uint16_t>(pixels.size() / static_cast<std::size_t>(width))};
        words.insert(words.end(), pixels.begin(), pixels.end());
        std::vector<std::uint8_t> bytes;
        for (const std::uint16_t word : words) {
            bytes.push_back(static_cast<std::uint8_t>(word & 255));
            bytes.push_back(static_cast<std::uint8_t>(word >> 8));
        }
        EXPECT_EQ(Write_ImageRoi(name.c_str(), image, region), 0);
        EXPECT_EQ(readFile(name), bytes);
    }
    EXPECT_EQ(Write_ImageRoi((folder / "none/region.raw").c_str(), image, wholeOf(raster)), -1);
    EXPECT_EQ(Write_ImageRoi(nullptr, image, wholeOf(raster)), -1);
    EXPECT_EQ(Write_ImageRoi("/dev/full", image, wholeOf(raster)), -16);
}

}  // namespace
}  // namespace lumo::test
