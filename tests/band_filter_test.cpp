// The band filter: its exact steps beside their formulas, the whole beside a transform in double.
#include "scripts/band_filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <tuple>

#include "support/support.h"

namespace lumo::test {
namespace {

using Sizes = std::initializer_list<std::pair<int, int>>;

TEST(BandFilter, PadsToSmoothLengths) {
    for (const auto& [n, padded] : Sizes{{1, 1},
                                         {2, 2},
                                         {11, 12},
                                         {13, 14},
                                         {1021, 1024},
                                         {1300, 1323},
                                         {2000, 2000},
                                         {65535, 65536}})
        EXPECT_EQ(Next_FftSize(n), padded);
}

TEST(BandFilter, SharesTheColumnsOut) {
    const std::tuple<int, int, std::vector<int>> cases[] = {
        {4, 5, {2, 4, 5, 5}}, {1, 7, {7}}, {3, 9, {4, 8, 9}}, {3, 1, {1, 1, 1}}};
    for (const auto& [workers, count, ends] : cases)
        for (int worker = 0; worker < workers; ++worker)
            EXPECT_EQ(chunkEnd(worker, workers, count), ends[std::size_t(worker)]) << count;
}

TEST(BandFilter, FillsTheBufferTransposedAndPadded) {
    for (const auto& [w, h] : Sizes{{1, 1}, {11, 13}, {70, 41}, {128, 65}, {67, 130}}) {
        const Raster image = noise(w, h);
        FftLayout layout;
        const FftBuffer buffer = Make_FftBuffer(image.source(), &layout);
        ASSERT_NE(buffer, nullptr);
        ASSERT_EQ(layout.rowStride, 2 * (Next_FftSize(h) / 2 + 1));
        for (int x = 0; x < layout.paddedWidth; ++x)
            for (int y = 0; y < layout.paddedHeight; ++y)
                ASSERT_EQ(layout.row(buffer.get(), x)[y],
                          image.at(std::min(x, w - 1), std::min(y, h - 1)))
                    << x << ' ' << y;
    }
}

/// The factor as it is defined.
float factorSlowly(const BandParameters& p, double f) {
    const auto g = [](double x, double mean, double sigma) {
        return std::exp(-0.5 * (((x - mean) / sigma) * ((x - mean) / sigma)));
    };
    const double low = p.al0 + (p.al1 - p.al0) * g(f, 0, p.ftp);
    const double high = p.ah0 + (p.ah1 - p.ah0) * (1 - g(f, 0, p.fhp));
    const double band = p.ab0 + (p.ab1 - p.ab0) * g(f, p.fbp0, p.fbp / 2);
    return static_cast<float>(low * high * band);
}

const std::vector<BandParameters>& manyParameters() {
    static const std::vector<BandParameters> all = {
        {},
        {0, 1, 1.1, 1, 1, 10, 1, 1, 5, 2},
        {1, 1, 1, 0.3, 1.9, 0.7, 1, 1, 5, 2},
        {1, 1, 1, 1, 1, 1, 0.2, 3.3, 2, 1},
        {0.1, 2, 3, 0.5, 1.5, 0.2, -1, 3, 1.5, 0.4},
        {0, 1, 0.05, 0, 1, 8, 0, 2, 3, 0.1},        // factors down to nothing
        {1, -1, 1, 2, -3, 0.5, 1, -1, 2, 1},        // terms through zero
        {0, 1e300, 0.1, 0, 1e-300, 4, 0, 5, 1, 2},  // amplitudes at the limits
        {-1e308, 1e308, 1, 1, 1, 1, 1, 1, 1, 1},    // a difference that overflows
        {1, 1, 1, 1, 0, 0.3, 1, 1, 1, 1},           // the high-pass term down to nothing
        {1, 1, 1, 0, 1, 900, 0.5, 0, 2, 3},
        {0, 1, 1e-320, 1, 0, 1e300, 0, 1, 0, -2},
        {1e10, 1.0001e10, 1, 1e300, 1e300, 1, 1e-310, 1e-310, 1, 1},  // a product overflows
        // At 64 x 49 a factor of each lies so close to a rounding limit that the fast exponential,
        // believed to half its error, rounds it the other way.
        {1, 1, 1, 1, 1, 1, 0, 1, 8.53125, 8.1875},
        {1, 1, 1, 1, 1, 1, 0, 1, 3.34375, 2.21875},
        {1, 1, 1, 1, 1, 1, 0, 1, 8.90625, 5.3125},
        // A factor of 64 x 49 lies so near the middle of two floats that the exponential's error
        // counts.
        {1, 1, 10, 1, 1, 10, 0, 1, 0.5 + 4180 * 0.001, 1.25},
        {1, 1, 10, 1, 1, 10, 0, 1, 0.5 + 2352 * 0.001, 1.5}};
    return all;
}

TEST(BandFilter, MultipliesByTheFactorOfItsFormula) {
    for (const auto& [w, h] : Sizes{{1, 1}, {2, 3}, {7, 12}, {64, 49}, {300, 700}})
        for (const BandParameters& parameters : manyParameters()) {
            SCOPED_TRACE(testing::Message() << w << " x " << h << ", parameters "
                                            << &parameters - &manyParameters()[0]);
            const FftLayout layout = layoutOf(w, h);
            const int columns = layout.rowStride / 2;
            const double stepX = 1 / (90000 * 1e-6 * layout.paddedWidth);
            const double stepY = 1 / (140000 * 1e-6 * layout.paddedHeight);
            const std::vector<float> spectrum(std::size_t(layout.floats()), 3.0F);
            std::vector<float> expected;
            for (int row = 0; row < layout.paddedWidth; ++row)
                for (int j = 0; j < columns; ++j) {
                    const int kx = row <= layout.paddedWidth / 2 ? row : row - layout.paddedWidth;
                    const double fx = kx * stepX, fy = j * stepY;
                    const float factor = factorSlowly(parameters, std::sqrt(fx * fx + fy * fy));
                    expected.insert(expected.end(), 2, 3.0F * factor);
                }
            atEveryLevel([&] {
                std::vector<float> buffer = spectrum;
                for (int worker = 0, first = 0; worker < 3; ++worker) {
                    const int end = chunkEnd(worker, 3, columns);
                    Filter_FreqColumns(
                        {first, end, buffer.data(), layout, 90000, 140000, parameters});
                    first = end;
                }
                ASSERT_EQ(buffer.size(), expected.size());
                for (std::size_t i = 0; i < buffer.size(); ++i)
                    ASSERT_TRUE(buffer[i] == expected[i] ||
                                (std::isnan(buffer[i]) && std::isnan(expected[i])))
                        << i << ' ' << buffer[i] << ' ' << expected[i];
            });
        }
}

std::uint16_t clampSlowly(double v) {
    return std::uint16_t(v > 0 ? std::min(v, 65535.0) : 0.0);
}

/// The automatic window as it is defined.
Raster windowSlowly(const std::vector<float>& values, int w, int h) {
    Raster out(w, h);
    const float least = *std::ranges::min_element(values);
    const float most = *std::ranges::max_element(values);
    if (least == most) return out;
    std::vector<int> bins(1000);
    const auto factor = static_cast<float>(1000 / (double{most} - double{least}));
    for (const float value : values) {
        const auto bin = std::size_t((value - least) * factor);
        if (bin < 1000) ++bins[bin];
    }
    // Bins from either end until more than 1 % of the pixels are passed; all, if never.
    const auto passed = [threshold = w * h / 100](const std::vector<int>& counts) {
        std::size_t bin = 0;
        for (int sum = 0; bin < counts.size() && (sum += counts[bin]) <= threshold;) ++bin;
        return int(bin);
    };
    const int lowBin = passed(bins), highBin = 999 - passed({bins.rbegin(), bins.rend()});
    const float range = most - least;
    const float low = static_cast<float>(lowBin) * range / 1000.0F + least;
    const float high = static_cast<float>(highBin) * range / 1000.0F + least;
    const float gain = 65535.0F / (high - low);
    for (std::size_t i = 0; i < values.size(); ++i)
        out.pixels[i] = clampSlowly((double{values[i]} - double{low}) * double{gain});
    return out;
}

TEST(BandFilter, ConvertsBackAsDefined) {
    for (const auto& [w, h] : Sizes{{1, 1}, {2, 1}, {11, 13}, {70, 41}, {33, 130}})
        for (const int kind : {0, 1, 2}) {
            const FftLayout layout = layoutOf(w, h);
            std::vector<float> buffer(std::size_t(layout.floats()), -1e9F), values;
            Random random(std::uint64_t(w + h));
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x) {
                    const float wide = static_cast<float>(random.below(1 << 24)) - 3e6F;
                    const float step = (x + y) % 3 == 0 ? 7.25F : 7.5F;
                    values.push_back(kind == 0 ? wide : kind == 1 ? step : 5.0F);
                    layout.row(buffer.data(), x)[y] = values.back();
                }
            const float scale = 0.0123F;
            Raster scaled(w, h);
            for (std::size_t i = 0; i < values.size(); ++i)
                scaled.pixels[i] = clampSlowly(double{scale} * double{values[i]});
            atEveryLevel([&, w = w, h = h] {
                Raster out(w, h, 9);
                fftw_real2LUMO(out.target(), buffer.data(), layout, scale);
                ASSERT_EQ(out, scaled) << w << " x " << h;
                fftw_real2LUMO(out.target(), buffer.data(), layout, 0.0F);
                ASSERT_EQ(out, windowSlowly(values, w, h)) << w << " x " << h << " kind " << kind;
            });
        }
}

/// The filtered image by a plain transform in double.
std::vector<double> filteredSlowly(const Raster& in, const BandParameters& p, double pitch) {
    using Complex = std::complex<double>;
    const FftLayout layout = layoutOf(in.width, in.height);
    const int w = layout.paddedWidth, h = layout.paddedHeight;
    const auto transform = [w, h](const std::vector<Complex>& from, double sign) {
        std::vector<Complex> to(from.size());
        for (int i = 0; i < w * h; ++i)
            for (int k = 0; k < w * h; ++k) {
                const int turnX = i % w * (k % w) % w, turnY = i / w * (k / w) % h;
                const double turns = double(turnX) / w + double(turnY) / h;
                to[std::size_t(k)] +=
                    from[std::size_t(i)] * std::polar(1.0, sign * 2 * std::numbers::pi * turns);
            }
        return to;
    };
    std::vector<Complex> values;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            values.emplace_back(in.at(std::min(x, in.width - 1), std::min(y, in.height - 1)));
    std::vector<Complex> spectrum = transform(values, -1);
    const Complex mean = spectrum[0];
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x) {
            const double fx = (x <= w / 2 ? x : x - w) / (pitch * 1e-6 * w);
            const double fy = (y <= h / 2 ? y : y - h) / (pitch * 1e-6 * h);
            spectrum[std::size_t(y * w + x)] *= factorSlowly(p, std::sqrt(fx * fx + fy * fy));
        }
    if (p.preserveZeroFrequency) spectrum[0] = mean;
    values = transform(spectrum, 1);
    std::vector<double> image;
    for (int y = 0; y < in.height; ++y)
        for (int x = 0; x < in.width; ++x)
            image.push_back(values[std::size_t(y * w + x)].real() / (w * h));
    return image;
}

TEST(BandFilter, EqualsATransformInDouble) {
    // Before truncation the single-precision transform is off by less than this.
    constexpr double bound = 0.1;
    for (const auto& [w, h] : Sizes{{1, 1}, {1, 9}, {13, 11}, {24, 19}})
        for (std::size_t set = 0; set < 5; ++set) {
            BandParameters parameters = manyParameters()[set];
            parameters.preserveZeroFrequency = set % 2 == 1;
            Raster in = noise(w, h), out(w, h);
            const std::vector<double> expected = filteredSlowly(in, parameters, 100000);
            ASSERT_EQ(bandFilter(in.source(), out.target(), 100000, 100000, parameters, false), 0);
            for (std::size_t i = 0; i < expected.size(); ++i) {
                ASSERT_GE(out.pixels[i], clampSlowly(expected[i] - bound)) << set << ' ' << i;
                ASSERT_LE(out.pixels[i], clampSlowly(expected[i] + bound)) << set << ' ' << i;
            }
            ASSERT_EQ(bandFilter(in.source(), in.target(), 100000, 100000, parameters, false), 0);
            ASSERT_EQ(in, out) << "in place";
        }
}

TEST(BandFilter, LogsItsSteps) {
    Raster in = noise(9, 9);
    const LogLines log;
    EXPECT_EQ(SC_Filter_Image(in.image(), in.image(), 100000, 100000,
                              "type=gauss_fd ftp=2 preservezerofreq=1"),
              0);
    std::vector<std::string> found = log.lines();
    std::erase_if(found, [](const std::string& line) {
        return line.find("LC_NUMERIC") != std::string::npos ||
               line.find("thread(s)") != std::string::npos;
    });
    std::vector<std::string> expected = {"7 entry type=gauss_fd ftp=2 preservezerofreq=1 ",
                                         "8 ftp=2.000000 fhp=10.000000 fbp=2.000000",
                                         "8 before fftwf_plan_dft_r2c_2d",
                                         "8 before fftwf_execute(planForward)",
                                         "8 before filtering",
                                         "8 preserving the zero frequency",
                                         "8 before fftwf_execute(planReverse)",
                                         "8 before fftw_real2LUMO",
                                         "8 before fftwf_destroy_plan",
                                         "7 SUCCESS",
                                         "7 return 0"};
    for (std::string& line : expected) line.insert(2, "SC_Filter_ImageEx ");
    EXPECT_EQ(found, expected);
}

}  // namespace
}  // namespace lumo::test
