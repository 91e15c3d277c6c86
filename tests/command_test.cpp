// Filter commands: reading of parameters, what runs, what is handed back, logged and refused.
#include <gtest/gtest.h>
#include <locale.h>

#include <cfloat>
#include <cmath>
#include <functional>
#include <tuple>

#include "filters/filters.h"
#include "scripts/parameters.h"
#include "support/support.h"

namespace lumo::test {
namespace {

constexpr int pitch = 100000;

TEST(FilterParameters, ReadsReals) {
    const std::tuple<double, std::vector<const char*>> cases[] = {
        {2.5, {"v=2.5", "abcv=2.5 v=4", "v=+25e-1x"}},
        {25, {"v=+2.5e1x"}},
        {-0.5, {"v=-.5"}},
        {5, {"v=5."}},
        {1, {"v=1,5", "v=1e", "v=1e+"}},
        {0, {"v=", "v= 3", "v=.", "v=+-3", "v=inf", "v=nan", "v=0x10"}},
        {0, {"v=1e-999", "v=0e999", "v=0.0000000000000000001e-310"}},
        {7, {"w=3", "v=1e999", "v=-1e999", "v=0.000001e999999999999"}},
        {1e308, {"v=1e308"}}};
    for (const auto& [value, texts] : cases)
        for (const char* text : texts) EXPECT_EQ(Get_ParamDouble(text, "v=", 7), value) << text;
    EXPECT_EQ(Get_ParamDouble("v=1e39", "v=", 7, double{FLT_MAX}), 7);
    EXPECT_EQ(Get_ParamDouble("v=-1e38", "v=", 7, double{FLT_MAX}), -1e38);
}

TEST(FilterParameters, ReadsIntegersAndNames) {
    const std::tuple<int, std::vector<const char*>> cases[] = {
        {10, {"n=10"}},
        {32, {"n=0x20"}},
        {8, {"n=010"}},
        {0, {"n=08", "n=", "n= 1", "n=0x"}},
        {-16, {"n=-0x10"}},
        {7, {"n=+7z"}},
        {9, {"m=1"}},
        {2, {"n=2.9"}},
        {INT_MAX, {"n=2147483648"}},
        {INT_MIN, {"n=-2147483648", "n=-99999999999999999999"}}};
    for (const auto& [value, texts] : cases)
        for (const char* text : texts) EXPECT_EQ(Get_ParamInt(text, "n=", 9), value) << text;
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

TEST(FilterCommand, RunsWhatTheTextSays) {
    Raster in = noise(40, 30), out = in;
    const Image source = in.image(), target = out.image();
    const auto expect = [&](const std::string& command, int code, int pitchX = pitch,
                            int pitchY = pitch) {
        const Raster expected = out;  // as the operation itself has left it
        EXPECT_EQ(code, 0);
        EXPECT_EQ(filtered(in, command, pitchX, pitchY), expected) << command;
    };
    const auto sharpen = [&](double radius, float strength) {
        FImage kernel = {};
        EXPECT_EQ(Make_UnsharpKernel(&kernel, radius, 1.0), 0);
        const int code = UnsharpMask(source, target, kernel, strength);
        Destroy_FImage(&kernel);
        return code;
    };
    const auto clip = [&](int np, int low, int high, int lf, int rf, int weight) {
        return Equal_Histo3(target, source, np, &low, &high, lf, rf, weight);
    };
    expect("type=MEAN_FILTER SIZE=5", Mean_Image(target, source, 5));
    expect("size=3.9 type=median_filter", Median_Image(target, source, 3));
    expect("type=median_filter", Median_Image(target, source, 3));
    expect("type=unsharp_mask radius=0.5 value=", sharpen(5, 0));
    expect("type=unsharp_mask radius=0.5", sharpen(3, 1), 500, 200000);
    expect("type=unsharp_mask radius=999 value=2", sharpen(20, 2));
    expect("type=unsharp_mask value=1e39 radius=0.2", sharpen(2, 1));
    expect("type=unsharp_mask2 radius=0.59 value=2.5", UnsharpMask2(source, target, 5, 2.5F));
    expect("type=unsharp_mask2", UnsharpMask2(source, target, 10, 1));
    expect("type=histogramm_equal low=1.5 high=-1", Equal_Histo(target, source, 15000, -10000));
    expect("type=histogramm_equal", Equal_Histo(target, source, 30000, 30000));
    expect("type=histogramm_equal3 np=0x20 gew=30", clip(32, 0, 65535, 0, 0, 30));
    expect("type=histogramm_equal3 lp=9000 lf=1 rp=010000 rf=1 np=010",
           clip(8, 9000, 4096, 1, 1, 0));
    // Only 255 characters are read.
    const std::string mean = "type=mean_filter";
    expect(mean + std::string(232, ' ') + " size=5", Mean_Image(target, source, 5));
    expect(mean + std::string(234, ' ') + " size=5", Mean_Image(target, source, 3));
    // In place.
    EXPECT_EQ(Mean_Image(target, source, 4), 0);
    EXPECT_EQ(SC_Filter_Image(source, source, pitch, pitch, "type=mean_filter size=4"), 0);
    EXPECT_EQ(in, out);
}

TEST(FilterCommand, RefusesAndHandsOutAStore) {
    Raster in = noise(20, 20), out(20, 20, 5), other(20, 21);
    const Image missing{20, 20, nullptr}, empty{0, 0, in.pixels.data()};
    const Image from = in.image(), to = out.image();
    const std::tuple<int, Image, Image, const char*> cases[] = {
        {-2, from, to, "type=sharpen"},
        {-2, from, to, "size=3"},
        {-2, from, to, nullptr},
        {-2, from, to, "type=gauss_fd fhp=0"},
        {-2, from, to, "type=gauss_fd2 ftp=1e-200 fhp=1e-200"},
        {-2, empty, empty, "type=gauss_fd fbp=0"},
        {-50, from, other.image(), "type=mean_filter"},
        {-50, missing, to, nullptr}};
    for (const auto& [expected, source, destination, command] : cases) {
        IniReturn* store = nullptr;
        char* text = nullptr;
        std::uint32_t size = 99;
        const auto run = [&, from = source, to = destination](const char* what) {
            return SC_Filter_ImageEx(from, to, pitch, pitch, what, &store, &text, &size);
        };
        EXPECT_EQ(run(command), expected);
        ASSERT_NE(store, nullptr);
        EXPECT_STREQ(text, "");
        EXPECT_EQ(size, 0U);
        IniReturn* const kept = store;
        EXPECT_EQ(run("type=mean_filter"), -14) << "a place that is taken";
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

TEST(FilterCommand, HasNothingToDoWithoutPixels) {
    std::uint16_t none = 0;
    for (const Image image : {Image{0, 0, &none}, {7, 0, &none}, {0, 7, &none}})
        for (const char* command :
             {"type=unsharp_mask", "type=unsharp_mask radius=-1", "type=unsharp_mask2",
              "type=mean_filter", "type=mean_filter size=0", "type=median_filter",
              "type=histogramm_equal", "type=histogramm_equal3", "type=gauss_fd",
              "type=gauss_fd2"}) {
            const LogLines log;
            lmtSetLastError(0);
            EXPECT_EQ(SC_Filter_Image(image, image, pitch, pitch, command), 0) << command;
            EXPECT_EQ(lmtGetLastError(), 0) << command;
            EXPECT_TRUE(log.upTo(4).empty()) << command;
        }
}

TEST(FilterCommand, HandsBackTheEqualisedRange) {
    Raster in = noise(60, 60), out = in;
    std::int32_t low = 0, high = 65535;
    ASSERT_EQ(Equal_Histo3(out.image(), in.image(), 50, &low, &high, 0, 0, 0), 0);
    IniReturn* store = nullptr;
    char* text = nullptr;
    std::uint32_t size = 0;
    ASSERT_EQ(SC_Filter_ImageEx(in.image(), out.image(), pitch, pitch, "type=histogramm_equal3",
                                &store, &text, &size),
              0);
    const std::string found(text, size);
    for (const std::string& part :
         {std::string("[return]"), "lp=" + std::to_string(low), "rp=" + std::to_string(high)})
        EXPECT_NE(found.find(part + "\n"), std::string::npos) << found;
    Destroy_IniReturn(&store);
}

TEST(FilterCommand, LogsAndSetsTheNumericLocale) {
    const char* const foreign = setlocale(LC_NUMERIC, "C.UTF-8");
    const std::string before = foreign != nullptr ? foreign : "C";
    Raster in = noise(9, 9);
    const LogLines log;
    EXPECT_EQ(SC_Filter_Image(in.image(), in.image(), pitch, pitch, "type=Mean_Filter"), 0);
    EXPECT_STREQ(setlocale(LC_NUMERIC, nullptr), "C");
    std::vector<std::string> expected{"entry type=Mean_Filter ", "LC_NUMERIC " + before,
                                      "LC_NUMERIC C", "return 0"};
    for (std::string& line : expected) line.insert(0, "7 SC_Filter_ImageEx ");
    EXPECT_EQ(log.lines(), expected);
}

}  // namespace
}  // namespace lumo::test
