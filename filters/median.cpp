// Median of the window that begins at each pixel.
#include <algorithm>
#include <cstring>
#include <vector>

#include "filters/filters.h"
#include "filters/median_network.h"
#include "frame/call_frame.h"
#include "image/size_check.h"
#include "image/view.h"

namespace lumo {
namespace {

void median(Source source, Target target, int n) {
    std::vector<std::uint16_t> window(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    const auto middle = window.begin() + n * n / 2;
    for (int y = 0; y < source.height - n; ++y)
        for (int x = 0; x < source.width - n; ++x) {
            for (int j = 0; j < n; ++j)
                std::copy_n(source.row(y + j) + x, n, window.begin() + std::ptrdiff_t{j} * n);
            std::nth_element(window.begin(), middle, window.end());
            target.row(y)[x] = *middle;
        }
}

}  // namespace

int Median_Image(Image destination, Image source, int n) {
    return guarded([&] {
        raiseFailure(Check_SameSize(destination, source));
        const Source from = asSource(viewOf(source));
        const Target to = viewOf(destination);
        if (from.count() == 0) return;
        if (n < 1 || n > std::min({from.width, from.height, 256})) raise(LumoErrorParameter);
        if (n == 1)
            std::memmove(to.pixels, from.pixels, from.count() * sizeof *to.pixels);
        else if (n <= largestNetworkWindow)
            medianByNetwork(from, to, n);
        else
            median(from, to, n);
        for (int y = 0; y < from.height; ++y) {
            const int begin = y < from.height - n ? from.width - n : 0;
            std::memmove(to.row(y) + begin, from.row(y) + begin,
                         static_cast<std::size_t>(from.width - begin) * sizeof(std::uint16_t));
        }
    });
}

}  // namespace lumo
