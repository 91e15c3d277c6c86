// INI text as lines: which of them head a section, which are entries.
#include "platform/ini_lines.h"

#include <algorithm>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace lumo::ini {

void Lines::searchOn() {
    block_ = searched_;
    const char* const bytes = text_.data() + block_;
    const std::size_t count = std::min<std::size_t>(text_.size() - block_, 64);
    searched_ += count;
#ifdef __SSE2__  // a memchr for each line takes twice as long: lines are short
    if (count == 64) {
        for (int i = 0; i < 4; ++i) {
            const __m128i part = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes) + i);
            const int equal = _mm_movemask_epi8(_mm_cmpeq_epi8(part, _mm_set1_epi8('\n')));
            ends_ |= static_cast<std::uint64_t>(equal) << 16 * i;
        }
        return;
    }
#endif
    for (std::size_t i = 0; i < count; ++i) ends_ |= std::uint64_t{bytes[i] == '\n'} << i;
}

std::string_view firstLine(std::string_view text) {
    const std::size_t end = text.find('\n');
    return end == text.npos ? text : text.substr(0, end + 1);
}

std::size_t byteOrderMarks(std::string_view text) {
    constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
    std::size_t size = 0;
    while (text.substr(size).starts_with(utf8Mark)) size += utf8Mark.size();
    return size;
}

std::optional<std::string_view> sectionName(std::string_view line) {
    const std::size_t end = line.find(']');
    if (!line.starts_with('[') || end == line.npos) return std::nullopt;
    return trimmed(line.substr(1, end - 1));
}

SectionHeader findHeader(std::string_view text, std::size_t from) {
    for (std::size_t at = from; (at = text.find('[', at)) != text.npos; ++at) {
        if (at > 0 && text[at - 1] != '\n') continue;
        const std::string_view line = firstLine(text.substr(at));
        if (const auto name = sectionName(line)) return {at, line, *name};
    }
    return {text.size(), {}, {}};
}

}  // namespace lumo::ini
