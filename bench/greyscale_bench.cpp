// Look-up tables, greyscale windows, equalisation, deflash.
#include <memory>

#include "opencv_peers.h"

namespace {

using namespace lumo::bench;

using Table = std::shared_ptr<std::vector<std::uint16_t>>;

Table tableOf(std::uint16_t mode) {
    auto table = std::make_shared<std::vector<std::uint16_t>>(65536);
    Make_LutAbs16(table->data(), 1000, 30000, mode);
    return table;
}

void mapPlainly(const Image& from, const Image& to, const std::uint16_t* lut) {
    const std::size_t count = std::size_t{from.width} * from.height;
    for (std::size_t i = 0; i < count; ++i) to.data[i] = lut[from.data[i]];
}

const Group tables([](Suite& suite) {
    const Image image = suite.radiograph(), to = suite.scratch();
    const Table lut = tableOf(CurveLogarithm);
    suite.add({"ApplyLut16",
               [=] { ApplyLut16(image, to, lut->data()); },
               {{"plain loop", [=] { mapPlainly(image, to, lut->data()); }, 1.4}}});
    const Work refill = [=] { Copy_Image(image, to); };
    suite.add({"ApplyLut16 in place", [=] { ApplyLut16(to, to, lut->data()); }, {}, refill});
    const Image noise = suite.filled(
        [](std::size_t i) { return static_cast<std::uint16_t>((i * 0x9E3779B97F4A7C15U) >> 40); });
    suite.add({"ApplyLut16, white noise",
               [=] { ApplyLut16(noise, to, lut->data()); },
               {{"plain loop", [=] { mapPlainly(noise, to, lut->data()); }, 1}}});
    const Table built = tableOf(CurveLinear);
    for (const std::uint16_t curve : {std::uint16_t{CurveExponential}, std::uint16_t{CurveSigmoid}})
        suite.add({"Make_LutAbs16, curve " + std::to_string(curve),
                   [=] { Make_LutAbs16(built->data(), 0, 65535, curve); }});
});

const Group mapping([](Suite& suite) {
    const Image image = suite.radiograph(), to = suite.scratch();
    const Table lut = tableOf(CurveLogarithm);
    const Work countAndMap = [=] {
        static std::uint32_t histogram[65536];
        Make_Histogram(image, histogram);
        ApplyLut16(image, to, lut->data());
    };
    suite.add({"Opt_GreyscaleLim, logarithm",
               [=] { Opt_GreyscaleLim(image, to, 10000, 10000, CurveLogarithm); },
               {{"histogram, table", countAndMap, within(1.1)}}});
    const Peers peers = cvEqualise(image, to, 4);
    suite.add({"Equal_Histo", [=] { Equal_Histo(to, image, 10000, 10000); }, peers});
    suite.add({"Equal_Histo3",
               [=] {
                   std::int32_t low = 0, high = 65535;
                   Equal_Histo3(to, image, 50, &low, &high, 0, 0, 20);
               },
               peers});
    suite.add({"DeFlash", [=] { DeFlash(to, 300); }, {}, [=] { Copy_Image(image, to); }});
});

}  // namespace
