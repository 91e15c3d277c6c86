// The dose indicator.
#include <gtest/gtest.h>

#include <algorithm>

#include "support/support.h"

namespace lumo::test {
namespace {

std::int32_t doseOf(Raster raster) {
    const Image image = raster.image();
    std::int32_t indicator = -1;
    EXPECT_EQ(GetOrvelDoseIndicator(&image, &indicator), 0);
    return indicator;
}

TEST(Dose, IsTheLowerMedianOfTheCentralRegion) {
    EXPECT_EQ(doseOf(Raster(1, 1, 1234)), 0);
    // 1000 x 1500: columns 330..669, rows 495..1004; whatever lies outside does not count.
    Raster framed(1000, 1500, 60000);
    for (int y = 495; y <= 1004; ++y)
        for (int x = 330; x <= 669; ++x) framed.at(x, y) = x < 500 ? 100 : 200;
    EXPECT_EQ(doseOf(framed), 100);
    framed.at(330, 495) = framed.at(499, 1004) = 200;
    EXPECT_EQ(doseOf(framed), 200);
    framed.at(669, 1004) = framed.at(668, 1004) = 99;
    EXPECT_EQ(doseOf(framed), 100);
    for (std::uint64_t seed = 1; seed < 30; ++seed) {
        const Raster small = noise(3, 3, seed);
        Pixels sorted = small.pixels;
        std::ranges::sort(sorted);
        EXPECT_EQ(doseOf(small), sorted[3]);
    }
}

TEST(Dose, LogsTheResultOrTheProblem) {
    Raster raster(4, 4, 77);
    const Image image = raster.image(), missing{4, 4, nullptr}, flat{4, 0, raster.pixels.data()};
    std::int32_t indicator = -1;
    const LogLines log;
    EXPECT_EQ(GetOrvelDoseIndicator(nullptr, &indicator), -2);
    EXPECT_EQ(GetOrvelDoseIndicator(&missing, &indicator), -50);
    EXPECT_EQ(GetOrvelDoseIndicator(&flat, &indicator), -50);
    EXPECT_EQ(indicator, -1);
    EXPECT_EQ(GetOrvelDoseIndicator(&image, nullptr), -2);
    EXPECT_EQ(GetOrvelDoseIndicator(&image, &indicator), 0);
    const std::string start = "3 GetOrvelDoseIndicator - ";
    const std::vector<std::string> lines = log.lines();
    ASSERT_EQ(lines.size(), 5U);
    EXPECT_EQ(lines[0], start + "Parameter error - no image provided");
    for (const std::size_t failure : {1U, 2U})
        EXPECT_EQ(lines[failure],
                  std::string("3 GetOrvelDoseIndicator -50 ") + lmtErrorMessage(-50));
    EXPECT_EQ(lines[3], start + "Parameter error - no place for the indicator");
    EXPECT_EQ(lines[4], "5 GetOrvelDoseIndicator - Orvel Dose Indicator: 77");
}

}  // namespace
}  // namespace lumo::test
