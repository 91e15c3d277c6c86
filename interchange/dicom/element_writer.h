// Putting texts into a data set as elements.
#pragma once

#include <string>
#include <string_view>

#include "interchange/dicom/attributes.h"
#include "interchange/dicom/dcmtk.h"

namespace lumo::interchange::dicom {

/// Puts the value in the place of what is there. False, with the element as it was, if the text is
/// no value of its representation. `isSigned`: how "xs" is meant.
[[nodiscard]] bool putText(DcmItem& dataset, const Attribute& attribute, const std::string& value,
                           bool isSigned = false);

/// For texts of our own, which fit.
void put(DcmItem& dataset, const DcmTagKey& tag, const char* vr, const std::string& value);
void put(DcmItem& dataset, const char* technicalKeyword, const std::string& value);

/// An element of type 2: there, if only empty.
void putEmptyUnlessThere(DcmItem& dataset, const Attribute& attribute);

[[nodiscard]] bool holds(DcmItem& dataset, const char* technicalKeyword);

/// Appends an item to a sequence, which is made if it is missing.
[[nodiscard]] DcmItem& appendItem(DcmItem& dataset, const DcmTagKey& sequence);

}  // namespace lumo::interchange::dicom
