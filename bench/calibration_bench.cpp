// Making calibration files and correcting by them.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "harness.h"

#if defined(LUMO_PEER_OPENCV)
#include <opencv2/imgproc.hpp>
#endif

namespace {

using lumo::bench::Peer;
using lumo::bench::Suite;

/// An image record with a raster's pixels, and a calibration file that goes away with it.
struct Bench {
    lmImage* image = nullptr;
    std::string file;
    std::vector<char> bytes;  // as many as the file has

    explicit Bench(const Image& raster)
        : file(std::filesystem::temp_directory_path() /
               ("lumo-bench-" + std::to_string(getpid()) + ".cal")),
          bytes(20 + 2 * std::size_t{raster.width} * raster.height) {
        LumoCreateImage(&image, raster.width, raster.height);
        reset(raster);
        CreateCalibrationData(image, 1, 1, 50, 200, file.c_str());
    }
    ~Bench() {
        LumoDestroyImage(&image);
        std::filesystem::remove(file);
    }
    Bench(const Bench&) = delete;
    Bench& operator=(const Bench&) = delete;

    /// Fresh pixels, no history.
    void reset(const Image& raster) const {
        std::copy_n(raster.data, std::size_t{raster.width} * raster.height, image->data);
        std::free(image->metaData);
        image->metaData = static_cast<char*>(std::calloc(1, 1));
        image->metaSize = 1;
    }
    void create(const char* name) const { CreateCalibrationData(image, 5, 5, 50, 200, name); }
    void readAlone() {
        const int descriptor = open(file.c_str(), O_RDONLY);
        if (read(descriptor, bytes.data(), bytes.size()) < 0) bytes[0] = 1;
        close(descriptor);
    }
    void writeAlone() {
        const int descriptor = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (write(descriptor, bytes.data(), bytes.size()) < 0) bytes[0] = 1;
        close(descriptor);
    }
};

std::vector<Peer> gainPeer(const Image& image) {
#if defined(LUMO_PEER_OPENCV)
    const auto smooth = std::make_shared<cv::Mat>(), gain = std::make_shared<cv::Mat>(),
               codes = std::make_shared<cv::Mat>();
    return {{"OpenCV blur, divide, convert",
             [=] {
                 cv::blur(cv::Mat(image.height, image.width, CV_16U, image.data), *smooth, {5, 5});
                 cv::divide(20000.0, *smooth, *gain, CV_32F);
                 gain->convertTo(*codes, CV_16U, 65535 / 1.5, -0.5 * 65535 / 1.5);
             },
             2}};
#else
    static_cast<void>(image);
    return {};
#endif
}

const lumo::bench::Group group([](Suite& suite) {
    const Image image = suite.radiograph();
    const auto bench = std::make_shared<Bench>(image);
    const auto reset = [=] { bench->reset(image); };
    suite.add({"CalibrateImage",
               [=] { CalibrateImage(bench->image, bench->file.c_str()); },
               {{"read() alone", [=] { bench->readAlone(); }, lumo::bench::within(2)}},
               reset});
    suite.add({"CreateCalibrationData 5 x 5, no file", [=] { bench->create("/dev/null"); },
               gainPeer(image), reset});
    suite.add({"CreateCalibrationData 5 x 5",
               [=] { bench->create(bench->file.c_str()); },
               {{"write() alone", [=] { bench->writeAlone(); }, lumo::bench::within(1.45)}},
               reset});
});

}  // namespace
