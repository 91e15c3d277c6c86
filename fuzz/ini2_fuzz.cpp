// The settings store on any text: the text stays as it is, what is set comes back, a set changes
// nothing else, and merging twice equals merging once.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "frame/ini2.h"
#include "frame/ini2_document.h"
#include "frame/ini2_lookup.h"

namespace {

void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "broken: %s\n", what);
    std::abort();
}

std::string textOf(ini2& store) {
    return {store.getBuffer(), store.getSize()};
}

/// The store that a text makes.
struct Store : ini2 {
    explicit Store(const std::string& text) : ini2(text.data(), static_cast<int>(text.size())) {}
};

std::string valueOf(ini2& store, const std::string& section, const std::string& key) {
    char value[1024];
    store.get(section.c_str(), key.c_str(), value, "");
    return value;
}

std::string bodyOf(ini2& store, const std::string& section) {
    int size = 0;
    require(store.getBody(section.c_str(), nullptr, &size) == 0, "a body's size can be asked for");
    std::string body(static_cast<std::size_t>(size), '\0');
    store.getBody(section.c_str(), body.data(), &size);
    require(static_cast<std::size_t>(size) == body.size(), "a body has the size that it said");
    return body;
}

/// Cuts what stands before the first 0xFE off the input.
std::string take(std::string_view& input) {
    const std::string taken(input.substr(0, input.find('\xFE')));
    input.remove_prefix(std::min(taken.size() + 1, input.size()));
    return taken;
}

std::string asText(const std::string& bytes) {
    return bytes.c_str();
}

void entryComesBack(const std::string& text, const std::string& section, const std::string& key,
                    const std::string& value, bool isLong) {
    Store before(text), store(text);
    if (isLong)  // lets the store make its index first
        for (int i = 0; i < 20; ++i) valueOf(store, section, key);
    const bool isNew = store.remove(section.c_str(), key.c_str()) != 0;
    if (isNew) require(textOf(store) == text, "removing nothing changes nothing");
    store.set(section.c_str(), key.c_str(), value.c_str(), nullptr);
    Store again(textOf(store));
    for (ini2* one : {static_cast<ini2*>(&store), static_cast<ini2*>(&again)}) {
        require(valueOf(*one, section, key) == value.substr(0, 1023), "a value comes back");
        for (const std::string& other : {section + "2", key, value, std::string("A")}) {
            if (other != section)
                require(bodyOf(*one, other) == bodyOf(before, other) ||
                            bodyOf(*one, other) == bodyOf(before, other) + '\n',
                        "other sections stay");
            if (other != key)
                require(valueOf(*one, section, other) == valueOf(before, section, other),
                        "other entries stay");
        }
        int index = 0;
        if (one->maxIndex(&index, section.c_str(), "") == 0)
            require(index >= 0 && index + 1 > 0, "one more than an index fits");
    }
}

void bodyComesBack(const std::string& text, const std::string& section, const std::string& body) {
    Store store(text);
    store.setBody(section.c_str(), body.data(), static_cast<int>(body.size()), nullptr);
    Store again(textOf(store));
    ini2 merged;
    merged.set("before", "a", 1L, nullptr);
    if (section != "before") merged.set(again);
    if (section != "before") require(bodyOf(merged, section) == body, "a body survives a merge");
    require(bodyOf(store, section) == body && bodyOf(again, section) == body, "a body comes back");
}

void mergingAgainChangesNothing(const std::string& text, const std::string& otherText) {
    Store store(text), other(otherText);
    store.set(other);
    const std::string once = textOf(store);
    store.set(other);
    require(textOf(store) == once, "merging twice equals merging once");
    Store again(once);
    again.set(other);
    require(textOf(again) == once, "merging again after rereading changes nothing");
    require(textOf(other) == otherText, "the merged store stays");
}

void readersAgree(const std::string& text, const std::string& section, const std::string& key) {
    Store store(text);
    char value[1024];
    const bool isThere = store.get(section.c_str(), key.c_str(), value, "") == 0;
    const auto found = lumo::ini::findValue(text, section, key);
    require(found.has_value() == isThere, "a single question finds what the store holds");
    const auto asRead = [](const std::string& whole) { return asText(whole.substr(0, 1023)); };
    require(asRead(found.value_or("")) == value, "a single question reads what the store reads");
    bool isVisited = false;
    std::set<std::pair<std::string, std::string>> seen;
    lumo::ini::Document(text).visitEntries(
        [&](std::string_view in, std::string_view name, const std::string& whole) {
            isVisited |= in == section && name == key && asRead(whole) == value;
            require(in.empty() || seen.emplace(in, name).second, "an entry is visited once");
            return true;
        });
    require(isVisited || !isThere, "an entry is visited");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view input(reinterpret_cast<const char*>(data), size);
    const bool isLong = size % 2 != 0;
    const std::string raw = take(input), text = asText(raw);
    Store store(raw);
    require(textOf(store) == text, "a text that nobody changes stays");
    const std::string section = asText(take(input)), key = asText(take(input));
    const std::string value = asText(take(input)), body = take(input);
    entryComesBack(text, section, key, value, isLong);
    bodyComesBack(text, section, body);
    readersAgree(text, section, key);
    mergingAgainChangesNothing(text, asText(body));
    return 0;
}
