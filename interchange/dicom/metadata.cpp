// The entries that a data set's elements become, and what of it is left out.
#include "interchange/dicom/metadata.h"

#include <algorithm>
#include <map>
#include <utility>

#include "interchange/dicom/numbers.h"
#include "interchange/transfer.h"

namespace lumo::interchange::dicom {

namespace {

constexpr std::uint16_t componentGroup = 0x0014;
constexpr std::uint16_t firstBlock = 0x0010, lastBlock = 0x00FF;

bool isPrivate(const DcmTagKey& tag) {
    return tag.getGroup() % 2 == 1;
}

/// Calls for each element; in one pass, as reaching them by their numbers would take squares.
template <class Visit>
void forEachElement(DcmItem& dataset, Visit visit) {
    for (DcmObject* object = dataset.nextInContainer(nullptr); object != nullptr;
         object = dataset.nextInContainer(object))
        if (auto* const element = dynamic_cast<DcmElement*>(object)) visit(*element);
}

/// Overlays and curves, which have a range of groups each.
const char* drawingOf(const DcmTagKey& tag) {
    const int family = tag.getGroup() & 0xFF00;
    if (isPrivate(tag)) return nullptr;
    return family == 0x6000 ? "overlay" : family == 0x5000 ? "curve" : nullptr;
}

/// Sorts the elements of one data set.
class Gatherer {
public:
    Gatherer(DcmItem& dataset, ElementText& text, const Keep& keep)
        : dataset_(dataset), text_(text), keep_(keep) {}

    Metadata gather() {
        forEachElement(dataset_, [&](DcmElement& element) { lookAhead(element); });
        forEachElement(dataset_, [&](DcmElement& element) { take(element); });
        if (text_.escapedCount() > 0)
            found_.notes.push_back("bytes outside the file's character set in " +
                                   counted(text_.escapedCount(), "text") + ", written as <E4>");
        return std::move(found_);
    }

private:
    /// What the other elements' meaning depends on: who owns the private ones, and which standard.
    void lookAhead(DcmElement& element) {
        const DcmTag& tag = element.getTag();
        const std::uint16_t block = tag.getElement();
        if (tag.getGroup() == componentGroup && block != 0) found_.isComponent = true;
        if (!isPrivate(tag) || block < firstBlock || block > lastBlock) return;
        std::string creator = plainText(element);
        if (creator.starts_with(componentCreator)) found_.isComponent = true;
        creators_[{tag.getGroup(), block}] = std::move(creator);
    }

    void take(DcmElement& element) {
        const DcmTag& tag = element.getTag();
        const bool isStructure = tag.getElement() == 0 || tag == DCM_SpecificCharacterSet ||
                                 tag.getGroup() == 0x7FE0 || tag == DCM_DataSetTrailingPadding;
        if (isStructure || isOwn(tag) || element.isEmpty()) return;
        if (const char* const drawing = drawingOf(tag)) return leaveOutDrawing(element, drawing);
        const Attribute* const attribute = attributeOf(tag);
        if (attribute == nullptr) return leaveOut(element.getVR() == EVR_PN);
        if (identifies(attribute->kind) && !keep_(attribute->kind)) return leaveOut(true);
        if (attribute->kind == Kind::present) return add(*attribute, "present");
        const std::optional<std::string> value = text_.of(element, *attribute);
        if (!value || value->size() > longestValue) return leaveOut(false);
        if (!value->empty()) add(*attribute, *value);
    }

    /// Who has reserved the block that an element is in.
    [[nodiscard]] std::string_view creatorOf(std::uint16_t group, std::uint16_t block) const {
        const auto found = creators_.find({group, block});
        return found == creators_.end() ? std::string_view() : found->second;
    }

    /// The block of an earlier writer of ours, which is read by itself.
    [[nodiscard]] bool isOwn(const DcmTagKey& tag) const {
        return tag.getGroup() == ownGroup &&
               (tag.getElement() == ownCreatorElement || tag.getElement() == ownTextElement) &&
               creatorOf(ownGroup, ownCreatorElement) == ownCreator;
    }

    [[nodiscard]] const Attribute* attributeOf(const DcmTagKey& tag) const {
        const std::uint16_t element = tag.getElement();
        if (!isPrivate(tag)) return findAttribute(tag.getGroup(), element, found_.isComponent);
        return findPrivateComponent(creatorOf(tag.getGroup(), element >> 8),
                                    static_cast<std::uint8_t>(element & 0xFF));
    }

    void add(const Attribute& attribute, std::string value) {
        const bool isIdentity = identifies(attribute.kind),
                   isComponent = attribute.kind == Kind::component;
        std::vector<Entry>& entries = isIdentity    ? found_.identity
                                      : isComponent ? found_.component
                                                    : found_.technical;
        if (std::ranges::find(entries, attribute.keyword, &Entry::key) != entries.end())
            return leaveOut(false);
        const char* const section = isIdentity    ? identitySection
                                    : isComponent ? componentSection
                                                  : technicalSection;
        entries.push_back({section, attribute.keyword, std::move(value)});
    }

    void leaveOut(bool identifying) {
        ++found_.leftOut;
        if (identifying) ++found_.identifying;
    }

    void leaveOutDrawing(DcmElement& element, const char* drawing) {
        leaveOut(false);
        const std::uint16_t group = element.getTag().getGroup();
        if (group == lastDrawing_) return;
        lastDrawing_ = group;
        constexpr char digits[] = "0123456789ABCDEF";
        std::string number;
        for (int shift = 12; shift >= 0; shift -= 4) number += digits[group >> shift & 15];
        found_.notes.push_back(std::string(drawing) + ' ' + number + " is left out");
    }

    DcmItem& dataset_;
    ElementText& text_;
    const Keep& keep_;
    Metadata found_;
    std::map<std::pair<std::uint16_t, std::uint16_t>, std::string> creators_;  // group, block
    std::uint16_t lastDrawing_ = 0;
};

}  // namespace

Metadata gatherMetadata(DcmItem& dataset, ElementText& text, const Keep& keep) {
    return Gatherer(dataset, text, keep).gather();
}

std::string valueOf(const std::vector<Entry>& entries, std::string_view key) {
    const auto found = std::ranges::find(entries, key, &Entry::key);
    return found == entries.end() ? "" : found->value;
}

std::string ownMetadataText(DcmItem& dataset) {
    if (plainText(dataset, DcmTagKey(ownGroup, ownCreatorElement)) != ownCreator) return "";
    return plainText(dataset, DcmTagKey(ownGroup, ownTextElement));
}

}  // namespace lumo::interchange::dicom
