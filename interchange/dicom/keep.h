// Which of the lists of what identifies are taken along.
#pragma once

#include <string_view>

#include "interchange/dicom/attributes.h"

namespace lumo::interchange::dicom {

class Keep {
public:
    Keep() = default;
    /// Names between commas: device, dates, uids, people, or all; throws Refusal for
    /// another.
    explicit Keep(std::string_view names);

    [[nodiscard]] bool operator()(Kind list) const {
        return (lists_ >> static_cast<unsigned>(list) & 1) != 0;
    }

private:
    unsigned lists_ = 0;  // a bit for each kind
};

}  // namespace lumo::interchange::dicom
