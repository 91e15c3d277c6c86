// Median of the window that begins at each pixel: the way for the size, and the border.
#include <algorithm>
#include <cstring>

#include "filters/filters.h"
#include "filters/median_histogram.h"
#include "filters/median_network.h"
#include "frame/call_frame.h"
#include "image/size_check.h"
#include "image/view.h"

namespace lumo {

int Median_Image(Image destination, Image source, int n) {
    return guarded([&] {
        raiseFailure(Check_SameSize(destination, source));
        const Source from = asSource(viewOf(source));
        const Target to = viewOf(destination);
        if (from.count() == 0) return;
        if (n < 1 || n > std::min({from.width, from.height, 256})) raise(LumoErrorParameter);
        if (n == 1)
            std::memmove(to.pixels, from.pixels, from.count() * sizeof *to.pixels);
        else if (n <= largestNetworkWindow())
            medianByNetwork(from, to, n);
        else
            medianByHistogram(from, to, n);
        for (int y = 0; y < from.height; ++y) {
            const int begin = y < from.height - n ? from.width - n : 0;
            std::memmove(to.row(y) + begin, from.row(y) + begin,
                         static_cast<std::size_t>(from.width - begin) * sizeof(std::uint16_t));
        }
    });
}

}  // namespace lumo
