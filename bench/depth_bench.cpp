// Conversion between 16-bit pixels and 8-bit codes.
#include <memory>

#include "harness.h"

namespace {

using lumo::bench::Suite;

const lumo::bench::Group group([](Suite& suite) {
    const Image image = suite.radiograph(), scratch = suite.scratch();
    const auto codes =
        std::make_shared<std::vector<std::uint8_t>>(std::size_t{image.width} * image.height);
    suite.add({"Convert_Image16_8", [=] {
                   std::uint16_t maximum = 0;
                   Convert_Image16_8(image.data, codes->data(), image.width, image.height, 0,
                                     &maximum);
               }});
    suite.add({"Convert_Image8_16", [=] {
                   Convert_Image8_16(codes->data(), scratch.data, image.width, image.height, 32000);
               }});
});

}  // namespace
