// Which of the lists of what identifies are taken along.
#include "interchange/dicom/keep.h"

#include <algorithm>
#include <string>

#include "interchange/helper_main.h"

namespace lumo::interchange::dicom {

namespace {

constexpr unsigned bit(Kind kind) {
    return 1U << static_cast<unsigned>(kind);
}

struct Name {
    std::string_view name;
    unsigned lists;
};

constexpr Name names[] = {
    {"device", bit(Kind::device)},
    {"dates", bit(Kind::dates)},
    {"uids", bit(Kind::uids)},
    {"people", bit(Kind::people)},
    {"all", bit(Kind::device) | bit(Kind::dates) | bit(Kind::uids) | bit(Kind::people)},
};

}  // namespace

Keep::Keep(std::string_view list) {
    while (!list.empty()) {
        const std::string_view name = list.substr(0, list.find(','));
        const auto found = std::ranges::find(names, name, &Name::name);
        if (found == std::end(names))
            throw Refusal("there is no list " + std::string(name) +
                          " to keep; there are device, dates, uids, people, and all");
        lists_ |= found->lists;
        list.remove_prefix(std::min(name.size() + 1, list.size()));
    }
}

}  // namespace lumo::interchange::dicom
