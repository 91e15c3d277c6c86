// Edit distances, row by row.
#include "cli/nearest.h"

#include <algorithm>

namespace lumo::cli {

namespace {

/// How many letters to leave out, add, replace, or exchange with their neighbour.
std::size_t distance(std::string_view a, std::string_view b) {
    const std::size_t width = b.size() + 1;
    std::vector<std::size_t> table((a.size() + 1) * width);
    for (std::size_t i = 0; i <= a.size(); ++i)
        for (std::size_t k = 0; k <= b.size(); ++k) {
            std::size_t& here = table[i * width + k];
            here = i == 0 ? k : i;
            if (i == 0 || k == 0) continue;
            const std::size_t* above = &here - width;
            here = std::min({above[0] + 1, (&here)[-1] + 1, above[-1] + (a[i - 1] != b[k - 1])});
            if (i > 1 && k > 1 && a[i - 1] == b[k - 2] && a[i - 2] == b[k - 1])
                here = std::min(here, table[(i - 2) * width + k - 2] + 1);
        }
    return table.back();
}

}  // namespace

std::string nearest(std::string_view mistyped, const std::vector<std::string>& names) {
    std::string best;
    std::size_t least = std::max<std::size_t>(mistyped.size() / 3, 1) + 1;
    for (const std::string& name : names) {
        // The start of a name is near to it, however long it is.
        const bool begun = mistyped.size() >= 3 && name.starts_with(mistyped);
        const std::size_t letters = begun ? 1 : distance(mistyped, name);
        if (letters >= least) continue;
        least = letters;
        best = name;
    }
    return best;
}

}  // namespace lumo::cli
