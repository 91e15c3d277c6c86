// Statistics, histograms, profiles and raster operations, beside slow twins.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numeric>
#include <tuple>

#include "image/pixel.h"
#include "support/support.h"

namespace lumo::test {
namespace {

using Counts = std::vector<std::uint32_t>;

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

std::uint16_t meanOf(const Pixels& pixels) {
    return std::uint16_t(std::accumulate(pixels.begin(), pixels.end(), std::uint64_t{0}) /
                         pixels.size());
}

void expectStatistics(const ImageValue& value, const Pixels& pixels) {
    long double sum = 0, squares = 0;
    const auto count = static_cast<long double>(pixels.size());
    for (const std::uint16_t pixel : pixels) sum += pixel;
    for (const std::uint16_t pixel : pixels)
        squares += (pixel - sum / count) * (pixel - sum / count);
    const auto sigma = static_cast<double>(std::sqrt(squares / count));
    EXPECT_EQ(value.size, 24U);
    EXPECT_EQ(value.min, std::ranges::min(pixels));
    EXPECT_EQ(value.max, std::ranges::max(pixels));
    EXPECT_EQ(value.mean, static_cast<double>(sum) / static_cast<double>(count));
    EXPECT_NEAR(value.sigma, sigma, 1e-12 * sigma);
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
    constexpr int width = 9000, height = 1900;  // over 2^24 pixels, more columns than one block
    for (const std::uint16_t grey : Pixels{0, 255, 32767, 32768, 65535}) {
        Raster raster(width, height, grey);
        ImageValue value{};
        EXPECT_EQ(Get_ImageValue(raster.image(), &value), 0);
        expectStatistics(value, raster.pixels);
        Counts counts(greyValues);
        EXPECT_EQ(Make_Histogram(raster.image(), counts.data()), 0);
        EXPECT_EQ(counts[grey], std::uint32_t{width} * height);
        Pixels columns(width), rows(height);
        EXPECT_EQ(Make_XScan(raster.image(), wholeOf(raster), columns.data()), 0);
        EXPECT_EQ(columns, Pixels(width, grey));
        EXPECT_EQ(Make_YScan(raster.image(), wholeOf(raster), rows.data()), 0);
        EXPECT_EQ(rows, Pixels(height, grey));
        raster.pixels.back() ^= 1;
        EXPECT_EQ(Get_ImageValue(raster.image(), &value), 0);
        const double share = 1.0 / (double{width} * height);
        EXPECT_NEAR(value.sigma, std::sqrt(share * (1 - share)), 1e-15);
    }
}

TEST(Measure, RejectsWhatItCannotMeasure) {
    Raster raster = noise(9, 7);
    Counts counts(greyValues, 5);
    Pixels profile(9, 5);
    const Image image = raster.image(), missing{9, 7, nullptr}, flat{0, 7, raster.pixels.data()};
    ImageValue value{1, 2, 3, 4.0, 5.0};
    const auto expectAll = [&](const Image& on, Roi region, int code) {
        expectCodes(
            code,
            {Get_ImageValueRoi(on, region, &value), Get_ImageValueLimRoi(on, region, &value, 0, 0),
             Make_HistogramRoi(on, region, counts.data()),
             Make_HistogramScaledRoi(on, region, counts.data(), 4, 0, 0, 9),
             Make_XScan(on, region, profile.data()), Make_YScan(on, region, profile.data()),
             Write_ImageRoi("/dev/null", on, region)});
    };
    for (const Roi& outside : {Roi{0, 0, 9, 6}, Roi{0, 0, 8, 7}, Roi{-1, 0, 8, 6}, Roi{0, -1, 8, 6},
                               Roi{INT32_MIN, 0, INT32_MAX, 6}})
        expectAll(image, outside, -50);
    expectAll(missing, {0, 0, 8, 6}, -50);
    expectAll(flat, {0, 0, 0, 6}, -50);
    for (const Roi& exchanged : {Roi{5, 5, 3, 3}, Roi{5, 3, 3, 5}, Roi{3, 5, 5, 3}})
        EXPECT_EQ(Make_HistogramScaledRoi(image, exchanged, counts.data(), 4, 0, 0, 9), -50);
    for (const Image& empty : {missing, flat}) {
        EXPECT_EQ(Make_Histogram(empty, counts.data()), -50);
        EXPECT_EQ(Make_HistogramScaled(empty, counts.data(), 0, 0, 0, 9), -50);
        EXPECT_EQ(Get_ImageValueLim(empty, &value, 0, 0), -50);
    }
    EXPECT_EQ(Make_HistogramScaled(image, counts.data(), 0, 0, 0, 9), -2);
    EXPECT_EQ(Make_HistogramScaled(image, counts.data(), 4, 0, 9, 8), -2);
    EXPECT_EQ(Get_ImageValue(missing, &value), -50);
    EXPECT_EQ(std::tie(value.size, value.min, value.max, value.mean, value.sigma),
              std::make_tuple(1U, 2, 3, 4.0, 5.0));
    EXPECT_EQ(counts, Counts(greyValues, 5));
    EXPECT_EQ(profile, Pixels(9, 5));

    expectCodes(-2,
                {Get_ImageValue(image, nullptr), Get_ImageValueLim(image, nullptr, 0, 0),
                 Make_Histogram(image, nullptr), Make_HistogramScaled(image, nullptr, 4, 0, 0, 9),
                 Get_HistoValue(image, 0, 0, nullptr, nullptr)});
    EXPECT_EQ(Get_HistoValue(missing, 0, 0, nullptr, nullptr), -50) << "the raster comes first";
    EXPECT_EQ(Make_XScan(image, wholeOf(raster), nullptr), -50);

    EXPECT_EQ(Get_ImageValue(flat, &value), 0);
    EXPECT_EQ(value.min, 65535);
    EXPECT_EQ(value.max, 0);
    EXPECT_EQ(value.mean + value.sigma, 0.0);
    EXPECT_EQ(Get_Pixel(image, 8, 6), raster.at(8, 6));
    EXPECT_EQ(Get_Pixel(image, 9, 6) + Get_Pixel(image, 8, 7) + Get_Pixel(missing, 0, 0), 0);
}

TEST(Measure, LimitsKeepTheirSpread) {
    const Pixels five{100, 200, 300, 400, 500};
    const std::tuple<Pixels, std::int32_t, std::int32_t, int, int, double> cases[] = {
        {{1000, 1005}, 0, 0, 984, 1021, 1002.5},
        {{10, 20}, 0, 0, 10, 36, 15},
        {{16, 20}, 0, 0, 16, 36, 18},
        {{65530, 65534}, 0, 0, 65514, 65534, 65532},
        {{65519, 65519}, 0, 0, 65503, 65519, 65519},
        {{100, 116}, 0, 0, 100, 116, 108},
        {{0, 0, 0}, 0, 0, 0, 65535, 0},
        {{65535, 65535}, 0, 0, 0, 65535, 65535},
        {{0, 65535, 500, 40000}, 0, 0, 500, 40000, 20250},
        {five, -1, 200000, 0, 400, 250},
        {five, 199999, -7, 100, 65535, 300},
        {five, 200000, 0, 200, 500, 350},
        {five, 500000, 400000, 300 - 16, 300 + 16, 300}};
    for (const auto& [pixels, lowPpm, highPpm, low, high, mean] : cases) {
        ImageValue value{};
        EXPECT_EQ(Get_ImageValueLim(Raster(int(pixels.size()), 1, pixels).image(), &value, lowPpm,
                                    highPpm),
                  0);
        EXPECT_EQ(value.size, 24U);
        EXPECT_EQ(value.min, low);
        EXPECT_EQ(value.max, high);
        EXPECT_EQ(value.mean, mean);
        EXPECT_EQ(value.sigma, 0.0);
    }
}

TEST(Measure, LimitsAndSharesFollowTheSortedPixels) {
    for (std::uint64_t seed = 1; seed <= 20; ++seed) {
        Raster raster = noise(61, 37, seed);
        Random random(seed);
        const auto ppm = std::int32_t(random.below(400000));
        Pixels sorted;
        for (const Roi& region : {innerOf(raster), wholeOf(raster)}) {
            sorted = pixelsIn(raster, region);
            const auto beyond = std::size_t(double(sorted.size()) * (ppm / 1e6));
            std::erase_if(sorted, [](int pixel) { return pixel == 0 || pixel == 65535; });
            std::ranges::sort(sorted);
            ImageValue value{};
            ASSERT_EQ(Get_ImageValueLimRoi(raster.image(), region, &value, ppm, ppm), 0);
            EXPECT_EQ(value.min, sorted[beyond]);
            EXPECT_EQ(value.max, sorted[sorted.size() - 1 - beyond]);
        }

        std::uint32_t low = 9, high = 9;
        const auto limit = std::uint16_t(random.below(65536));
        ASSERT_EQ(Get_HistoValue(raster.image(), limit, limit, &low, &high), 0);
        const auto upTo = std::ranges::upper_bound(sorted, limit) - sorted.begin();
        const auto from = sorted.end() - std::ranges::lower_bound(sorted, limit);
        EXPECT_EQ(low, upTo * 1000000 / (61 * 37));
        EXPECT_EQ(high, from * 1000000 / (61 * 37));
        ASSERT_EQ(Get_HistoValue(raster.image(), 65535, 0, &low, &high), 0);
        EXPECT_EQ(low, std::ssize(sorted) * 1000000 / (61 * 37));
        EXPECT_EQ(high, low);
    }
    std::uint32_t low = 9, high = 9;
    ASSERT_EQ(Get_HistoValue(noise(61, 37).image(), 0, 65535, &low, &high), 0);
    EXPECT_EQ(low + high, 0U);
    low = high = 9;
    EXPECT_EQ(Get_HistoValue(Image{3, 3, nullptr}, 1, 1, &low, &high), -50);
    EXPECT_EQ(low + high, 0U);
}

Counts scaled(Raster raster, int bins, int height, int lo, int hi) {
    Counts whole(std::size_t(bins) + 1, 77), region = whole;
    const auto b = std::uint16_t(bins), h = std::uint16_t(height);
    const auto from = std::uint16_t(lo), to = std::uint16_t(hi);
    EXPECT_EQ(Make_HistogramScaled(raster.image(), whole.data(), b, h, from, to), 0);
    EXPECT_EQ(
        Make_HistogramScaledRoi(raster.image(), wholeOf(raster), region.data(), b, h, from, to), 0);
    EXPECT_EQ(whole, region);
    EXPECT_EQ(whole.back(), 77U);
    whole.pop_back();
    return whole;
}

TEST(Measure, CondensesHistograms) {
    // Grey value 100 once, 101 twice, ... 109 ten times.
    Raster stairs(55, 1);
    for (std::size_t i = 0, at = 0; i < 10; ++i)
        for (std::size_t k = 0; k <= i; ++k) stairs.pixels[at++] = std::uint16_t(100 + i);
    const std::tuple<int, int, int, int, Counts> cases[] = {
        {20, 0, 100, 109, {1, 2, 2, 3, 3, 4, 4, 5, 5, 6, 6, 7, 7, 8, 8, 9, 9, 10, 10, 10}},
        {5, 0, 100, 109, {3, 7, 11, 15, 19}},
        {3, 0, 100, 109, {6, 15, 34}},
        {5, 100, 100, 109, {15, 36, 57, 78, 100}},
        {2, 100, 200, 209, {0, 0}},
        {1, 0, 109, 109, {10}}};
    for (const auto& [bins, height, lo, hi, counts] : cases)
        EXPECT_EQ(scaled(stairs, bins, height, lo, hi), counts);

    const Raster grey = noise(70, 50);
    const Counts all = countsOf(grey.pixels), quarter = scaled(grey, 256, 0, 0, 65535);
    for (std::size_t i = 0; i < 256; ++i)
        EXPECT_EQ(quarter[i], std::accumulate(&all[256 * i], &all[256 * i] + 256, 0U)) << i;
    // Whatever the numbers, the highest bin has the height: 3 / 10 * 10 is less than 3.
    for (int height = 1; height < 400; ++height)
        EXPECT_EQ(std::ranges::max(scaled(grey, 97, height, 0, 65535)), std::uint32_t(height));
}

TEST(RasterOperations, InvertsRastersLargerThanTheCaches) {
    const Raster from = noise(3001, 2801);
    Raster to(3001, 2801), expected = from;
    for (auto& pixel : expected.pixels) pixel = static_cast<std::uint16_t>(65535 - pixel);
    ASSERT_EQ(Invert_Image(Raster(from).image(), to.image()), 0);
    EXPECT_TRUE(to == expected);
}

TEST(RasterOperations, InvertAndCopyEqualTheirTwins) {
    atEverySize([](const Raster& raster) {
        Raster twin = raster;
        for (auto& pixel : twin.pixels) pixel = std::uint16_t(65535 - pixel);
        expectGives(Invert_Image, raster, twin);
        expectGives(Copy_Image, raster, raster);
    });
    Raster large(1500, 1401), other(1500, 1400);
    const Image missing{1500, 1401, nullptr}, flat{0, 5, large.pixels.data()};
    for (auto* operation : {Invert_Image, Copy_Image}) {
        EXPECT_EQ(operation(large.image(), other.image()), -50);
        EXPECT_EQ(operation(missing, large.image()), -50);
        EXPECT_EQ(operation(large.image(), missing), -50);
        EXPECT_EQ(operation(flat, flat), 0);
    }
    expectGives(Invert_Image, large, Raster(1500, 1401, 65535));
    for (const auto& [from, to] : {std::pair{0, 7}, {7, 0}}) {
        Raster overlapping = noise(100, 81);
        const Raster before = overlapping;
        std::uint16_t* const pixels = overlapping.pixels.data();
        EXPECT_EQ(Copy_Image({100, 80, pixels + from}, {100, 80, pixels + to}), 0);
        EXPECT_TRUE(std::equal(pixels + to, pixels + to + 8000, &before.pixels[std::size_t(from)]));
    }
}

TEST(RasterOperations, CropsToTheClippedRegion) {
    constexpr std::int32_t lowest = INT32_MIN, highest = INT32_MAX;
    const Roi whole{0, 0, 99, 79}, last{99, 79, 99, 79}, first{0, 0, 0, 0}, dot{40, 40, 40, 40};
    const std::pair<Roi, Roi> cases[] = {{whole, whole},
                                         {dot, dot},
                                         {{lowest, lowest, highest, highest}, whole},
                                         {{200, 5, 250, 10}, last},
                                         {{5, 200, 10, 250}, last},
                                         {{99, 79, 100, 80}, last},
                                         {{90, 70, 150, 120}, {90, 70, 99, 79}},
                                         {{1, 0, 99, 79}, {1, 0, 99, 79}},
                                         {{-5, -6, -2, -2}, first},
                                         {{-5, -6, 3, 2}, {0, 0, 3, 2}},
                                         {{-5, 7, -2, 9}, {0, 7, 0, 9}},
                                         {{20, 30, 10, 25}, {10, 25, 20, 30}}};
    const Raster raster = noise(100, 80);
    for (const auto& [region, clipped] : cases) {
        const Raster twin(clipped.x2 - clipped.x1 + 1, clipped.y2 - clipped.y1 + 1,
                          pixelsIn(raster, clipped));
        OwnedImage source(raster), fresh, reused(Raster(100, 90, 7));
        std::uint16_t* const block = reused.data;
        ASSERT_EQ(Crop_Image(&source, &fresh, region), 0);
        EXPECT_EQ(Raster(fresh), twin);
        ASSERT_EQ(Crop_Image(&source, &reused, region), 0);
        EXPECT_EQ(Raster(reused), twin);
        EXPECT_EQ(reused.data, block);
        EXPECT_EQ(Raster(source), raster);
        ASSERT_EQ(Crop_Image(&source, nullptr, region), 0);
        EXPECT_EQ(Raster(source), twin);
        EXPECT_LT(malloc_usable_size(source.data), 2 * twin.pixels.size() + 64) << "given back";
    }
    OwnedImage source(raster), none;
    for (const Raster& small : {Raster(9, 20), Raster(20, 9)}) {
        OwnedImage target(small);
        EXPECT_EQ(Crop_Image(&source, &target, {0, 0, 9, 9}), -50);
        EXPECT_EQ(Raster(target), small);
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
        ASSERT_EQ(Bin_Image(raster.image(), &binned, std::uint8_t(factorX), std::uint8_t(factorY)),
                  0);
        Raster twin(raster.width / factorX, raster.height / factorY);
        for (int y = 0; y < twin.height; ++y)
            for (int x = 0; x < twin.width; ++x)
                twin.at(x, y) =
                    meanOf(pixelsIn(raster, {x * factorX, y * factorY, (x + 1) * factorX - 1,
                                             (y + 1) * factorY - 1}));
        ASSERT_EQ(Raster(binned), twin) << factorX << " x " << factorY;
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
        Bytes bytes;
        put(bytes, width, 2);
        put(bytes, std::ssize(pixels) / width, 2);
        for (const std::uint16_t pixel : pixels) put(bytes, pixel, 2);
        EXPECT_EQ(Write_ImageRoi(name.c_str(), image, region), 0);
        EXPECT_EQ(readFile(name), bytes);
    }
    EXPECT_EQ(Write_ImageRoi((folder / "none/region.raw").c_str(), image, wholeOf(raster)), -1);
    EXPECT_EQ(Write_ImageRoi(nullptr, image, wholeOf(raster)), -1);
    EXPECT_EQ(Write_ImageRoi("/dev/full", image, wholeOf(raster)), -16);
}

}  // namespace
}  // namespace lumo::test
