// What concerns a section or the settings text as a whole: bodies, numbered keys, the text itself.
#include <algorithm>
#include <charconv>
#include <climits>
#include <utility>

#include "frame/ini2_document.h"
#include "frame/ini2_text.h"

namespace lumo::ini {
namespace {

/// Hands chunks of text on, with the line end that a last line needs once something follows it.
template <class Sink>
struct Joiner {
    Sink sink;
    bool open = false;

    void operator()(std::string_view chunk) {
        if (chunk.empty()) return;
        if (open) sink("\n");
        sink(chunk);
        open = chunk.back() != '\n';
    }
};

template <class Receiver>
void eachChunk(const Block& block, Receiver&& receive) {
    receive(block.unread);
    if (!block.content) return;
    for (const Piece& piece : block.content->pieces) receive(piece.text);
}

}  // namespace

std::string belowHeader(const Block& block) {
    std::string text;
    const auto add = [&](std::string_view chunk) { text.append(chunk); };
    eachChunk(block, Joiner<decltype(add)>{add});
    return text;
}

std::optional<int> Document::maxIndex(std::string_view section, std::string_view prefix) {
    std::optional<int> largest;
    std::string lineScratch, scratch;
    Entry entry;
    const auto consider = [&](std::string_view text) {
        std::string_view line;
        for (Lines lines(text); lines.next(line);) {
            if (!mayBegin(line, prefix) || !readEntry(line, lineScratch, entry)) continue;
            const std::string_view key = plain(entry.key, scratch);
            if (!key.starts_with(prefix)) continue;
            const std::string_view number = key.substr(prefix.size());
            if (number.find_first_not_of("0123456789") != number.npos) continue;
            int index = 0;
            const char* const end = number.data() + number.size();
            const bool fits = std::from_chars(number.data(), end, index).ec == std::errc{};
            if (fits && index < INT_MAX && index >= largest.value_or(0)) largest = index;
        }
    };
    for (Block* block = find(section).first; block; block = block->next)
        eachChunk(*block, consider);
    return largest;
}

std::string Document::body(std::string_view section) {
    std::string bytes;
    const auto decode = [&](std::string_view text) {
        std::string_view line;
        for (Lines lines(text); lines.next(line);) {
            if (!line.starts_with(lineMark)) {
                bytes.append(line);
                continue;
            }
            const BodyLine decoded = decodeLine(line);
            bytes.append(decoded.bytes);
            if (decoded.ended && line.ends_with('\n')) bytes.push_back('\n');
        }
    };
    Joiner<decltype(decode)> join{decode};
    for (Block* block = find(section).first; block; block = block->next) eachChunk(*block, join);
    return bytes;
}

void Document::setBody(std::string_view section, std::string_view bytes, const char* comment) {
    std::string text;
    std::string_view line;
    for (Lines lines(bytes); lines.next(line);) {
        const bool isEnded = line.ends_with('\n');
        if (isEnded) line.remove_suffix(1);
        encodeLine(text, line, isEnded);
    }
    const std::string_view unread = keep(text);
    Section found = find(section);
    if (!found) {
        found = addBlock(section, keep(headerLine(section, comment)));
    } else if (comment) {
        found.first->header = keep(headerLine(section, comment));
    }
    Block& first = *found.first;
    for (Block* block = first.next; block;) *std::exchange(block, block->next) = {};
    first.next = nullptr;
    first.unread = unread;
    first.content.reset();
    if (sections_) sections_->find(section)->second.last = &first;
}

template <class Sink>
void Document::emit(Sink sink) const {
    sink(byteOrderMark_);
    if (blocks_.empty()) return sink(source_);
    Joiner<Sink> join{sink};
    for (const Block& block : blocks_) {
        join(block.header);
        eachChunk(block, join);
    }
}

std::size_t Document::size() const {
    std::size_t total = 0;
    emit([&](std::string_view chunk) { total += chunk.size(); });
    return total;
}

void Document::copyTo(char* target) const {
    emit([&](std::string_view chunk) { target = std::copy(chunk.begin(), chunk.end(), target); });
}

}  // namespace lumo::ini
