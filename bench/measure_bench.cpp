// Statistics, histograms, profiles, raster operations and the dose indicator.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <random>

#include "opencv_peers.h"

namespace {

using namespace lumo::bench;

/// Results that more than one call writes to; alive as long as the program.
std::uint32_t histogram[65536];
std::uint16_t profile[65536];
ImageValue value;

/// A region in the middle, of 2400 x 2000 pixels at full size.
Roi regionOf(const Suite& suite) {
    const int x = suite.scaled(336), y = suite.scaled(536);
    return {x, y, x + suite.scaled(2400) - 1, y + suite.scaled(2000) - 1};
}

Work plainHistogram(Image image) {
    return [=] {
        const std::size_t count = std::size_t{image.width} * image.height;
        for (std::uint32_t& bin : histogram) bin = 0;
        for (std::size_t i = 0; i < count; ++i) ++histogram[image.data[i]];
    };
}

const Group statistics([](Suite& suite) {
    const Image image = suite.radiograph();
    const Roi roi = regionOf(suite);
    suite.add({"Get_ImageValue", [=] { Get_ImageValue(image, &value); },
               cvStatistics(wholeOf(image), 14)});
    suite.add({"Get_ImageValueRoi", [=] { Get_ImageValueRoi(image, roi, &value); },
               cvStatistics({image, roi}, 14)});
    const Peer count{"Make_Histogram", [=] { Make_Histogram(image, histogram); }, within(1.1)};
    suite.add(
        {"Get_ImageValueLim", [=] { Get_ImageValueLim(image, &value, 10000, 10000); }, {count}});
    suite.add({"Get_HistoValue",
               [=] {
                   std::uint32_t low = 0, high = 0;
                   Get_HistoValue(image, 1000, 30000, &low, &high);
               },
               {count}});
    suite.add({"GetOrvelDoseIndicator", [=] {
                   std::int32_t indicator = 0;
                   GetOrvelDoseIndicator(&image, &indicator);
               }});
});

const Group histograms([](Suite& suite) {
    const Image image = suite.radiograph();
    const Roi roi = regionOf(suite);
    Peers peers = cvHistogram(wholeOf(image), 6);
    peers.push_back({"plain loop", plainHistogram(image), 1});
    suite.add({"Make_Histogram", [=] { Make_Histogram(image, histogram); }, peers});
    suite.add({"Make_HistogramRoi", [=] { Make_HistogramRoi(image, roi, histogram); },
               cvHistogram({image, roi}, 5)});
    const Image flat = suite.filled([](std::size_t) { return std::uint16_t{20000}; });
    suite.add({"Make_Histogram, flat image",
               [=] { Make_Histogram(flat, histogram); },
               {{"plain loop", plainHistogram(flat), 1}}});
    const auto random = std::make_shared<std::mt19937>(1);
    const Image noise =
        suite.filled([=](std::size_t) { return static_cast<std::uint16_t>((*random)()); });
    suite.add({"Make_Histogram, white noise",
               [=] { Make_Histogram(noise, histogram); },
               {{"plain loop", plainHistogram(noise), 1}}});
});

const Group profiles([](Suite& suite) {
    const Image image = suite.radiograph();
    const Roi whole{0, 0, image.width - 1, image.height - 1};
    suite.add({"Make_XScan", [=] { Make_XScan(image, whole, profile); }, cvReduce(image, 0, 2)});
    suite.add({"Make_YScan", [=] { Make_YScan(image, whole, profile); }, cvReduce(image, 1, 6)});
});

const Group moving([](Suite& suite) {
    const Image image = suite.radiograph(), to = suite.scratch();
    const Roi roi = regionOf(suite);
    suite.add({"Invert_Image", [=] { Invert_Image(image, to); }, cvInvert(image, to, 1.3)});
    suite.add({"Invert_Image in place", [=] { Invert_Image(to, to); }});
    suite.add({"Crop_Image 2400 x 2000",
               [=] {
                   Image source = image, target{};
                   Crop_Image(&source, &target, roi);
                   Destroy_Image(&target);
               },
               cvCopy({image, roi}, 1)});
});

const Group binning([](Suite& suite) {
    const Image image = suite.radiograph();
    struct Case {
        std::uint8_t factor;
        double timesFaster;
    };
    for (const auto& [factor, timesFaster] : {Case{2, 1}, {3, 1.5}, {4, 1.8}, {5, 0}})
        suite.add({"Bin_Image " + std::to_string(factor),
                   [=] {
                       Image target{};
                       Bin_Image(image, &target, factor, factor);
                       Destroy_Image(&target);
                   },
                   cvResize(image, factor, timesFaster)});
});

const Group files([](Suite& suite) {
    const Image image = suite.radiograph();
    const Roi roi = regionOf(suite);
    const auto size = static_cast<std::size_t>(roi.x2 - roi.x1 + 1) *
                      static_cast<std::size_t>(roi.y2 - roi.y1 + 1) * sizeof *image.data;
    static const std::string name = [] {
        std::string path = "/tmp/lumo-bench-XXXXXX";
        close(mkstemp(path.data()));
        return path;
    }();
    std::atexit([] { unlink(name.c_str()); });
    const Work plainWrite = [=] {
        const int file = open(name.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        if (write(file, image.data, size) < 0) std::abort();
        close(file);
    };
    suite.add({"Write_ImageRoi 2400 x 2000",
               [=] { Write_ImageRoi(name.c_str(), image, roi); },
               {{"write()", plainWrite, within(1.5)}}});
});

}  // namespace
