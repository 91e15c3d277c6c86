// Turning, mirroring, rotating, shearing, estimating angles.
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "harness.h"

#if defined(LUMO_PEER_OPENCV)
#include <opencv2/imgproc.hpp>
#endif

namespace {

using lumo::bench::Operation;
using lumo::bench::Peer;
using lumo::bench::Suite;
using lumo::bench::Work;

/// An image record with a raster's pixels.
std::shared_ptr<lmImage> recordOf(const Image& raster) {
    lmImage* image = nullptr;
    LumoCreateImage(&image, raster.width, raster.height);
    std::copy_n(raster.data, std::size_t{raster.width} * raster.height, image->data);
    return {image, [](lmImage* owned) { LumoDestroyImage(&owned); }};
}

/// Forgets the history, which would grow from run to run.
Work forgetting(const std::shared_ptr<lmImage>& image) {
    return [=] {
        std::free(image->metaData);
        image->metaData = static_cast<char*>(std::calloc(1, 1));
        image->metaSize = 1;
    };
}

#if defined(LUMO_PEER_OPENCV)
cv::Mat matOf(const Image& image) {
    return {image.height, image.width, CV_16U, image.data};
}

std::vector<Peer> rotatePeer(const Image& from, const Image& to, int code, double faster) {
    return {{"OpenCV rotate",
             [=] {
                 cv::Mat target = matOf(to);
                 cv::rotate(matOf(from), target, code);
             },
             faster}};
}

std::vector<Peer> flipPeer(const Image& image, int code, double faster) {
    return {{"OpenCV flip",
             [=] {
                 cv::Mat raster = matOf(image);
                 cv::flip(raster, raster, code);
             },
             faster}};
}

std::vector<Peer> warpPeer(const Image& image, double angle, int width, int height, double faster) {
    const auto target = std::make_shared<cv::Mat>(height, width, CV_16U);
    cv::Mat turn = cv::getRotationMatrix2D({image.width / 2.0F, image.height / 2.0F}, angle, 1);
    turn.at<double>(0, 2) += (width - image.width) / 2.0;
    turn.at<double>(1, 2) += (height - image.height) / 2.0;
    return {{"OpenCV warpAffine",
             [=] { cv::warpAffine(matOf(image), *target, turn, target->size(), cv::INTER_LINEAR); },
             faster}};
}
#else
std::vector<Peer> rotatePeer(const Image&, const Image&, int, double) {
    return {};
}
std::vector<Peer> flipPeer(const Image&, int, double) {
    return {};
}
std::vector<Peer> warpPeer(const Image&, double, int, int, double) {
    return {};
}
#endif

/// The four edge scans in their plainest form.
double plainEdges(const Image& image) {
    const int w = image.width, h = image.height;
    const auto exposed = [&](int x, int y) { return image.data[std::ptrdiff_t{y} * w + x] > 8000; };
    double sum = 0;
    for (int x = 0; x < w; ++x) {
        int top = 0, bottom = h - 1;
        while (top < h - 1 && !exposed(x, top)) ++top;
        while (bottom > 0 && !exposed(x, bottom)) --bottom;
        sum += top + bottom;
    }
    for (int y = 0; y < h; ++y) {
        int left = 0, right = w - 1;
        while (left < w && !exposed(left, y)) ++left;
        while (right > 0 && !exposed(right, y)) --right;
        sum += left + right;
    }
    return sum;
}

const lumo::bench::Group turns([](Suite& suite) {
    const Image image = suite.radiograph(), scratch = suite.scratch();
    const auto record = recordOf(image);
    const auto forget = forgetting(record);
    const auto turn = [=](int angle) { return [=] { LumoRotateImage(record.get(), angle); }; };
    const auto mirror = [=](int h, int v) { return [=] { LumoMirrorImage(record.get(), h, v); }; };
    constexpr int clockwise = 0, counterClockwise = 2;  // as OpenCV numbers them
    suite.add({"LumoRotateImage 90", turn(90), rotatePeer(image, scratch, counterClockwise, 2.3),
               forget});
    suite.add(
        {"LumoRotateImage 270", turn(270), rotatePeer(image, scratch, clockwise, 2.3), forget});
    suite.add({"LumoRotateImage 180", turn(180), flipPeer(scratch, -1, 3), forget});
    suite.add({"LumoMirrorImage horizontal", mirror(1, 0), flipPeer(scratch, 1, 2), forget});
    suite.add({"LumoMirrorImage vertical", mirror(0, 1), flipPeer(scratch, 0, 1), forget});
});

const lumo::bench::Group rotations([](Suite& suite) {
    const Image image = suite.radiograph();
    struct Goal {
        const char* name;
        double angle, faster;
    };
    for (const Goal& goal : {Goal{"RotationNewImage 7 degrees", 7, 2.5},
                             {"RotationNewImage 0.7 degrees", 0.7, 1.6},
                             {"RotationNewImage 45 degrees", 45, 2.2}}) {
        const auto turn = [=](Image* target) { RotationNewImage(image, target, goal.angle); };
        Image target = {};
        turn(&target);
        const int width = target.width, height = target.height;
        Destroy_Image(&target);
        suite.add({goal.name,
                   [=] {
                       Image made = {};
                       turn(&made);
                       Destroy_Image(&made);
                   },
                   warpPeer(image, goal.angle, width, height, goal.faster)});
    }
    suite.add({"Shear 5 degrees", [=] {
                   Image made = {};
                   Shear(image, &made, 5);
                   Destroy_Image(&made);
               }});
});

const lumo::bench::Group estimates([](Suite& suite) {
    const Image image = suite.radiograph(),
                dark = suite.filled([](std::size_t i) { return std::uint16_t(i % 8000); });
    const auto result = std::make_shared<double>();
    suite.add({"CalculateRotationAngle",
               [=] { *result += CalculateRotationAngle(image); },
               {{"plain loops", [=] { *result += plainEdges(image); }, 4}}});
    suite.add({"CalculateRotationAngle, nothing exposed",
               [=] { *result += CalculateRotationAngle(dark); }});
});

}  // namespace
