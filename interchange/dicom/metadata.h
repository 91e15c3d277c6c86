// The entries that a data set's elements become, and what of it is left out.
#pragma once

#include <cstddef>
#include <vector>

#include "interchange/dicom/element_text.h"
#include "interchange/dicom/keep.h"
#include "interchange/picture.h"

namespace lumo::interchange::dicom {

struct Metadata {
    std::vector<Entry> technical, component, identity;  ///< each of one section, in their order
    bool isComponent = false;                           ///< DICONDE
    std::size_t leftOut = 0, identifying = 0;           ///< elements; the second of the first
    std::vector<std::string> notes;
};

[[nodiscard]] Metadata gatherMetadata(DcmItem& dataset, ElementText& text, const Keep& keep);

/// The value of an entry; empty without one.
[[nodiscard]] std::string valueOf(const std::vector<Entry>& entries, std::string_view key);

/// The metadata text that an earlier writer of ours put into the file; empty without one.
[[nodiscard]] std::string ownMetadataText(DcmItem& dataset);

/// Where it stands: a private block of our own.
inline constexpr std::uint16_t ownGroup = 0x0099, ownCreatorElement = 0x0010,
                               ownTextElement = 0x1001;
inline constexpr char ownCreator[] = "LUMO 1";

}  // namespace lumo::interchange::dicom
