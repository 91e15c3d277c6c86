// Finding an attribute in the tables.
#include "interchange/dicom/attributes.h"

#include <algorithm>

namespace lumo::interchange::dicom {

namespace {

constexpr std::uint32_t tagOf(const Attribute& attribute) {
    return std::uint32_t{attribute.group} << 16 | attribute.element;
}

const Attribute* withTag(std::span<const Attribute> table, std::uint32_t tag) {
    const auto found = std::ranges::lower_bound(table, tag, {}, tagOf);
    return found != table.end() && tagOf(*found) == tag ? &*found : nullptr;
}

const Attribute* withKeyword(std::span<const Attribute> table, std::string_view keyword) {
    const auto found = std::ranges::find(table, keyword, &Attribute::keyword);
    return found != table.end() ? &*found : nullptr;
}

}  // namespace

const Attribute* findAttribute(std::uint16_t group, std::uint16_t element, bool component) {
    const std::uint32_t tag = std::uint32_t{group} << 16 | element;
    if (component)
        for (const std::span table : {renamedAttributes(), componentAttributes()})
            if (const Attribute* const found = withTag(table, tag)) return found;
    for (const std::span table : {technicalAttributes(), identityAttributes()})
        if (const Attribute* const found = withTag(table, tag)) return found;
    return nullptr;
}

const Attribute* findAttribute(std::string_view section, std::string_view keyword) {
    if (section == technicalSection) return withKeyword(technicalAttributes(), keyword);
    if (section == identitySection) return withKeyword(identityAttributes(), keyword);
    if (section != componentSection) return nullptr;
    const Attribute* const found = withKeyword(renamedAttributes(), keyword);
    return found != nullptr ? found : withKeyword(componentAttributes(), keyword);
}

}  // namespace lumo::interchange::dicom
