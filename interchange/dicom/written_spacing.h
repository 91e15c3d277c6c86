// The spacings of a file to be written: the picture's pitch in the attribute that it came from, and
// the others in proportion.
#pragma once

#include <string>
#include <vector>

#include "interchange/dicom/pitch.h"

namespace lumo::interchange::dicom {

struct Spacing {
    const char* keyword;
    std::string text;
};

/// `from`: what the pitch was read from, or `pitchAssumed`, or nothing known; `textOf`: the
/// spacings of the source; `usual`: where a pitch goes that came from no attribute. A source's own
/// text stays as it is while it means the pitch. None for a pitch that was only assumed.
[[nodiscard]] std::vector<Spacing> spacingsFor(const Pitch& pitch, const std::string& from,
                                               const TextOf& textOf, const char* usual);

}  // namespace lumo::interchange::dicom
