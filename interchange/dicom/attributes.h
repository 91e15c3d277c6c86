// The attributes that are taken from a DICOM file and written into one: tag, keyword, value
// representation and what becomes of each. What is in no table here is left out and counted.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace lumo::interchange::dicom {

/// What becomes of an attribute.
enum class Kind : std::uint8_t {
    technical,    ///< taken, and written as it came
    pixels,       ///< taken; the writer describes its own pixels
    spacing,      ///< taken; written in proportion to the pitch
    greyValues,   ///< taken; written while no step has changed the grey values
    orientation,  ///< taken; written while the picture has not been turned, cropped or binned
    present,      ///< a table of grey values: only that there is one
    component,    ///< DICONDE: what was examined, and how
    device,       ///< the lists of what identifies, left out unless asked for
    dates,
    uids,
    people,
};

[[nodiscard]] constexpr bool identifies(Kind kind) {
    return kind >= Kind::device;
}

struct Attribute {
    std::uint16_t group, element;
    const char* keyword;
    const char* vr;  ///< two letters; "xs": signed or unsigned as the pixels are
    Kind kind;
};

/// Each in the order of its tags.
[[nodiscard]] std::span<const Attribute> technicalAttributes();
[[nodiscard]] std::span<const Attribute> componentAttributes();
[[nodiscard]] std::span<const Attribute> identityAttributes();

/// The names that DICONDE gives to attributes of patients.
[[nodiscard]] std::span<const Attribute> renamedAttributes();

/// The attribute with the tag; none if it is in no table. Of the renamed ones if `component`.
[[nodiscard]] const Attribute* findAttribute(std::uint16_t group, std::uint16_t element,
                                             bool component);
/// An attribute of section DICOM, DICONDE or DICOM_Identity by its keyword.
[[nodiscard]] const Attribute* findAttribute(std::string_view section, std::string_view keyword);

/// What DICONDE's earlier private elements are called today; none for an unknown one. The element
/// is the number within the creator's block.
[[nodiscard]] const Attribute* findPrivateComponent(std::string_view creator, std::uint8_t element);
/// What the names of DICONDE's private creators begin with.
inline constexpr std::string_view componentCreator = "astm.org/diconde/";

inline constexpr char technicalSection[] = "DICOM", componentSection[] = "DICONDE",
                      identitySection[] = "DICOM_Identity";

}  // namespace lumo::interchange::dicom
