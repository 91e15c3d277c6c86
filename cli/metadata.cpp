// An image's metadata as sections and entries, got through the library's own accessors.
#include "cli/metadata.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <utility>

namespace lumo::cli {

namespace {

constexpr std::string_view extendedHeaderSection = "Image_XHEAD";

std::string metadataText(lmImage* image) {
    std::int32_t size = 0;
    LumoGetMetaData(image, nullptr, &size);
    std::string text(static_cast<std::size_t>(std::max(size, 1)), '\0');
    LumoGetMetaData(image, text.data(), &size);
    return text.substr(0, text.find('\0'));
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\r";
    const std::size_t begin = text.find_first_not_of(blanks);
    if (begin == std::string_view::npos) return {};
    return text.substr(begin, text.find_last_not_of(blanks) - begin + 1);
}

/// Takes the next line off the text, without its end.
std::string_view takeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

}  // namespace

std::string metaValue(lmImage* image, const std::string& section, const std::string& key) {
    std::int32_t size = 0;
    LumoGetMetaEntry(image, section.c_str(), key.c_str(), nullptr, &size);
    std::string value(static_cast<std::size_t>(std::max(size, 1)), '\0');
    LumoGetMetaEntry(image, section.c_str(), key.c_str(), value.data(), &size);
    value.pop_back();  // the terminating zero
    return value;
}

std::string extendedHeader(lmImage* image) {
    std::int32_t size = 0;
    LumoGetExtHeader(image, nullptr, &size);
    std::string body(static_cast<std::size_t>(std::max(size, 0)), '\0');
    if (!body.empty()) LumoGetExtHeader(image, body.data(), &size);
    return body;
}

std::vector<MetaEntry> readMetadata(lmImage* image) {
    const std::string text = metadataText(image);
    std::string section;
    std::set<std::pair<std::string, std::string>> seen;
    std::unordered_map<std::string, std::size_t> order;  // of the sections
    std::vector<MetaEntry> entries;
    std::string_view rest = text;
    constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
    if (rest.starts_with(utf8Mark)) rest.remove_prefix(utf8Mark.size());
    while (!rest.empty()) {
        const std::string_view line = trimmed(takeLine(rest));
        if (line.starts_with('[') && line.ends_with(']')) {
            section = line.substr(1, line.size() - 2);
            order.emplace(section, order.size());
            continue;
        }
        const std::size_t equals = line.find('=');
        if (line.starts_with(';') || equals == std::string_view::npos) continue;
        const std::string key(trimmed(line.substr(0, equals)));
        if (section == extendedHeaderSection || !seen.emplace(section, key).second) continue;
        // The text may hold a value in an escaped form, which the accessor decodes; it does not
        // find a key that is itself escaped, and cuts a long value.
        const std::string_view written = trimmed(line.substr(equals + 1));
        std::string value = metaValue(image, section, key);
        if (written.starts_with(value)) value = written;
        entries.push_back({section, key, std::move(value)});
    }
    std::ranges::stable_sort(entries, {},
                             [&](const MetaEntry& entry) { return order[entry.section]; });
    return entries;
}

}  // namespace lumo::cli
