// Temporary rasters of operations, released on every path.
#pragma once

#include <type_traits>

#include "frame/call_frame.h"
#include "lumo_legacy.h"

namespace lumo {

/// An Image or FImage with a raster of its own, not initialised. Raises -8 without memory.
template <class Record>
class Owned {
public:
    Owned(std::uint16_t width, std::uint16_t height) {
        if constexpr (std::is_same_v<Record, Image>)
            raiseFailure(Create_Image(width, height, &record_));
        else
            raiseFailure(Create_FImage(width, height, &record_));
    }
    ~Owned() {
        if constexpr (std::is_same_v<Record, Image>)
            Destroy_Image(&record_);
        else
            Destroy_FImage(&record_);
    }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;
    [[nodiscard]] Record get() const { return record_; }

private:
    Record record_ = {};
};

}  // namespace lumo
