// The value of an element as text: UTF-8, whatever the file's character set, and whatever value
// representation the file gives the element.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "interchange/dicom/attributes.h"
#include "interchange/dicom/dcmtk.h"

namespace lumo::interchange::dicom {

/// The text with bytes that are no UTF-8 characters, and control characters, written as <E4>.
[[nodiscard]] std::string escapedText(std::string_view text);

/// A value's bytes without the padding, in no character set; empty if it has none.
[[nodiscard]] std::string plainText(DcmElement& element);
[[nodiscard]] std::string plainText(DcmItem& dataset, const DcmTagKey& tag);

class ElementText {
public:
    /// The data set names the character set.
    explicit ElementText(DcmItem& dataset) : dataset_(dataset) {}

    /// Several values have backslashes between them; blanks at the end are padding and left out.
    /// None if the element holds no value that could be a text.
    [[nodiscard]] std::optional<std::string> of(DcmElement& element, const Attribute& attribute);
    /// Empty if it is not there.
    [[nodiscard]] std::string of(const Attribute& attribute);
    [[nodiscard]] std::string of(const char* technicalKeyword);
    [[nodiscard]] std::optional<std::int64_t> number(const char* technicalKeyword);

    /// How many texts held bytes that are none of the character set; they are written as <E4>.
    [[nodiscard]] std::size_t escapedCount() const { return escaped_; }

private:
    std::string converted(std::string bytes, bool isName);

    DcmItem& dataset_;
    DcmSpecificCharacterSet converter_;
    bool selected_ = false, selectable_ = false;
    std::size_t escaped_ = 0;
};

}  // namespace lumo::interchange::dicom
