// Convolution, mean, median and unsharp masks beside OpenCV's and CImg's.
#include <string>
#include <vector>

#include "harness.h"

#ifdef LUMO_PEER_OPENCV
#include <opencv2/imgproc.hpp>
#endif
#ifdef LUMO_PEER_CIMG
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wold-style-cast"  // of the number below
#define cimg_display 0
#include <CImg.h>
#pragma GCC diagnostic pop
#endif

namespace {

using lumo::bench::Peer;
using lumo::bench::Suite;
using lumo::bench::Work;

/// Runs a filter command; on a raster that is too small for it nothing happens.
Work command(Image from, Image to, const std::string& text) {
    return [=] { SC_Filter_Image(from, to, 100000, 100000, text.c_str()); };
}

FImage boxKernel(int side) {
    FImage kernel = {};
    Create_FImage(static_cast<std::uint16_t>(side), static_cast<std::uint16_t>(side), &kernel);
    for (int i = 0; i < side * side; ++i) kernel.data[i] = 1.0F / static_cast<float>(side * side);
    return kernel;  // the benchmark's for good
}

#ifdef LUMO_PEER_OPENCV
cv::Mat asMat(Image image) {
    cv::setNumThreads(1);
    return {image.height, image.width, CV_16U, image.data};
}

std::vector<Peer> openCv(double times, const Work& work) {
    return {{"OpenCV", work, times}};
}

Work filter2D(Image from, Image to, int side) {
    return [=] {
        cv::filter2D(asMat(from), asMat(to), CV_16U,
                     cv::Mat(side, side, CV_32F, cv::Scalar(1.0 / (side * side))));
    };
}

Work blur(Image from, Image to, int side) {
    return [=] { cv::blur(asMat(from), asMat(to), cv::Size(side, side)); };
}

Work medianBlur(Image from, Image to, int side) {
    return [=] { cv::medianBlur(asMat(from), asMat(to), side); };
}

Work unsharpMask(Image from, Image to, int side) {
    return [=] {
        cv::Mat blurred;
        cv::filter2D(asMat(from), blurred, CV_32F,
                     cv::Mat(side, side, CV_32F, cv::Scalar(1.0 / (side * side))));
        cv::Mat source;
        asMat(from).convertTo(source, CV_32F);
        cv::addWeighted(source, 2.0, blurred, -1.0, 0.0, blurred);
        cv::normalize(blurred, asMat(to), 0, 65535, cv::NORM_MINMAX, CV_16U);
    };
}

Work unsharpMask2(Image from, Image to, int side) {
    return [=] {
        cv::Mat blurred, sharp;
        cv::blur(asMat(from), blurred, cv::Size(side, side));
        cv::addWeighted(asMat(from), 2.0, blurred, -1.0, 0.0, sharp);
        cv::blur(sharp, asMat(to), cv::Size(side / 2, side / 2));
    };
}
#else
template <class... Any>
std::vector<Peer> openCv(Any&&...) {
    return {};
}
Work filter2D(Image, Image, int) {
    return {};
}
Work blur(Image, Image, int) {
    return {};
}
Work medianBlur(Image, Image, int) {
    return {};
}
Work unsharpMask(Image, Image, int) {
    return {};
}
Work unsharpMask2(Image, Image, int) {
    return {};
}
#endif

/// CImg takes seconds for the whole raster: it gets a piece, and so do we.
#ifdef LUMO_PEER_CIMG
std::vector<Peer> cimg(Image from, int side, double times) {
    return {{"CImg",
             [=] {
                 const cimg_library::CImg<std::uint16_t> image(from.data, from.width, from.height);
                 image.get_blur_median(static_cast<unsigned>(side));
             },
             times}};
}
#else
std::vector<Peer> cimg(Image, int, double) {
    return {};
}
#endif

void addConvolutions(Suite& suite, Image image, Image scratch) {
    struct {
        int side;
        double times, inPlace;
    } const cases[] = {{3, 9, 1.55}, {5, 12, 0}, {11, 6, 1.1}, {15, 3.5, 0}, {31, 0, 0}};
    for (const auto& [side, times, inPlace] : cases) {
        const FImage kernel = boxKernel(side);
        const Work own = [=] { Convol_Image(image, scratch, kernel); };
        suite.add(
            {"Convol_Image " + std::to_string(side), own,
             times > 0 ? openCv(times, filter2D(image, scratch, side)) : std::vector<Peer>{}});
        if (inPlace == 0) continue;
        suite.add({"Convol_Image " + std::to_string(side) + " in place",
                   [=] { Convol_Image(scratch, scratch, kernel); },
                   {{"two rasters", own, lumo::bench::within(inPlace)}},
                   [=] { Copy_Image(image, scratch); }});
    }
}

void addMeans(Suite& suite, Image image, Image scratch) {
    for (const int n : {3, 5, 15, 31, 63})
        suite.add({"Mean_Image " + std::to_string(n),
                   command(image, scratch, "type=mean_filter size=" + std::to_string(n)),
                   openCv(n < 15 ? 2.1 : 1.7, blur(image, scratch, n))});
}

void addMedians(Suite& suite, Image image, Image scratch) {
    const auto text = [](int n) { return "type=median_filter size=" + std::to_string(n); };
    for (const int n : {3, 5, 7, 9, 11, 12, 13, 15, 21, 31, 63, 127, 255})
        suite.add({"Median_Image " + std::to_string(n), command(image, scratch, text(n)),
                   n == 3   ? openCv(1.0, medianBlur(image, scratch, n))
                   : n == 5 ? openCv(2.8, medianBlur(image, scratch, n))
                   : n == 255
                       ? std::vector<Peer>{{"n = 15", command(image, scratch, text(15)), 1.0 / 3}}
                       : std::vector<Peer>{}});
    const Image white = suite.filled([](std::size_t i) {
        std::uint64_t z = (i + 1) * 0x9E3779B97F4A7C15U;
        z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9U;
        return static_cast<std::uint16_t>(z >> 40);
    });
    suite.add({"Median_Image 31 on white noise", command(white, scratch, text(31))});

    // A piece of 512 x 128 from the middle.
    const Roi region = {suite.scaled(1200), suite.scaled(1711), suite.scaled(1000),
                        suite.scaled(1127)};
    Image piece = {};
    Image whole = image;
    if (Crop_Image(&whole, &piece, region) != 0) return;
    const Image out = suite.scratch();
    const Image target = {piece.width, piece.height, out.data};
    for (const auto& [n, times] : {std::pair{9, 130.0}, {15, 60.0}, {31, 90.0}})
        suite.add({"Median_Image " + std::to_string(n) + " on 512 x 128",
                   command(piece, target, text(n)), cimg(piece, n, times)});
}

void addUnsharpMasks(Suite& suite, Image image, Image scratch) {
    struct {
        int side;
        double times;
    } const cases[] = {{5, 0}, {11, 5}, {21, 0}};
    for (const auto& [side, times] : cases) {
        const FImage kernel = boxKernel(side);
        suite.add(
            {"UnsharpMask " + std::to_string(side),
             [=] { UnsharpMask(image, scratch, kernel, 1.0F); },
             times > 0 ? openCv(times, unsharpMask(image, scratch, side)) : std::vector<Peer>{}});
    }
    suite.add({"UnsharpMask2 11", command(image, scratch, "type=unsharp_mask2 radius=1.1"),
               openCv(1.5, unsharpMask2(image, scratch, 11))});
}

const lumo::bench::Group group([](Suite& suite) {
    const Image image = suite.radiograph(), scratch = suite.scratch();
    addConvolutions(suite, image, scratch);
    addMeans(suite, image, scratch);
    addMedians(suite, image, scratch);
    addUnsharpMasks(suite, image, scratch);
});

}  // namespace
