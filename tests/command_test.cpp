// Filter commands: reading of parameters, what runs, what is handed back, logged and refused.
#include <gtest/gtest.h>
#include <locale.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <thread>

#include "filters/filters.h"
#include "scripts/parameters.h"
#include "support/support.h"

namespace lumo::test {
namespace {

constexpr int pitch = 100000;

TEST(FilterParameters, ReadsReals) {
    struct {
        const char* text;
        double value;
    } const cases[] = {{"v=2.5", 2.5},
                       {"v=+2.5e1x", 25},
                       {"v=-.5", -0.5},
                       {"v=5.", 5},
                       {"v=1,5", 1},
                       {"v=1e", 1},
                       {"v=1e+", 1},
                       {"v=", 0},
                       {"v= 3", 0},
                       {"v=.", 0},
                       {"v=+-3", 0},
                       {"v=inf", 0},
                       {"v=nan", 0},
                       {"v=0x10", 0},
                       {"abv=3 v=4", 3},
                       {"w=3", 7},
                       {"v=1e999", 7},
                       {"v=-1e999", 7},
                       {"v=0.000001e999999999999", 7},
                       {"v=1e-999", 0},
                       {"v=0e999", 0},
                       {"v=0.0000000000000000001e-310", 0},
                       {"v=1e308", 1e308}};
    for (const auto& [text, value] : cases)
        EXPECT_EQ(Get_ParamDouble(text, "v=", 7), value) << text;
    EXPECT_EQ(Get_ParamDouble("v=1e39", "v=", 7, double{FLT_MAX}), 7);
    EXPECT_EQ(Get_ParamDouble("v=-1e38", "v=", 7, double{FLT_MAX}), -1e38);
}

TEST(FilterParameters, ReadsIntegersAndNames) {
    struct {
        const char* text;
        int value;
    } const cases[] = {{"n=10", 10},
                       {"n=0x20", 32},
                       {"n=010", 8},
                       {"n=08", 0},
                       {"n=-0x10", -16},
                       {"n=+7z", 7},
                       {"n=", 0},
                       {"n= 1", 0},
                       {"n=0x", 0},
                       {"m=1", 9},
                       {"n=2.9", 2},
                       {"n=-2147483648", INT_MIN},
                       {"n=2147483648", INT_MAX},
                       {"n=-99999999999999999999", INT_MIN}};
    for (const auto& [text, value] : cases) EXPECT_EQ(Get_ParamInt(text, "n=", 9), value) << text;
    EXPECT_EQ(Get_ParamString("x type=mean\tsize=3", "type=", ""), "mean");
    EXPECT_EQ(Get_ParamString("size=3", "type=", "none"), "none");
    EXPECT_EQ(Get_ParamString("type=" + std::string(80, 'a'), "type=", "").size(), 63U);
    EXPECT_EQ(toInt(3.9), 3);
    EXPECT_EQ(toInt(-1e300), INT_MIN);
    EXPECT_EQ(toInt(std::nan("")), 0);
}

/// What a command makes of an image.
Raster filtered(Raster source, const std::string& text, int pitchX = pitch, int pitchY = pitch) {
    Raster out(source.width, source.height, 4711);
    EXPECT_EQ(SC_Filter_Image(source.image(), out.image(), pitchX, pitchY, text.c_str()), 0)
        << text;
    return out;
}

Raster sharpened(Raster source, double radius, float strength) {
    Raster out = source;
    FImage kernel = {};
    EXPECT_EQ(Make_UnsharpKernel(&kernel, radius, 1.0), 0);
    EXPECT_EQ(UnsharpMask(source.image(), out.image(), kernel, strength), 0);
    Destroy_FImage(&kernel);
    return out;
}

TEST(FilterCommand, RunsWhatTheTextSays) {
    Raster in = noise(40, 30), out = in;
    const auto mean = [&](int n) {
        EXPECT_EQ(Mean_Image(out.image(), in.image(), n), 0);
        return out;
    };
    const auto median = [&](int n) {
        EXPECT_EQ(Median_Image(out.image(), in.image(), n), 0);
        return out;
    };
    const auto sharpened2 = [&](int n, float strength) {
        EXPECT_EQ(UnsharpMask2(in.image(), out.image(), n, strength), 0);
        return out;
    };
    const auto equalised = [&](int low, int high) {
        EXPECT_EQ(Equal_Histo(out.image(), in.image(), low, high), 0);
        return out;
    };
    const auto clipped = [&](int np, int low, int high, int lf, int rf, int weight) {
        EXPECT_EQ(Equal_Histo3(out.image(), in.image(), np, &low, &high, lf, rf, weight), 0);
        return out;
    };
    EXPECT_EQ(filtered(in, "type=MEAN_FILTER SIZE=5"), mean(5));
    EXPECT_EQ(filtered(in, "size=3.9 type=median_filter"), median(3));
    EXPECT_EQ(filtered(in, "type=median_filter"), median(3));
    EXPECT_EQ(filtered(in, "type=unsharp_mask radius=0.5 value="), sharpened(in, 5, 0));
    EXPECT_EQ(filtered(in, "type=unsharp_mask radius=0.5", 500, 200000), sharpened(in, 3, 1));
    EXPECT_EQ(filtered(in, "type=unsharp_mask radius=999 value=2"), sharpened(in, 20, 2));
    EXPECT_EQ(filtered(in, "type=unsharp_mask value=1e39 radius=0.2"), sharpened(in, 2, 1));
    EXPECT_EQ(filtered(in, "type=unsharp_mask2 radius=0.59 value=2.5"), sharpened2(5, 2.5F));
    EXPECT_EQ(filtered(in, "type=unsharp_mask2"), sharpened2(10, 1));
    EXPECT_EQ(filtered(in, "type=histogramm_equal low=1.5 high=-1"), equalised(15000, -10000));
    EXPECT_EQ(filtered(in, "type=histogramm_equal"), equalised(30000, 30000));
    EXPECT_EQ(filtered(in, "type=histogramm_equal3 np=0x20 gew=30"),
              clipped(32, 0, 65535, 0, 0, 30));
    EXPECT_EQ(filtered(in, "type=histogramm_equal3 lp=9000 lf=1 rp=010000 rf=1 np=010"),
              clipped(8, 9000, 4096, 1, 1, 0));
    // Only 255 characters are read.
    EXPECT_EQ(filtered(in, "type=mean_filter" + std::string(232, ' ') + " size=5"), mean(5));
    EXPECT_EQ(filtered(in, "type=mean_filter" + std::string(234, ' ') + " size=5"), mean(3));
    // In place.
    const Raster expected = mean(4);
    EXPECT_EQ(SC_Filter_Image(in.image(), in.image(), pitch, pitch, "type=mean_filter size=4"), 0);
    EXPECT_EQ(in, expected);
}

TEST(FilterCommand, RefusesAndHandsOutAStore) {
    Raster in = noise(20, 20), out(20, 20, 5), other(20, 21);
    const Image missing{20, 20, nullptr};
    struct {
        int expected;
        Image source, destination;
        const char* command;
    } const cases[] = {
        {-2, in.image(), out.image(), "type=sharpen"},
        {-2, in.image(), out.image(), "size=3"},
        {-2, in.image(), out.image(), nullptr},
        {-2, in.image(), out.image(), "type=gauss_fd fhp=0"},
        {-2, in.image(), out.image(), "type=gauss_fd2 ftp=1e-200 fhp=1e-200"},
        {-2, Image{0, 0, in.pixels.data()}, Image{0, 0, out.pixels.data()}, "type=gauss_fd fbp=0"},
        {-50, in.image(), other.image(), "type=mean_filter"},
        {-50, missing, out.image(), nullptr}};
    for (const auto& [expected, source, destination, command] : cases) {
        IniReturn* store = nullptr;
        char* text = nullptr;
        std::uint32_t size = 99;
        EXPECT_EQ(
            SC_Filter_ImageEx(source, destination, pitch, pitch, command, &store, &text, &size),
            expected);
        ASSERT_NE(store, nullptr);
        EXPECT_STREQ(text, "");
        EXPECT_EQ(size, 0U);
        IniReturn* const kept = store;
        EXPECT_EQ(SC_Filter_ImageEx(source, destination, pitch, pitch, "type=mean_filter", &store,
                                    nullptr, nullptr),
                  -14);
        EXPECT_EQ(store, kept);
        EXPECT_EQ(Destroy_IniReturn(&store), 0);
        EXPECT_EQ(store, nullptr);
    }
    EXPECT_EQ(out, Raster(20, 20, 5));
    IniReturn* none = nullptr;
    EXPECT_EQ(Destroy_IniReturn(&none), 0);
    EXPECT_EQ(Destroy_IniReturn(nullptr), -14);
}

TEST(FilterCommand, TellsWhatAnOperationRefuses) {
    for (const char* command :
         {"type=mean_filter size=0", "type=mean_filter size=21", "type=median_filter size=1e300",
          "type=unsharp_mask radius=-0.01", "type=unsharp_mask radius=1e300",
          "type=unsharp_mask2 radius=0.1"}) {
        Raster in = noise(20, 20), out(20, 20, 5);
        const LogLines log;
        lmtSetLastError(0);
        EXPECT_EQ(SC_Filter_Image(in.image(), out.image(), pitch, pitch, command), 0);
        EXPECT_EQ(lmtGetLastError(), -2) << command;
        const std::string line = std::string("4 SC_Filter_ImageEx -2 ") + lmtErrorMessage(-2);
        EXPECT_EQ(log.upTo(4), std::vector<std::string>{line}) << command;
        EXPECT_EQ(out, Raster(20, 20, 5)) << command;
    }
}

TEST(FilterCommand, HandsBackTheEqualisedRange) {
    Raster in = noise(60, 60);
    std::int32_t low = 0, high = 65535;
    ASSERT_EQ(Equal_Histo3(in.image(), in.image(), 50, &low, &high, 0, 0, 0), 0);
    in = noise(60, 60);
    IniReturn* store = nullptr;
    char* text = nullptr;
    std::uint32_t size = 0;
    ASSERT_EQ(SC_Filter_ImageEx(in.image(), in.image(), pitch, pitch, "type=histogramm_equal3",
                                &store, &text, &size),
              0);
    const std::string expected(text, size);
    EXPECT_NE(expected.find("[return]"), std::string::npos) << expected;
    EXPECT_NE(expected.find("lp=" + std::to_string(low)), std::string::npos) << expected;
    EXPECT_NE(expected.find("rp=" + std::to_string(high)), std::string::npos) << expected;
    Destroy_IniReturn(&store);
}

TEST(FilterCommand, LogsAndSetsTheNumericLocale) {
    const char* const foreign = setlocale(LC_NUMERIC, "C.UTF-8");
    const std::string before = foreign != nullptr ? foreign : "C";
    Raster in = noise(9, 9);
    const LogLines log;
    EXPECT_EQ(SC_Filter_Image(in.image(), in.image(), pitch, pitch, "type=Mean_Filter"), 0);
    EXPECT_STREQ(setlocale(LC_NUMERIC, nullptr), "C");
    const std::string name = "7 SC_Filter_ImageEx ";
    EXPECT_EQ(log.lines(), (std::vector<std::string>{name + "entry type=Mean_Filter ",
                                                     name + "LC_NUMERIC " + before,
                                                     name + "LC_NUMERIC C", name + "return 0"}));
}

TEST(FilterCommand, RunsInSeveralThreads) {
    setlocale(LC_NUMERIC, "C.UTF-8");
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([i] {
            const char* commands[] = {"type=gauss_fd2 al1=0.5", "type=median_filter size=5",
                                      "type=gauss_fd", "type=unsharp_mask2 radius=0.4"};
            const Raster in = noise(50, 40, static_cast<std::uint64_t>(i));
            const Raster first = filtered(in, commands[i]);
            for (int k = 0; k < 5; ++k) EXPECT_EQ(filtered(in, commands[i]), first);
        });
    for (std::thread& thread : threads) thread.join();
}

}  // namespace
}  // namespace lumo::test
