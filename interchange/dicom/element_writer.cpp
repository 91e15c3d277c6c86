// Putting texts into a data set as elements.
#include "interchange/dicom/element_writer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <vector>

#include "interchange/dicom/element_text.h"
#include "interchange/dicom/identifiers.h"
#include "interchange/dicom/numbers.h"

namespace lumo::interchange::dicom {

namespace {

using Element = std::unique_ptr<DcmElement>;

void check(const OFCondition& result) {
    if (result.bad()) throw std::bad_alloc();  // nothing else can go wrong
}

/// Whole numbers in the range, or none at all.
template <class Number>
std::vector<Number> wholeNumbers(const std::string& text) {
    std::vector<Number> numbers;
    for (const std::string_view value : valuesOf(text)) {
        const std::optional<std::int64_t> number = integer(value);
        if (!number || *number < std::numeric_limits<Number>::min() ||
            *number > std::numeric_limits<Number>::max())
            return {};
        numbers.push_back(static_cast<Number>(*number));
    }
    return numbers;
}

template <class Number>
std::vector<Number> decimals(const std::string& text) {
    std::vector<Number> numbers;
    for (const std::string_view value : valuesOf(text)) {
        const std::optional<double> number = decimal(value);
        if (!number || std::abs(*number) > std::numeric_limits<Number>::max()) return {};
        numbers.push_back(static_cast<Number>(*number));
    }
    return numbers;
}

/// Whether a text can stand for such values, however long they are.
bool fits(std::string_view vr, const std::string& text) {
    const auto all = [&](auto isOne) { return std::ranges::all_of(valuesOf(text), isOne); };
    if (vr == "DS") return all([](auto value) { return value.empty() || decimal(value); });
    if (vr == "IS") return all([](auto value) { return value.empty() || integer(value); });
    if (vr == "UI") return all([](auto value) { return isIdentifier(value); });
    if (escapedText(text) != text) return false;
    const bool hasLines = vr == "ST" || vr == "LT" || vr == "UT";
    return std::ranges::none_of(text, [&](char c) {
        const bool isLayout = c == '\n' || c == '\r' || c == '\t' || c == '\f';
        return (static_cast<std::uint8_t>(c) < 0x20 || c == 0x7F) && !(hasLines && isLayout);
    });
}

template <class Number, class Put>
bool putNumbers(const std::vector<Number>& numbers, Put putArray) {
    if (numbers.empty()) return false;
    check(putArray(numbers.data(), static_cast<unsigned long>(numbers.size())));
    return true;
}

bool fill(DcmElement& element, std::string_view vr, const std::string& text) {
    const auto put = [&](auto member) {
        return [&element, member](auto... arguments) { return (element.*member)(arguments...); };
    };
    if (vr == "US") return putNumbers(wholeNumbers<Uint16>(text), put(&DcmElement::putUint16Array));
    if (vr == "SS") return putNumbers(wholeNumbers<Sint16>(text), put(&DcmElement::putSint16Array));
    if (vr == "FL") return putNumbers(decimals<float>(text), put(&DcmElement::putFloat32Array));
    if (vr == "FD") return putNumbers(decimals<double>(text), put(&DcmElement::putFloat64Array));
    if (!fits(vr, text)) return false;
    check(element.putString(text.data(), static_cast<Uint32>(text.size())));
    return true;
}

Element newElement(const DcmTagKey& key, const char* vr) {
    DcmElement* element = nullptr;
    check(DcmItem::newDicomElementWithVR(element, DcmTag(key, DcmVR(vr))));
    return Element(element);
}

void insert(DcmItem& dataset, Element element) {
    check(dataset.insert(element.get(), OFTrue));
    static_cast<void>(element.release());  // the data set's from now on
}

}  // namespace

bool putText(DcmItem& dataset, const Attribute& attribute, const std::string& value,
             bool isSigned) {
    const std::string_view kind = attribute.vr;
    const char* const vr = kind != "xs" ? attribute.vr : isSigned ? "SS" : "US";
    if (kind == "SQ") return false;
    Element element = newElement(DcmTagKey(attribute.group, attribute.element), vr);
    if (!fill(*element, vr, value)) return false;
    insert(dataset, std::move(element));
    return true;
}

void put(DcmItem& dataset, const DcmTagKey& tag, const char* vr, const std::string& value) {
    Element element = newElement(tag, vr);
    fill(*element, vr, value);
    insert(dataset, std::move(element));
}

void put(DcmItem& dataset, const char* technicalKeyword, const std::string& value) {
    const Attribute* const attribute = findAttribute(technicalSection, technicalKeyword);
    put(dataset, DcmTagKey(attribute->group, attribute->element), attribute->vr, value);
}

void putEmptyUnlessThere(DcmItem& dataset, const Attribute& attribute) {
    const DcmTagKey tag(attribute.group, attribute.element);
    if (!dataset.tagExists(tag)) insert(dataset, newElement(tag, attribute.vr));
}

bool holds(DcmItem& dataset, const char* technicalKeyword) {
    const Attribute* const attribute = findAttribute(technicalSection, technicalKeyword);
    return dataset.tagExistsWithValue(DcmTagKey(attribute->group, attribute->element)) != OFFalse;
}

DcmItem& appendItem(DcmItem& dataset, const DcmTagKey& sequence) {
    DcmItem* item = nullptr;
    constexpr signed long append = -2;
    check(dataset.findOrCreateSequenceItem(DcmTag(sequence, EVR_SQ), item, append));
    return *item;
}

}  // namespace lumo::interchange::dicom
