// What OpenCV offers beside our operations.
#include "opencv_peers.h"

#ifdef LUMO_PEER_OPENCV
#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>
#define PEER(work) peers(timesFaster, work)
#else
#define PEER(work) Peers()
#pragma GCC diagnostic ignored "-Wunused-parameter"  // there is nothing to call
#endif

namespace lumo::bench {

#ifdef LUMO_PEER_OPENCV
namespace {

Peers peers(double timesFaster, Work run) {
    cv::setNumThreads(1);
    return {{"OpenCV", std::move(run), timesFaster}};
}

cv::Mat matOf(const Image& image) {
    return {image.height, image.width, CV_16UC1, image.data};
}

cv::Mat matOf(const Region& region) {
    const Roi& roi = region.roi;
    return matOf(region.image)(cv::Range(roi.y1, roi.y2 + 1), cv::Range(roi.x1, roi.x2 + 1));
}

cv::Mat countGreyValues(const cv::Mat& mat) {
    const int channel = 0, size = 65536;
    const float range[] = {0, 65536};
    const float* ranges = range;
    cv::Mat counts;
    cv::calcHist(&mat, 1, &channel, {}, counts, 1, &size, &ranges);
    return counts;
}

void equalise(const Image& image, const Image& to) {
    static std::uint16_t lut[65536];
    const std::size_t pixels = std::size_t{image.width} * image.height;
    const cv::Mat counts = countGreyValues(matOf(image));
    double sum = 0;
    for (int v = 0; v < counts.rows; ++v) {
        sum += double{counts.at<float>(v)} * 65535.0 / double(pixels);
        lut[v] = static_cast<std::uint16_t>(std::min(sum, 65535.0));
    }
    for (std::size_t i = 0; i < pixels; ++i) to.data[i] = lut[image.data[i]];
}

}  // namespace
#endif

Region wholeOf(const Image& image) {
    return {image, {0, 0, image.width - 1, image.height - 1}};
}

Peers cvStatistics(const Region& region, double timesFaster) {
    return PEER(([mat = matOf(region)] {
        double smallest = 0, largest = 0;
        cv::Scalar mean, sigma;
        cv::minMaxLoc(mat, &smallest, &largest);
        cv::meanStdDev(mat, mean, sigma);
    }));
}

Peers cvHistogram(const Region& region, double timesFaster) {
    return PEER(([mat = matOf(region)] { (void)countGreyValues(mat); }));
}

Peers cvReduce(const Image& image, int dimension, double timesFaster) {
    return PEER(([=] {
        cv::Mat means;
        cv::reduce(matOf(image), means, dimension, cv::REDUCE_AVG, CV_32F);
    }));
}

Peers cvInvert(const Image& image, const Image& to, double timesFaster) {
    return PEER(([=] {
        cv::Mat target = matOf(to);
        cv::bitwise_not(matOf(image), target);
    }));
}

Peers cvCopy(const Region& region, double timesFaster) {
    return PEER(([=] {
        cv::Mat target;
        matOf(region).copyTo(target);
    }));
}

Peers cvResize(const Image& image, int factor, double timesFaster) {
    return PEER(([=] {
        cv::Mat target;
        cv::resize(matOf(image), target, {image.width / factor, image.height / factor}, 0, 0,
                   cv::INTER_AREA);
    }));
}

Peers cvEqualise(const Image& image, const Image& to, double timesFaster) {
    return PEER(([=] { equalise(image, to); }));
}

Peers cvWritePng([[maybe_unused]] const Image& image, [[maybe_unused]] const std::string& file,
                 [[maybe_unused]] double timesFaster) {
    return PEER([=] { cv::imwrite(file, matOf(image)); });
}

}  // namespace lumo::bench
