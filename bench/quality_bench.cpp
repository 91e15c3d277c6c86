// Image quality figures: signal to noise, edge, noise spectrum, frames, bad pixels.
#include <fftw3.h>

#include <cmath>
#include <memory>
#include <random>

#include "lumo_quality.h"
#include "vigra_peers.h"

namespace {

using namespace lumo::bench;

Roi wholeOf(const Image& image, int side) {
    return {0, 0, std::min<int>(image.width, side) - 1, std::min<int>(image.height, side) - 1};
}

/// A number about 0, nearly normal: sums of four uniform ones.
int noiseOf(std::mt19937& random, unsigned width) {
    int sum = 0;
    for (int i = 0; i < 4; ++i) sum += static_cast<int>(random() % width);
    return sum - 2 * static_cast<int>(width - 1);
}

const Group signalToNoise([](Suite& suite) {
    const Image image = suite.radiograph();
    static ImageValue value;
    const Peer statistics{"Get_ImageValue", [=] { Get_ImageValue(image, &value); }, 1 / 3.0};
    suite.add({"LumoMeasureSnr",
               [=] {
                   LumoSnr snr{};
                   snr.size = sizeof snr;
                   LumoMeasureSnr(image, wholeOf(image, 65535), nullptr, &snr);
               },
               {statistics}});
});

/// An edge of 3 degrees, blurred over a pixel, with noise; it fills a raster of its own.
Image edgeImage() {
    constexpr int side = 512;
    static const auto pixels = [] {
        auto made = std::make_unique<std::uint16_t[]>(std::size_t{side} * side);
        std::mt19937 random(1);
        for (int y = 0; y < side; ++y)
            for (int x = 0; x < side; ++x) {
                const double off = x - side / 2 - (y - side / 2) * std::tan(0.0524);
                const double noise = noiseOf(random, 101);
                made[static_cast<std::size_t>(y * side + x)] =
                    static_cast<std::uint16_t>(15000 + 10000 * std::erf(off / 1.2) + noise);
            }
        return made;
    }();
    return {side, side, pixels.get()};
}

const Group edge([](Suite& suite) {
    const Image image = edgeImage();
    suite.add({"LumoMeasureMtf 512 x 512",
               [=] {
                   LumoMtf mtf{};
                   mtf.size = sizeof mtf;
                   LumoMeasureMtf(image, wholeOf(image, 512), 100000, 100000, nullptr, &mtf,
                                  nullptr, nullptr);
               },
               vigraMtf(image, 1)});
});

/// The transforms alone of as many regions as the spectrum of an image has.
Work transformsOf(const Image& image) {
    constexpr int side = 256;
    float* buffer = fftwf_alloc_real(std::size_t{side} * (side + 2));
    std::fill_n(buffer, std::size_t{side} * (side + 2), 1.0F);
    const fftwf_plan plan = fftwf_plan_dft_r2c_2d(
        side, side, buffer, reinterpret_cast<fftwf_complex*>(buffer), FFTW_ESTIMATE);
    const int regions = ((image.width - side) / 128 + 1) * ((image.height - side) / 128 + 1);
    return [=] {
        for (int i = 0; i < regions; ++i) fftwf_execute(plan);
    };
}

const Group noisePower([](Suite& suite) {
    const Image image = suite.filled([](std::size_t i) {
        static std::mt19937 random(2);
        return static_cast<std::uint16_t>(10000 + static_cast<int>(i % 3072 / 4) +
                                          noiseOf(random, 151));
    });
    const Peers transforms =
        image.width < 256 ? Peers() : Peers{{"its transforms alone", transformsOf(image), 1 / 1.3}};
    suite.add({"LumoNpsAdd",
               [=] {
                   static LumoNps* spectrum = [] {
                       LumoNps* created = nullptr;
                       LumoNpsCreate(&created, 30000, 30000, nullptr);
                       return created;
                   }();
                   LumoNpsAdd(spectrum, image, nullptr, nullptr, nullptr);
               },
               transforms});
});

const Group frames([](Suite& suite) {
    const Image image = suite.radiograph(), to = suite.scratch();
    static LumoStack *plain = nullptr, *whole = nullptr;
    LumoStackCreate(&plain, image.width, image.height, 0);
    LumoStackCreate(&whole, image.width, image.height, 1);
    suite.add({"LumoStackAdd", [=] { LumoStackAdd(plain, image); }});
    suite.add({"LumoStackAdd with squares", [=] { LumoStackAdd(whole, image); }});
    suite.add({"LumoStackMean", [=] { LumoStackMean(plain, to); }});
    suite.add({"LumoSubtractDark", [=] { LumoSubtractDark(image, to, to); }});
});

const LumoStack* stackOf(const Image& frame, int count) {
    LumoStack* stack = nullptr;
    LumoStackCreate(&stack, frame.width, frame.height, 1);
    for (int i = 0; i < count; ++i) LumoStackAdd(stack, frame);
    return stack;
}

const Group badPixels([](Suite& suite) {
    const Image to = suite.scratch();
    const Image map = suite.filled([](std::size_t i) {  // one in a thousand, and two lines
        return static_cast<std::uint16_t>(i * 2654435761U % 1000 == 0 || i % 3072 == 77 ? 1 : 0);
    });
    suite.add({"LumoMendPixels", [=] { LumoMendPixels(to, map, nullptr, nullptr, nullptr); }});
    suite.add({"LumoListBadPixels", [=] {
                   LumoBadPixels counts{};
                   counts.size = sizeof counts;
                   LumoListBadPixels(map, &counts, nullptr, nullptr);
               }});
    const Image noise = suite.filled([](std::size_t) {
        static std::mt19937 random(3);
        return static_cast<std::uint16_t>(20000 + noiseOf(random, 61));
    });
    const Image dim = suite.filled([](std::size_t i) { return static_cast<std::uint16_t>(i % 7); });
    suite.add({"LumoFindBadPixels", [=] {
                   // Made by the first run alone: it takes longer than the search.
                   static const LumoStack *dark = stackOf(dim, 30), *bright = stackOf(noise, 10);
                   LumoBadPixels counts{};
                   counts.size = sizeof counts;
                   LumoFindBadPixels(dark, bright, bright, nullptr, nullptr, to, &counts);
               }});
});

}  // namespace
