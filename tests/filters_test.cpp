// Convolution, mean, median and unsharp masks beside loops written from their formulas.
#include "filters/filters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <tuple>

#include "support/support.h"

namespace lumo::test {
namespace {

/// A ramp with noise and an edge, as a detector would see it.
Raster radiograph(int width, int height) {
    Raster raster = noise(width, height, 3);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            raster.at(x, y) = std::uint16_t(3000 + 29 * x + 11 * y + (x > 40 ? 30000 : 0) +
                                            raster.at(x, y) % 150);
    return raster;
}

/// Every width from 1 to 70 at a height that differs from one to the next, some tall images and one
/// wider than any piece that a filter works on.
std::vector<Raster> manySizes() {
    std::vector<Raster> rasters;
    for (int width = 1; width <= 70; ++width) rasters.push_back(noise(width, 1 + width * 7 % 23));
    for (const int height : {31, 64, 97}) rasters.push_back(radiograph(height - 3, height));
    rasters.push_back(noise(1601, 9));
    return rasters;
}

struct Kernel {
    int width, height;
    std::vector<float> weights;

    Kernel(int w, int h, float weight) : width(w), height(h), weights(std::size_t(w * h), weight) {}
    [[nodiscard]] FImage image() {
        return {std::uint16_t(width), std::uint16_t(height), weights.data()};
    }
};

std::vector<Kernel> manyKernels() {
    std::vector<Kernel> kernels;
    Random random(1);
    for (const auto& [w, h] : std::initializer_list<std::pair<int, int>>{
             {1, 1}, {2, 2}, {3, 3}, {1, 4}, {5, 1}, {4, 3}, {5, 5}, {8, 9}, {3, 12}}) {
        kernels.emplace_back(w, h, 1.0F / static_cast<float>(w * h));
        for (float& weight : kernels.back().weights)
            weight *= static_cast<float>(random.below(1 << 20)) / 262144.0F - 1.0F;
    }
    return kernels;
}

/// The sums as they are defined, the source's values where the kernel would leave the image.
std::vector<float> sumsSlowly(const Raster& in, const Kernel& kernel) {
    std::vector<float> sums(in.pixels.begin(), in.pixels.end());
    const int kw = kernel.width, kh = kernel.height;
    const int lo = kw - 1 - kw / 2, hi = kw / 2, loY = kh - 1 - kh / 2, hiY = kh / 2;
    for (int y = loY; y < in.height - hiY; ++y)
        for (int x = lo; x < in.width - hi; ++x) {
            float s = 0.0F;
            for (int i = 0; i < kw; ++i)
                for (int j = 0; j < kh; ++j)
                    s = std::fma(float(in.at(x + i - lo, y + j - loY)),
                                 kernel.weights[std::size_t(j * kw + i)], s);
            sums[std::size_t(y * in.width + x)] = s;
        }
    return sums;
}

template <class Value>
Raster pixelsOf(const Raster& shape, const std::vector<Value>& values) {
    Raster raster(shape.width, shape.height);
    std::ranges::transform(values, raster.pixels.begin(), [](double v) {
        return std::uint16_t(v > 0.0 ? std::min(v, 65535.0) : 0.0);
    });
    return raster;
}

Raster windowsSlowly(const Raster& in, int n, std::uint16_t (*statistic)(Pixels&)) {
    Raster out = in;
    for (int y = 0; y < in.height - n; ++y)
        for (int x = 0; x < in.width - n; ++x) {
            Pixels window;
            for (int j = 0; j < n; ++j)
                for (int i = 0; i < n; ++i) window.push_back(in.at(x + i, y + j));
            out.at(x, y) = statistic(window);
        }
    return out;
}

Raster meanSlowly(const Raster& in, int n) {
    return windowsSlowly(in, n, [](Pixels& window) {
        const auto sum = std::accumulate(window.begin(), window.end(), std::uint64_t{0});
        return std::uint16_t(sum / window.size());
    });
}

Raster medianSlowly(const Raster& in, int n) {
    return windowsSlowly(in, n, [](Pixels& window) {
        const auto middle = window.begin() + std::ssize(window) / 2;
        std::nth_element(window.begin(), middle, window.end());
        return *middle;
    });
}

std::vector<float> blendSlowly(const std::vector<float>& first, const Raster& second, float v) {
    std::vector<float> result;
    const float a = -v, b = 1.0F + v;
    for (std::size_t i = 0; i < first.size(); ++i)
        result.push_back(float(double{a} * double{first[i]} + double{b} * second.pixels[i]));
    return result;
}

Raster stretchSlowly(const Raster& shape, const std::vector<float>& values) {
    const double low = *std::ranges::min_element(values), high = *std::ranges::max_element(values);
    if (low == high) return Raster(shape.width, shape.height);
    const auto gain = static_cast<float>(65535.0 / (high - low));
    std::vector<double> stretched;
    for (const float value : values) stretched.push_back((double{value} - low) * double{gain});
    return pixelsOf(shape, stretched);
}

Operation meanOf(int n) {
    return [n](Image source, Image destination) { return Mean_Image(destination, source, n); };
}

Operation medianOf(int n) {
    return [n](Image source, Image destination) { return Median_Image(destination, source, n); };
}

Operation convolved(Kernel& kernel) {
    return [&](Image source, Image destination) {
        return Convol_Image(source, destination, kernel.image());
    };
}

TEST(Convolution, EqualsItsFormula) {
    for (Raster& source : manySizes())
        for (Kernel& kernel : manyKernels()) {
            SCOPED_TRACE(testing::Message() << kernel.width << " x " << kernel.height << " on "
                                            << source.width << " x " << source.height);
            const std::vector<float> sums = sumsSlowly(source, kernel);
            expectGives(convolved(kernel), source, pixelsOf(source, sums));
            std::vector<float> floats(sums.size());
            const Image image = source.image();
            const FImage target{image.width, image.height, floats.data()};
            ASSERT_EQ(Convol_ImageF(image, target, kernel.image()), 0);
            ASSERT_EQ(floats, sums);
        }
}

TEST(Convolution, ClampsTruncatesAndMakesNanZero) {
    const std::tuple<float, std::uint16_t> cases[] = {
        {1.0F, 1000},       {1.23499F, 1234}, {66.0F, 65535}, {-1.0F, 0},
        {std::nanf(""), 0}, {1e38F, 65535},   {0.0009F, 0},   {65.5351F, 65535}};
    for (const auto& [weight, result] : cases) {
        Kernel kernel(1, 1, weight);
        expectGives(convolved(kernel), Raster(37, 3, 1000), Raster(37, 3, result));
    }
}

TEST(Mean, EqualsItsFormula) {
    for (const Raster& source : manySizes())
        for (int n = 1; n <= std::min(source.width, source.height); n += n < 9 ? 1 : 6)
            expectGives(meanOf(n), source, meanSlowly(source, n));
    // Sums beyond 32 bits, and the widest that still take the reciprocal.
    for (const int n : {180, 181, 182, 257}) {
        const Raster white(n + 2, n + 3, 65535);
        expectGives(meanOf(n), white, white);
    }
}

TEST(Mean, DividesExactlyForEveryWindow) {
    // Windows whose sums lie just below, at and above a multiple of the area.
    for (int n = 1; n <= 181; ++n) {
        Raster source(n + 1, n + 1, 0);
        for (const int value : {1, 2, 255, 32768, 65534, 65535}) {
            std::ranges::fill(source.pixels, std::uint16_t(value));
            source.at(0, 0) = std::uint16_t(value - 1);
            Raster out = source;
            ASSERT_EQ(Mean_Image(out.image(), source.image(), n), 0);
            ASSERT_EQ(out.at(0, 0), value - 1) << n;
        }
    }
}

TEST(Median, EqualsSorting) {
    for (const Raster& source : manySizes())
        for (int n = 1; n <= std::min(source.width, source.height); n += n < 18 ? 1 : 9)
            expectGives(medianOf(n), source, medianSlowly(source, n));
    // Several tiles of the largest windows; plateaus, full range and single outliers.
    for (const int n : {2, 5, 9, 16, 33, 64, 100, 255, 256}) {
        Raster source = noise(n + (n < 64 ? 150 : 40), n + 9, std::uint64_t(n));
        const Raster ramp = radiograph(source.width, source.height);
        for (int y = 0; y < source.height; ++y)
            for (int x = 0; x < source.width; ++x)
                if (x % 90 < 45) source.at(x, y) = x % 60 < 10 ? 65535 : ramp.at(x, y);
        expectGives(medianOf(n), source, medianSlowly(source, n));
    }
}

TEST(Median, HoldsOneGreyValueAndAllInATile) {
    // Heights that leave one row of windows for the last pass, and as many as are counted together.
    for (const auto& [width, height] : {std::pair{257, 257}, {300, 273}, {257, 272}}) {
        const Raster even(width, height, 500);
        for (const int n : {255, 256}) expectGives(medianOf(n), even, even);
    }
    Raster source(257, 272);
    for (std::size_t i = 0; i < source.pixels.size(); ++i)
        source.pixels[i] = static_cast<std::uint16_t>(i * 40503);
    expectGives(medianOf(256), source, medianSlowly(source, 256));
}

TEST(UnsharpMask, EqualsItsFormula) {
    for (const Raster& source : manySizes())
        for (const float strength : {0.0F, 1.7F, -0.4F}) {
            for (const int side : {1, 2, 5}) {
                Kernel kernel(side, side, 1.0F / static_cast<float>(side * side));
                const auto sharp = blendSlowly(sumsSlowly(source, kernel), source, strength);
                expectGives(
                    [&](Image from, Image to) {
                        return UnsharpMask(from, to, kernel.image(), strength);
                    },
                    source, stretchSlowly(source, sharp));
            }
            for (int n = 2; n <= std::min({source.width, source.height, 11}); n += 3) {
                const Raster blur = meanSlowly(source, n);
                const auto sharp =
                    blendSlowly({blur.pixels.begin(), blur.pixels.end()}, source, strength);
                expectGives(
                    [&](Image from, Image to) { return UnsharpMask2(from, to, n, strength); },
                    source, meanSlowly(pixelsOf(source, sharp), n / 2));
            }
        }
}

TEST(UnsharpMask, BlendsAndStretchesFloats) {
    Raster raster = noise(37, 5);
    Raster out(37, 5);
    std::vector<float> floats(raster.pixels.begin(), raster.pixels.end());
    for (float& value : floats) value = value * 0.37F - 9000.0F;
    const std::vector<float> expected = blendSlowly(floats, raster, 1.7F);
    const FImage image = {37, 5, floats.data()};
    EXPECT_EQ(Blend_FImage(image, image, raster.image(), -1.7F, 1.0F + 1.7F), 0);
    EXPECT_EQ(floats, expected);
    EXPECT_EQ(Stretch_FImage(out.image(), image), 0);
    EXPECT_EQ(out, stretchSlowly(raster, floats));
}

TEST(UnsharpMask, MakesKernelsOfEqualWeights) {
    const std::tuple<double, double, int, int> cases[] = {
        {2.7, 1.0, 5, 0},   {0.4, 1.0, 1, 0},      {0.0, 3.0, 1, 0},     {5.0, 1.0, 11, 0},
        {-0.1, 1.0, 0, -2}, {32768.0, 1.0, 0, -2}, {2100, 1.0, 4201, 0}, {std::nan(""), 1, 0, -2}};
    for (const auto& [radius, total, side, code] : cases) {
        FImage kernel = {};
        EXPECT_EQ(Make_UnsharpKernel(&kernel, radius, total), code) << radius;
        ASSERT_EQ(kernel.width, side) << radius;
        ASSERT_EQ(kernel.height, side) << radius;
        float sum = 0.0F;
        for (int i = 0; i < side * side; ++i) sum += 1.0F;
        const auto weight = static_cast<float>(total / double{sum});
        for (int i = 0; i < side * side; ++i) ASSERT_EQ(kernel.data[i], weight) << radius;
        Destroy_FImage(&kernel);
    }
}

TEST(Filters, RefuseAndLeaveTheDestination) {
    Raster a(8, 6, 5), b(8, 6, 9), other(6, 8, 9);
    float weight = 1.0F;
    std::vector<float> floats(48);
    const FImage kernel{1, 1, &weight}, none{1, 1, nullptr}, flat{1, 0, &weight};
    const FImage target{8, 6, floats.data()};
    const Image missing{8, 6, nullptr}, from = a.image(), to = b.image(), turned = other.image();
    expectCodes(-50,
                {Convol_Image(from, turned, kernel), Convol_Image(missing, to, none),
                 Convol_ImageF(from, {6, 8, floats.data()}, kernel),
                 UnsharpMask(from, turned, kernel, 1.0F), UnsharpMask2(from, missing, 2, 1.0F),
                 Mean_Image(to, turned, 2), Median_Image(to, missing, 2),
                 Blend_Image(to, from, turned, 1.0F, 1.0F),
                 Blend_FImage(target, target, turned, 1.0F, 1.0F), Stretch_FImage(turned, target)});
    expectCodes(-2, {Convol_Image(from, to, none), Convol_Image(from, to, flat),
                     Convol_ImageF(from, target, flat), UnsharpMask(from, to, none, 1.0F),
                     UnsharpMask2(from, to, 1, 1.0F), UnsharpMask2(from, to, 7, 1.0F),
                     Mean_Image(to, from, 0), Mean_Image(to, from, 7), Median_Image(to, from, -1),
                     Median_Image(to, from, 7)});
    EXPECT_EQ(b, Raster(8, 6, 9));
    Raster wide(300, 300);
    EXPECT_EQ(Median_Image(wide.image(), wide.image(), 257), -2);
    std::uint16_t pixel = 0;
    const Image empty{0, 5, &pixel};
    expectCodes(0, {Convol_Image(empty, empty, kernel), UnsharpMask(empty, empty, kernel, 1.0F),
                    UnsharpMask2(empty, empty, 2, 1.0F), Mean_Image(empty, empty, 3),
                    Median_Image(empty, empty, 3)});
    // A kernel that does not fit is laid nowhere.
    EXPECT_EQ(Convol_Image(from, to, Kernel(9, 1, 1.0F).image()), 0);
    EXPECT_EQ(b, a);
}

}  // namespace
}  // namespace lumo::test
