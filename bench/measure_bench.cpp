// Statistics, histograms, profiles, raster operations and the dose indicator.
#include <fcntl.h>
#include <unistd.h>

#include <cstdlib>
#include <memory>
#include <random>

#include "harness.h"

#ifdef LUMO_PEER_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgproc.hpp>
#endif

namespace {

using lumo::bench::Group;
using lumo::bench::Peer;
using lumo::bench::Suite;
using lumo::bench::Work;

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

#ifdef LUMO_PEER_OPENCV
cv::Mat matOf(const Image& image) {
    return {image.height, image.width, CV_16UC1, image.data};
}

cv::Mat matOf(const Image& image, const Roi& roi) {
    return matOf(image)(cv::Range(roi.y1, roi.y2 + 1), cv::Range(roi.x1, roi.x2 + 1));
}

std::vector<Peer> openCv(double timesFaster, Work run) {
    cv::setNumThreads(1);
    return {{"OpenCV", std::move(run), timesFaster}};
}

Work cvStatistics(const cv::Mat& mat) {
    return [=] {
        double smallest = 0, largest = 0;
        cv::Scalar mean, sigma;
        cv::minMaxLoc(mat, &smallest, &largest);
        cv::meanStdDev(mat, mean, sigma);
    };
}

Work cvHistogram(const cv::Mat& mat) {
    return [=] {
        const int channel = 0, size = 65536;
        const float range[] = {0, 65536};
        const float* ranges = range;
        cv::Mat counts;
        cv::calcHist(&mat, 1, &channel, {}, counts, 1, &size, &ranges);
    };
}

Work cvReduce(const cv::Mat& mat, int dimension) {
    return [=] {
        cv::Mat means;
        cv::reduce(mat, means, dimension, cv::REDUCE_AVG, CV_32F);
    };
}

Work cvResize(const cv::Mat& mat, int factor) {
    return [=, target = std::make_shared<cv::Mat>()] {
        cv::resize(mat, *target, {mat.cols / factor, mat.rows / factor}, 0, 0, cv::INTER_AREA);
    };
}
#define OPENCV_PEER(timesFaster, work) openCv(timesFaster, work)
#else
#define OPENCV_PEER(timesFaster, work) \
    {}
#endif

const Group statistics([](Suite& suite) {
    const Image image = suite.radiograph();
    const Roi roi = regionOf(suite);
    suite.add({"Get_ImageValue", [=] { Get_ImageValue(image, &value); }, 0.6,
               OPENCV_PEER(14, cvStatistics(matOf(image)))});
    suite.add({"Get_ImageValueRoi", [=] { Get_ImageValueRoi(image, roi, &value); }, 0.35,
               OPENCV_PEER(14, cvStatistics(matOf(image, roi)))});
    const Peer count{"Make_Histogram", [=] { Make_Histogram(image, histogram); }, 0, 0.2};
    suite.add(
        {"Get_ImageValueLim", [=] { Get_ImageValueLim(image, &value, 10000, 10000); }, 0, {count}});
    suite.add({"Get_HistoValue",
               [=] {
                   std::uint32_t low = 0, high = 0;
                   Get_HistoValue(image, 1000, 30000, &low, &high);
               },
               0,
               {count}});
    suite.add({"GetOrvelDoseIndicator",
               [=] {
                   std::int32_t indicator = 0;
                   GetOrvelDoseIndicator(&image, &indicator);
               },
               0.45});
});

const Group histograms([](Suite& suite) {
    const Image image = suite.radiograph();
    const Roi roi = regionOf(suite);
    auto peers = std::vector<Peer> OPENCV_PEER(6, cvHistogram(matOf(image)));
    peers.push_back({"plain loop", plainHistogram(image), 1});
    suite.add({"Make_Histogram", [=] { Make_Histogram(image, histogram); }, 2.6, peers});
    suite.add({"Make_HistogramRoi", [=] { Make_HistogramRoi(image, roi, histogram); }, 1.6,
               OPENCV_PEER(5, cvHistogram(matOf(image, roi)))});
    const Image flat = suite.filled([](std::size_t) { return std::uint16_t{20000}; });
    suite.add({"Make_Histogram, flat image",
               [=] { Make_Histogram(flat, histogram); },
               2.3,
               {{"plain loop", plainHistogram(flat), 1}}});
    const auto random = std::make_shared<std::mt19937>(1);
    const Image noise =
        suite.filled([=](std::size_t) { return static_cast<std::uint16_t>((*random)()); });
    suite.add({"Make_Histogram, white noise",
               [=] { Make_Histogram(noise, histogram); },
               4.7,
               {{"plain loop", plainHistogram(noise), 1}}});
});

const Group profiles([](Suite& suite) {
    const Image image = suite.radiograph();
    const Roi whole{0, 0, image.width - 1, image.height - 1};
    suite.add({"Make_XScan", [=] { Make_XScan(image, whole, profile); }, 0.6,
               OPENCV_PEER(2, cvReduce(matOf(image), 0))});
    suite.add({"Make_YScan", [=] { Make_YScan(image, whole, profile); }, 0.5,
               OPENCV_PEER(6, cvReduce(matOf(image), 1))});
});

const Group moving([](Suite& suite) {
    const Image image = suite.radiograph(), to = suite.scratch();
    const Roi roi = regionOf(suite);
    suite.add({"Invert_Image", [=] { Invert_Image(image, to); }, 0.65, OPENCV_PEER(1.3, [=] {
                   cv::Mat target = matOf(to);
                   cv::bitwise_not(matOf(image), target);
               })});
    suite.add({"Invert_Image in place", [=] { Invert_Image(to, to); }, 0.55});
    suite.add({"Crop_Image 2400 x 2000",
               [=] {
                   Image source = image, target{};
                   Crop_Image(&source, &target, roi);
                   Destroy_Image(&target);
               },
               0.45, OPENCV_PEER(1, [=] {
                   cv::Mat target;
                   matOf(image, roi).copyTo(target);
               })});
});

const Group binning([](Suite& suite) {
    const Image image = suite.radiograph();
    struct Case {
        std::uint8_t factor;
        double copies, timesFaster;
    };
    for (const auto& [factor, copies, timesFaster] :
         {Case{2, 0.7, 1}, {3, 2.0, 1.5}, {4, 1.5, 1.8}, {5, 0, 0}})
        suite.add({"Bin_Image " + std::to_string(factor),
                   [=] {
                       Image target{};
                       Bin_Image(image, &target, factor, factor);
                       Destroy_Image(&target);
                   },
                   copies, OPENCV_PEER(timesFaster, cvResize(matOf(image), factor))});
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
               0,
               {{"write()", plainWrite, 1 / 1.5}}});
});

}  // namespace
