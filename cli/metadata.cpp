// An image's metadata as sections and entries, got through the library's own accessors.
#include "cli/metadata.h"

#include <algorithm>
#include <new>
#include <utility>

#include "cli/library.h"

namespace lumo::cli {

namespace {

struct Collection {
    std::vector<MetaEntry> entries;
    bool failed = false;
};

/// No exception may pass through the library.
int collect(const char* section, const char* key, const char* value, void* user) noexcept {
    auto& collection = *static_cast<Collection*>(user);
    try {
        collection.entries.push_back({section, key, value});
    } catch (const std::bad_alloc&) {
        collection.failed = true;
    }
    return collection.failed;
}

}  // namespace

std::vector<MetaEntry> readMetadata(lmImage* image, const std::string& file) {
    Collection collection;
    check(LumoForEachMetaEntry(image, collect, &collection), file);
    if (collection.failed) throw std::bad_alloc();
    return std::move(collection.entries);
}

std::string metaValue(lmImage* image, const std::string& section, const std::string& key,
                      const std::string& file) {
    std::int32_t size = 0;
    check(LumoGetMetaEntry(image, section.c_str(), key.c_str(), nullptr, &size), file);
    std::string value(static_cast<std::size_t>(std::max(size, 1)), '\0');
    check(LumoGetMetaEntry(image, section.c_str(), key.c_str(), value.data(), &size), file);
    value.pop_back();  // the terminating zero
    return value;
}

std::string extendedHeader(lmImage* image, const std::string& file) {
    std::int32_t size = 0;
    check(LumoGetExtHeader(image, nullptr, &size), file);
    std::string body(static_cast<std::size_t>(std::max(size, 0)), '\0');
    if (!body.empty()) check(LumoGetExtHeader(image, body.data(), &size), file);
    return body;
}

}  // namespace lumo::cli
