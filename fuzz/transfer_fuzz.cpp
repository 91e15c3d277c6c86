// Any bytes as what a helper sends, as they are or with the right checksum: refused, or believed,
// and then the same bytes come out when it is sent again.
#include "interchange/transfer.h"

#include <zlib.h>

#include <algorithm>

#include "support.h"

using namespace lumo::fuzz;
namespace interchange = lumo::interchange;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in(data, size);
    const bool mended = in.byte() % 2 != 0;
    Bytes stream = in.rest();
    if (mended) {
        const auto sum = static_cast<std::uint32_t>(crc32_z(0, stream.data(), stream.size()));
        stream.resize(stream.size() + 4);
        setLittleEndian(stream, stream.size() - 4, 4, sum);
    }

    std::size_t place = 0;
    std::vector<std::uint16_t> raster;
    const interchange::Source source = [&](void* to, std::size_t count) {
        const std::size_t part = std::min(count, stream.size() - place);
        std::copy_n(stream.data() + place, part, static_cast<std::uint8_t*>(to));
        place += part;
        return part;
    };
    const interchange::Allocate allocate = [&](const interchange::Description& description) {
        require(description.rasterBytes() < interchange::rasterLimit, "a raster has a limit");
        // What does not follow in the stream would only cost time.
        if (description.rasterBytes() > stream.size())
            throw interchange::TransferError("more than there is");
        raster.resize(description.pixelCount());
        return raster.data();
    };
    Bytes again;
    const interchange::Sink sink = [&](const void* from, std::size_t count) {
        const auto* begin = static_cast<const std::uint8_t*>(from);
        again.insert(again.end(), begin, begin + count);
    };
    try {
        const auto message = interchange::receive(source, allocate);
        if (const auto* answer = std::get_if<interchange::Answer>(&message))
            interchange::sendAnswer(sink, *answer);
        else
            interchange::sendPicture(sink, std::get<interchange::Description>(message),
                                     raster.data());
        require(again == stream, "what was believed is sent as it came");
    } catch (const interchange::TransferError&) {
    }
    return 0;
}
