// Convolution, mean, median and unsharp masks beside loops written from their formulas.
#include "filters/filters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>

#include "platform/cpu_level.h"
#include "support/support.h"

namespace lumo::test {
namespace {

using Filter = std::function<int(Image source, Image destination)>;

/// Compares a filter with the raster it should give: at every level, in two rasters and in place.
void expectFiltered(const Filter& filter, const Raster& source, const Raster& expected,
                    const std::string& what) {
    for (const CpuLevel level : supportedLevels()) {
        const ForcedLevel forced(level);
        Raster from = source, to(source.width, source.height, 7);
        ASSERT_EQ(filter(from.image(), to.image()), 0) << what;
        ASSERT_TRUE(to == expected && from == source)
            << what << ' ' << source.width << " x " << source.height << " at level "
            << static_cast<int>(level);
        ASSERT_EQ(filter(from.image(), from.image()), 0) << what;
        ASSERT_EQ(from, expected) << what << " in place " << source.width << " x " << source.height;
    }
}

/// A ramp with noise and an edge, as a detector would see it.
Raster radiograph(int width, int height) {
    Raster raster = noise(width, height, 3);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            raster.at(x, y) = static_cast<std::uint16_t>(
                3000 + 29 * x + 11 * y + (x > 40 ? 30000 : 0) + raster.at(x, y) % 150);
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

    Kernel(int w, int h, float scale) : width(w), height(h) {
        Random random(static_cast<std::uint64_t>(w * 100 + h));
        for (int i = 0; i < w * h; ++i)
            weights.push_back((static_cast<float>(random.below(1 << 20)) / 262144.0F - 1.0F) *
                              scale);
    }
    [[nodiscard]] FImage image() const {
        return {static_cast<std::uint16_t>(width), static_cast<std::uint16_t>(height),
                const_cast<float*>(weights.data())};
    }
};

std::vector<Kernel> manyKernels() {
    std::vector<Kernel> kernels;
    for (const auto& [w, h] : std::initializer_list<std::pair<int, int>>{
             {1, 1}, {2, 2}, {3, 3}, {1, 4}, {5, 1}, {4, 3}, {5, 5}, {8, 9}, {3, 12}})
        kernels.emplace_back(w, h, 1.0F / static_cast<float>(w * h));
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
            for (int i = -lo; i <= hi; ++i)
                for (int j = -loY; j <= hiY; ++j)
                    s = std::fma(static_cast<float>(in.at(x + i, y + j)),
                                 kernel.weights[static_cast<std::size_t>((j + loY) * kw + i + lo)],
                                 s);
            sums[static_cast<std::size_t>(y * in.width + x)] = s;
        }
    return sums;
}

template <class Value>
Raster pixelsOf(const Raster& shape, const std::vector<Value>& values) {
    Raster raster(shape.width, shape.height);
    std::ranges::transform(values, raster.pixels.begin(), [](double v) {
        return static_cast<std::uint16_t>(v > 0.0 ? std::min(v, 65535.0) : 0.0);
    });
    return raster;
}

template <class Statistic>
Raster windowsSlowly(const Raster& in, int n, Statistic&& statistic) {
    Raster out = in;
    for (int y = 0; y < in.height - n; ++y)
        for (int x = 0; x < in.width - n; ++x) {
            std::vector<std::uint16_t> window;
            for (int j = 0; j < n; ++j)
                for (int i = 0; i < n; ++i) window.push_back(in.at(x + i, y + j));
            out.at(x, y) = statistic(window);
        }
    return out;
}

Raster meanSlowly(const Raster& in, int n) {
    return windowsSlowly(in, n, [](const std::vector<std::uint16_t>& window) {
        std::uint64_t sum = 0;
        for (const auto value : window) sum += value;
        return static_cast<std::uint16_t>(sum / window.size());
    });
}

Raster medianSlowly(const Raster& in, int n) {
    return windowsSlowly(in, n, [](std::vector<std::uint16_t> window) {
        const auto middle = window.begin() + static_cast<std::ptrdiff_t>(window.size() / 2);
        std::nth_element(window.begin(), middle, window.end());
        return *middle;
    });
}

std::vector<float> blendSlowly(const std::vector<float>& first, const Raster& second, float v) {
    std::vector<float> result;
    const float a = -v, b = 1.0F + v;
    for (std::size_t i = 0; i < first.size(); ++i)
        result.push_back(
            static_cast<float>(double{a} * double{first[i]} + double{b} * second.pixels[i]));
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

Filter meanOf(int n) {
    return [n](Image source, Image destination) { return Mean_Image(destination, source, n); };
}

Filter medianOf(int n) {
    return [n](Image source, Image destination) { return Median_Image(destination, source, n); };
}

TEST(Convolution, EqualsItsFormula) {
    for (const Raster& source : manySizes())
        for (const Kernel& kernel : manyKernels()) {
            const std::vector<float> sums = sumsSlowly(source, kernel);
            const std::string what =
                std::to_string(kernel.width) + " x " + std::to_string(kernel.height);
            expectFiltered(
                [&](Image from, Image to) { return Convol_Image(from, to, kernel.image()); },
                source, pixelsOf(source, sums), what);
            std::vector<float> floats(sums.size());
            Raster from = source;
            const Image image = from.image();
            ASSERT_EQ(
                Convol_ImageF(image, {image.width, image.height, floats.data()}, kernel.image()),
                0);
            ASSERT_EQ(floats, sums) << what << " to float";
        }
}

TEST(Convolution, ClampsTruncatesAndMakesNanZero) {
    struct {
        float weight;
        std::uint16_t result;
    } const cases[] = {{1.0F, 1000},       {1.23499F, 1234}, {66.0F, 65535}, {-1.0F, 0},
                       {std::nanf(""), 0}, {1e38F, 65535},   {0.0009F, 0},   {65.5351F, 65535}};
    for (const auto& [weight, result] : cases) {
        Kernel kernel(1, 1, 1.0F);
        kernel.weights[0] = weight;
        expectFiltered([&](Image from, Image to) { return Convol_Image(from, to, kernel.image()); },
                       Raster(37, 3, 1000), Raster(37, 3, result), std::to_string(weight));
    }
}

TEST(Mean, EqualsItsFormula) {
    for (const Raster& source : manySizes())
        for (int n = 1; n <= std::min(source.width, source.height); n += n < 9 ? 1 : 6)
            expectFiltered(meanOf(n), source, meanSlowly(source, n), std::to_string(n));
    // Sums beyond 32 bits, and the widest that still take the reciprocal.
    for (const int n : {180, 181, 182, 257})
        expectFiltered(meanOf(n), Raster(n + 2, n + 3, 65535), Raster(n + 2, n + 3, 65535),
                       "white");
}

TEST(Mean, DividesExactlyForEveryWindow) {
    // Windows whose sums lie just below, at and above a multiple of the area.
    for (int n = 1; n <= 181; ++n) {
        Raster source(n + 1, n + 1, 0);
        for (const int value : {1, 2, 255, 32768, 65534, 65535}) {
            std::ranges::fill(source.pixels, static_cast<std::uint16_t>(value));
            source.at(0, 0) = static_cast<std::uint16_t>(value - 1);
            Raster out = source;
            ASSERT_EQ(Mean_Image(out.image(), source.image(), n), 0);
            ASSERT_EQ(out.at(0, 0), value - 1) << n;
        }
    }
}

TEST(Median, EqualsSorting) {
    for (const Raster& source : manySizes())
        for (int n = 1; n <= std::min(source.width, source.height); n += n < 18 ? 1 : 9)
            expectFiltered(medianOf(n), source, medianSlowly(source, n), std::to_string(n));
}

TEST(Median, EqualsSortingForLargeWindows) {
    // Several tiles of the largest windows; plateaus, full range and single outliers.
    for (const int n : {2, 5, 9, 16, 33, 64, 100, 255, 256}) {
        Raster source = noise(n + (n < 64 ? 150 : 40), n + 9, static_cast<std::uint64_t>(n));
        const Raster ramp = radiograph(source.width, source.height);
        for (int y = 0; y < source.height; ++y)
            for (int x = 0; x < source.width; ++x)
                if (x % 90 < 45) source.at(x, y) = x % 60 < 10 ? 65535 : ramp.at(x, y);
        const Raster expected = medianSlowly(source, n);
        expectFiltered(medianOf(n), source, expected, std::to_string(n));
    }
}

TEST(Median, HoldsOneGreyValueAndAllInATile) {
    // As many windows of the largest size as are ever counted together.
    for (const int n : {255, 256})
        expectFiltered(medianOf(n), Raster(257, 272, 7), Raster(257, 272, 7), "one grey value");
    Raster source(257, 272);
    for (std::size_t i = 0; i < source.pixels.size(); ++i)
        source.pixels[i] = static_cast<std::uint16_t>(i * 40503);
    expectFiltered(medianOf(256), source, medianSlowly(source, 256), "all grey values");
}

TEST(UnsharpMask, EqualsItsFormula) {
    for (const Raster& source : manySizes())
        for (const float strength : {0.0F, 1.7F, -0.4F}) {
            for (const int side : {1, 2, 5}) {
                Kernel kernel(side, side, 0.0F);
                std::ranges::fill(kernel.weights, 1.0F / static_cast<float>(side * side));
                expectFiltered(
                    [&](Image from, Image to) {
                        return UnsharpMask(from, to, kernel.image(), strength);
                    },
                    source,
                    stretchSlowly(source,
                                  blendSlowly(sumsSlowly(source, kernel), source, strength)),
                    "unsharp " + std::to_string(side));
            }
            for (int n = 2; n <= std::min({source.width, source.height, 11}); n += 3) {
                const Raster blur = meanSlowly(source, n);
                const std::vector<float> floats(blur.pixels.begin(), blur.pixels.end());
                expectFiltered(
                    [&](Image from, Image to) { return UnsharpMask2(from, to, n, strength); },
                    source,
                    meanSlowly(pixelsOf(source, blendSlowly(floats, source, strength)), n / 2),
                    "unsharp2 " + std::to_string(n));
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
    struct {
        double radius, total;
        int side, code;
    } const cases[] = {{2.7, 1.0, 5, 0},     {0.4, 1.0, 1, 0},        {0.0, 3.0, 1, 0},
                       {5.0, 1.0, 11, 0},    {-0.1, 1.0, 0, -2},      {32768.0, 1.0, 0, -2},
                       {2100, 1.0, 4201, 0}, {std::nan(""), 1, 0, -2}};
    for (const auto& [radius, total, side, code] : cases) {
        FImage kernel = {};
        EXPECT_EQ(Make_UnsharpKernel(&kernel, radius, total), code) << radius;
        ASSERT_EQ(kernel.width, side) << radius;
        ASSERT_EQ(kernel.height, side) << radius;
        float sum = 0.0F;
        for (int i = 0; i < side * side; ++i) sum += 1.0F;
        for (int i = 0; i < side * side; ++i)
            ASSERT_EQ(kernel.data[i], static_cast<float>(total / double{sum})) << radius;
        Destroy_FImage(&kernel);
    }
}

TEST(Filters, GiveTheKnownResults) {
    const auto check = [](const Filter& filter, std::vector<std::uint16_t> in, int width,
                          std::size_t index, std::uint16_t expected) {
        Raster source(width, static_cast<int>(in.size()) / width);
        source.pixels = in;
        ASSERT_EQ(filter(source.image(), source.image()), 0);
        EXPECT_EQ(source.pixels[index], expected);
    };
    check(meanOf(2), {1, 2, 9, 2, 2, 9, 9, 9, 9}, 3, 0, 1);
    check(medianOf(2), {5, 1, 9, 4, 2, 9, 9, 9, 9}, 3, 0, 4);
    const Kernel one(1, 1, 0.0F);
    const auto sharpen = [](Image from, Image to) {
        float weight = 1.0F;
        return UnsharpMask(from, to, {1, 1, &weight}, 0.0F);
    };
    check(sharpen, {1000, 2000}, 2, 1, 65535);
    check(sharpen, {100, 200}, 2, 1, 65534);
    check(sharpen, {100, 100}, 2, 1, 0);
}

TEST(Filters, RefuseAndLeaveTheDestination) {
    Raster a(8, 6, 5), b(8, 6, 9), other(6, 8, 9);
    float weight = 1.0F;
    std::vector<float> floats(48);
    const FImage kernel{1, 1, &weight}, none{1, 1, nullptr}, flat{1, 0, &weight};
    const FImage target{8, 6, floats.data()};
    const Image missing{8, 6, nullptr}, from = a.image(), to = b.image();
    struct {
        int code, expected;
    } const cases[] = {{Convol_Image(from, other.image(), kernel), -50},
                       {Convol_Image(missing, to, none), -50},
                       {Convol_Image(from, to, none), -2},
                       {Convol_Image(from, to, flat), -2},
                       {Convol_ImageF(from, {6, 8, floats.data()}, kernel), -50},
                       {Convol_ImageF(from, target, flat), -2},
                       {UnsharpMask(from, other.image(), kernel, 1.0F), -50},
                       {UnsharpMask(from, to, none, 1.0F), -2},
                       {UnsharpMask2(from, missing, 2, 1.0F), -50},
                       {UnsharpMask2(from, to, 1, 1.0F), -2},
                       {UnsharpMask2(from, to, 7, 1.0F), -2},
                       {Mean_Image(to, other.image(), 2), -50},
                       {Mean_Image(to, from, 0), -2},
                       {Mean_Image(to, from, 7), -2},
                       {Median_Image(to, missing, 2), -50},
                       {Median_Image(to, from, -1), -2},
                       {Median_Image(to, from, 7), -2},
                       {Blend_Image(to, from, other.image(), 1.0F, 1.0F), -50},
                       {Blend_FImage(target, target, other.image(), 1.0F, 1.0F), -50},
                       {Stretch_FImage(other.image(), target), -50}};
    for (const auto& [code, expected] : cases) EXPECT_EQ(code, expected) << &code - &cases[0].code;
    EXPECT_EQ(b, Raster(8, 6, 9));
    Raster wide(300, 300);
    EXPECT_EQ(Median_Image(wide.image(), wide.image(), 257), -2);
    std::uint16_t pixel = 0;
    const Image empty{0, 5, &pixel};
    EXPECT_EQ(Convol_Image(empty, empty, kernel), 0);
    EXPECT_EQ(UnsharpMask(empty, empty, kernel, 1.0F), 0);
    EXPECT_EQ(UnsharpMask2(empty, empty, 2, 1.0F), 0);
    EXPECT_EQ(Mean_Image(empty, empty, 3), 0);
    EXPECT_EQ(Median_Image(empty, empty, 3), 0);
    // A kernel that does not fit is laid nowhere.
    EXPECT_EQ(Convol_Image(from, to, Kernel(9, 1, 1.0F).image()), 0);
    EXPECT_EQ(b, a);
}

}  // namespace
}  // namespace lumo::test
