// A settings text taken apart: sections and pieces, questions about entries and changes of them.
#include "frame/ini2_document.h"

#include <charconv>
#include <climits>
#include <cstring>
#include <utility>

#include "frame/ini2_text.h"

namespace lumo::ini {
namespace {

constexpr std::uint32_t walksBeforeIndex = 16;

/// Lines behind lines: a last line without line end needs one once something follows it.
void join(std::string& text, std::string_view lines) {
    if (lines.empty()) return;
    if (!text.empty() && text.back() != '\n') text.push_back('\n');
    text.append(lines);
}

void joinPieces(std::string& text, const Block& block) {
    for (const Piece& piece : block.pieces) join(text, piece.text);
}

void link(Section& section, Block& block) {
    (section.last ? section.last->next : section.first) = &block;
    section.last = &block;
    block.section = &section;
    section.isRead &= block.pieces.empty();
}

}  // namespace

std::string linesOf(const Block& block) {
    std::string text;
    joinPieces(text, block);
    return text;
}

void addUnread(Block& block, std::string_view lines) {
    if (lines.empty()) return;
    block.pieces.push_back({lines, {}, 0, Piece::unread});
    if (block.section) block.section->isRead = false;
}

std::string valueOf(const Piece& piece) {
    std::string lineScratch, scratch;
    Entry entry;
    readEntry(piece.line(), lineScratch, entry);
    return std::string(plain(entry.value, scratch));
}

Document::Document(std::string_view text)
    : source_(text), arena_(text.size() + 1024, std::pmr::new_delete_resource()) {
    text = source_;
    byteOrderMark_ = text.substr(0, byteOrderMarks(text));
    text.remove_prefix(byteOrderMark_.size());
    SectionHeader header = findHeader(text, 0);
    Block& preamble = blocks_.emplace_back(&arena_);
    link(sections_.emplace_back(), preamble);
    addUnread(preamble, text.substr(0, header.at));
    std::string scratch;
    while (header.at < text.size()) {
        const SectionHeader next = findHeader(text, header.at + header.line.size());
        const std::string_view block = text.substr(header.at, next.at - header.at);
        addBlock(plain(header.name, scratch), header.line, block.substr(header.line.size()));
        header = next;
    }
}

std::string_view Document::keep(std::string_view text) {
    if (text.empty()) return {};
    char* const kept = static_cast<char*>(arena_.allocate(text.size(), 1));
    std::memcpy(kept, text.data(), text.size());
    return {kept, text.size()};
}

std::string_view Document::ended(std::string_view line) {
    if (line.ends_with('\n') && !isOpenLine(line)) return line;
    std::string text(line);
    if (isOpenLine(line)) {
        text.clear();
        encodeLine(text, decodeLine(line).bytes, true);
    } else {
        text.push_back('\n');
    }
    return keep(text);
}

Section* Document::find(std::string_view name) {
    const auto at = names_.find(name);
    return at == names_.end() ? nullptr : at->second;
}

/// Views header and lines, which must stay. Nobody sees the block before it has its section.
void Document::addBlock(std::string_view name, std::string_view header, std::string_view lines) {
    Block& block = blocks_.emplace_back(&arena_);
    block.header = header;
    addUnread(block, lines);
    Section* section = find(name);
    if (!section) {
        section = &sections_.emplace_back();
        section->number = sections_.size() - 1;
        section->name = keep(name);
        names_.emplace(section->name, section);
    }
    link(*section, block);
}

/// Takes lines apart; the pieces view them.
std::pmr::list<Piece> Document::piecesOf(std::string_view text) {
    std::pmr::list<Piece> pieces(&arena_);
    std::string lineScratch, scratch;
    Entry entry;
    const char* begin = text.data();  // of the piece that grows
    const char* comment = nullptr;    // the line before, if it is an own comment
    const auto add = [&](const char* end, Piece::Kind kind) {
        if (begin != end)
            pieces.push_back({{begin, static_cast<std::size_t>(end - begin)}, {}, 0, kind});
        begin = end;
    };
    std::string_view line;
    for (Lines lines(text); lines.next(line);) {
        if (readEntry(line, lineScratch, entry)) {
            add(comment ? comment : line.data(), Piece::lines);
            add(line.data() + line.size(), Piece::entry);
            Piece& piece = pieces.back();
            const bool isEscaped = line.starts_with(lineMark) || entry.key.starts_with(mark);
            piece.key = isEscaped ? keep(plain(entry.key, scratch)) : entry.key;
            piece.begin = piece.text.size() - line.size();
        }
        comment = line.starts_with(commentMark) ? line.data() : nullptr;
    }
    add(text.data() + text.size(), Piece::lines);
    return pieces;
}

void Document::read(Section& section) {
    if (section.isRead) return;
    for (Block* block = section.first; block; block = block->next)
        for (auto at = block->pieces.begin(); at != block->pieces.end();) {
            const auto piece = at++;
            if (piece->kind != Piece::unread) continue;
            block->pieces.splice(piece, piecesOf(piece->text));
            block->pieces.erase(piece);
        }
    section.isRead = true;
}

void Document::makeIndex(Section& section) {
    std::multimap<std::string_view, Piece*> index;
    for (Block* block = section.first; block; block = block->next)
        for (Piece& piece : block->pieces)
            if (piece.kind == Piece::entry) index.emplace(piece.key, &piece);
    section.index = std::move(index);
}

/// Of several entries with this key the first.
Piece* Document::find(Section& section, std::string_view key) {
    read(section);
    if (!section.index && ++section.walks > walksBeforeIndex) makeIndex(section);
    if (section.index) {
        const auto at = section.index->lower_bound(key);  // find() may give any of several
        return at != section.index->end() && at->first == key ? at->second : nullptr;
    }
    for (Block* block = section.first; block; block = block->next)
        for (Piece& piece : block->pieces)
            if (piece.kind == Piece::entry && piece.key == key) return &piece;
    return nullptr;
}

std::optional<std::string> Document::value(std::string_view section, std::string_view key) {
    Section* const found = find(section);
    const Piece* const piece = found ? find(*found, key) : nullptr;
    if (!piece) return std::nullopt;
    return valueOf(*piece);
}

void Document::setEntry(std::string_view section, std::string_view key, std::string_view value,
                        const char* comment) {
    if (!find(section)) addBlock(section, keep(headerLine(section, nullptr)), {});
    Section& found = *find(section);
    Piece* const old = find(found, key);
    const std::string own = comment ? commentLine(comment) : std::string(old ? old->comment() : "");
    store(found, key, old, own, entryLine(key, value));
}

/// Puts an entry into the place of the old one, or behind everything if there is none.
void Document::store(Section& section, std::string_view key, Piece* old, std::string_view comment,
                     std::string_view line) {
    const std::string_view text = keep(std::string(comment).append(line));
    const Piece piece{text, old ? old->key : keep(key), comment.size(), Piece::entry};
    if (!old) {
        old = &append(section);
        if (section.index) section.index->emplace(piece.key, old);
    }
    *old = piece;
}

/// A new last piece, empty until somebody fills it. A last line that was set without a line end
/// gets one, so that another can follow.
Piece& Document::append(Section& section) {
    std::pmr::list<Piece>& pieces = section.last->pieces;
    while (!pieces.empty() && pieces.back().text.empty()) pieces.pop_back();
    std::string_view& last = pieces.empty() ? section.last->header : pieces.back().text;
    const std::string_view inside = withoutEnd(last);
    const std::string_view line = last.substr(inside.rfind('\n') + 1);
    if (isOpenLine(line)) {
        const std::string_view before = last.substr(0, last.size() - line.size());
        last = keep(std::string(before).append(ended(line)));
    }
    return pieces.emplace_back();
}

bool Document::removeEntry(std::string_view section, std::string_view key) {
    Section* const found = find(section);
    bool removed = false;
    while (Piece* const piece = found ? find(*found, key) : nullptr) {
        if (found->index) found->index->erase(found->index->lower_bound(key));
        *piece = {};
        removed = true;
    }
    return removed;
}

std::optional<int> Document::maxIndex(std::string_view section, std::string_view prefix) {
    Section* const found = find(section);
    if (!found) return std::nullopt;
    read(*found);
    std::optional<int> largest;
    for (Block* block = found->first; block; block = block->next)
        for (const Piece& piece : block->pieces) {
            if (piece.kind != Piece::entry || !piece.key.starts_with(prefix)) continue;
            const std::string_view number = piece.key.substr(prefix.size());
            if (number.find_first_not_of("0123456789") != number.npos) continue;
            int index = 0;
            const char* const end = number.data() + number.size();
            const bool fits = std::from_chars(number.data(), end, index).ec == std::errc{};
            if (fits && index < INT_MAX && index >= largest.value_or(0)) largest = index;
        }
    return largest;
}

std::string Document::body(std::string_view section) {
    Section* const found = find(section);
    std::string text;
    for (Block* block = found ? found->first : nullptr; block; block = block->next)
        joinPieces(text, *block);
    return decodeBody(text);
}

void Document::setBody(std::string_view section, std::string_view bytes, const char* comment) {
    const std::string_view lines = keep(encodeBody(bytes));
    Section* const found = find(section);
    if (!found) return addBlock(section, keep(headerLine(section, comment)), lines);
    Block body(&arena_);
    addUnread(body, lines);
    body.header = comment ? keep(headerLine(section, comment)) : found->first->header;
    Block* const first = found->first;
    for (Block* block = first; block; block = std::exchange(block->next, nullptr)) {
        block->section = nullptr;
        block->pieces.clear();
    }
    first->pieces.swap(body.pieces);
    first->header = body.header;
    *found = {.name = found->name, .number = found->number};
    link(*found, *first);
}

std::string Document::text() const {
    std::string text;
    text.reserve(source_.size() + 256);  // room for what one change adds
    for (const Block& block : blocks_) {
        if (!block.section) continue;
        join(text, block.header);
        joinPieces(text, block);
    }
    return byteOrderMark_.empty() ? text : std::string(byteOrderMark_).append(text);
}

}  // namespace lumo::ini
