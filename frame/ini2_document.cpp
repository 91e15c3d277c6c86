// Sections and entries of the settings store's text: questions, changes, the text as a whole.
#include "frame/ini2_document.h"

#include <cstring>
#include <functional>

#include "frame/ini2_text.h"

namespace lumo::ini {
namespace {

constexpr std::uint32_t walksBeforeTree = 16;

std::vector<Piece> piecesOf(std::string_view text) {
    std::vector<Piece> pieces;
    std::string scratch;
    Entry entry;
    const char* begin = text.data();  // of the piece that grows
    const char* comment = nullptr;    // the line before, if it is an own comment
    const auto add = [&](const char* end, std::size_t at) {
        if (begin != end) pieces.push_back({{begin, static_cast<std::size_t>(end - begin)}, at});
        begin = end;
    };
    std::string_view line;
    for (Lines lines(text); lines.next(line);) {
        if (readEntry(line, scratch, entry)) {
            const char* const start = comment ? comment : line.data();
            add(start, Piece::noEntry);
            add(line.data() + line.size(), static_cast<std::size_t>(line.data() - start));
        }
        comment = line.starts_with(commentMark) ? line.data() : nullptr;
    }
    add(text.data() + text.size(), Piece::noEntry);
    return pieces;
}

/// Names and keys live in the text itself unless they had to be decoded.
bool isPartOf(std::string_view text, std::string_view part) {
    const std::less_equal<const char*> notAfter;
    return notAfter(text.data(), part.data()) &&
           notAfter(part.data() + part.size(), text.data() + text.size());
}

Piece* walkPieces(Block& block, std::string_view key) {
    if (!block.content) return nullptr;
    for (Piece& piece : block.content->pieces)
        if (piece.isEntry() && mayBegin(piece.line(), key) && !findEntry(piece.line(), key).empty())
            return &piece;
    return nullptr;
}

}  // namespace

Content& contentOf(Block& block) {
    if (!block.content) block.content = std::make_unique<Content>();
    return *block.content;
}

Document::Document(std::string_view source) : source_(source) {
    constexpr std::string_view utf8Mark = "\xEF\xBB\xBF";
    std::size_t at = 0;
    while (source.substr(at).starts_with(utf8Mark)) at += utf8Mark.size();
    byteOrderMark_ = source.substr(0, at);
    source_.remove_prefix(at);
}

void Document::split() {
    if (!blocks_.empty()) return;
    Header header = findHeader(source_, 0);
    std::deque<Block> blocks(1);
    blocks[0].unread = source_.substr(0, header.at);
    while (header.at < source_.size()) {
        Block& block = blocks.emplace_back();
        block.header = firstLine(source_.substr(header.at));
        const std::size_t begin = header.at + block.header.size();
        header = findHeader(source_, begin);
        block.unread = source_.substr(begin, header.at - begin);
        block.order = static_cast<std::uint32_t>(blocks.size() - 1);
    }
    blocks_.swap(blocks);
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

Section Document::find(std::string_view name) {
    if (sections_) {
        const auto at = sections_->find(name);
        return at == sections_->end() ? Section{} : at->second;
    }
    split();
    const bool plantTree = ++walks_ > walksBeforeTree;
    std::map<std::string_view, Section> tree;
    Section found;
    std::string scratch;
    for (Block& block : blocks_) {
        if (block.header.empty()) continue;
        const std::string_view other = plain(findHeader(block.header, 0).name, scratch);
        if (other == name) found.link(block);
        if (plantTree) tree[isPartOf(block.header, other) ? other : keep(other)].link(block);
    }
    if (plantTree) sections_ = std::move(tree);
    return found;
}

Section Document::addBlock(std::string_view name, std::string_view header) {
    // It grows without a header: whatever fails before it has one, nobody sees the block.
    Block& block = blocks_.emplace_back();
    block.order = static_cast<std::uint32_t>(blocks_.size() - 1);
    Section section;
    if (sections_) {
        const auto at = sections_->find(name);
        Section& known = at != sections_->end() ? at->second : (*sections_)[keep(name)];
        known.link(block);
        section = known;
    } else {
        section.link(block);
    }
    block.header = header;
    return section;
}

void Document::parse(Block& block) {
    if (block.unread.empty()) return;
    std::vector<Piece> pieces = piecesOf(block.unread);
    Content& content = contentOf(block);
    pieces.insert(pieces.end(), content.pieces.begin(), content.pieces.end());
    content.pieces.swap(pieces);
    block.unread = {};
}

/// Null as long as walking is cheaper.
EntryTree* Document::entriesOf(Section section) {
    Block& first = *section.first;
    if (first.content && first.content->entries) return first.content->entries.get();
    if (++first.walks <= walksBeforeTree) return nullptr;
    auto tree = std::make_unique<EntryTree>();
    std::string lineScratch, scratch;
    Entry entry;
    for (Block* block = section.first; block; block = block->next) {
        parse(*block);
        const std::vector<Piece>& pieces = contentOf(*block).pieces;
        for (std::size_t i = 0; i < pieces.size(); ++i) {
            if (!pieces[i].isEntry() || !readEntry(pieces[i].line(), lineScratch, entry)) continue;
            const std::string_view key = plain(entry.key, scratch);
            tree->emplace(isPartOf(pieces[i].text, key) ? key : keep(key), Place{block, i});
        }
    }
    first.content->entries = std::move(tree);
    return first.content->entries.get();
}

Piece* Document::findPiece(Section section, std::string_view key) {
    if (EntryTree* tree = entriesOf(section)) {
        const auto at = tree->lower_bound(key);  // find() may give any of several
        const bool found = at != tree->end() && at->first == key;
        return found ? &at->second.block->content->pieces[at->second.piece] : nullptr;
    }
    for (Block* block = section.first; block; block = block->next) {
        if (!findEntry(block->unread, key).empty()) parse(*block);
        if (Piece* piece = walkPieces(*block, key)) return piece;
    }
    return nullptr;
}

std::string_view Document::findLine(std::string_view section, std::string_view key) {
    if (blocks_.empty() && ++walks_ <= walksBeforeTree) return findEntry(source_, section, key);
    const Section found = find(section);
    if (!found) return {};
    if (entriesOf(found)) {
        const Piece* piece = findPiece(found, key);
        return piece ? piece->line() : std::string_view{};
    }
    for (Block* block = found.first; block; block = block->next) {
        const std::string_view line = findEntry(block->unread, key);
        if (!line.empty()) return line;
        if (const Piece* piece = walkPieces(*block, key)) return piece->line();
    }
    return {};
}

void Document::setEntry(std::string_view section, std::string_view key, std::string_view value,
                        const char* comment) {
    Section found = find(section);
    if (!found) found = addBlock(section, keep(headerLine(section, nullptr)));
    Piece* old = findPiece(found, key);
    const std::string own = comment ? commentLine(comment) : std::string(old ? old->comment() : "");
    store(found, key, old, own, entryLine(key, value));
}

/// Puts an entry into the place of the old one, or behind everything if there is none.
void Document::store(Section section, std::string_view key, Piece* old, std::string_view comment,
                     std::string_view line) {
    const Piece piece{keep(std::string(comment).append(line)), comment.size()};
    if (old) {
        *old = piece;
        return;
    }
    Piece& added = append(section);
    EntryTree* const tree = contentOf(*section.first).entries.get();
    const Place place{section.last, contentOf(*section.last).pieces.size() - 1};
    if (tree) tree->emplace(keep(key), place);
    added = piece;
}

/// A new last piece, empty until somebody fills it.
Piece& Document::append(Section section) {
    endLastLine(*section.last);
    return contentOf(*section.last).pieces.emplace_back();
}

/// A last line that was set without a line end gets one, so that another can follow.
void Document::endLastLine(Block& block) {
    std::vector<Piece>& pieces = contentOf(block).pieces;
    while (!pieces.empty() && pieces.back().text.empty()) pieces.pop_back();
    const std::string_view text = pieces.empty() ? block.unread : pieces.back().text;
    const std::string_view inside = withoutEnd(text);
    if (!inside.ends_with('%')) return;
    const std::string_view line = text.substr(inside.rfind('\n') + 1);
    if (!isOpenLine(line)) return;
    if (pieces.empty()) {
        parse(block);
        return endLastLine(block);
    }
    const std::string_view closed = ended(line);
    if (pieces.back().isEntry()) {
        const std::string_view comment = pieces.back().comment();
        pieces.back().text = keep(std::string(comment).append(closed));
    } else {
        pieces.push_back({closed});
        pieces.end()[-2].text.remove_suffix(line.size());
    }
}

bool Document::removeEntry(std::string_view section, std::string_view key) {
    const Section found = find(section);
    bool removed = false;
    while (Piece* piece = found ? findPiece(found, key) : nullptr) {
        const Content* first = found.first->content.get();
        if (first && first->entries) first->entries->erase(first->entries->lower_bound(key));
        *piece = {};
        removed = true;
    }
    return removed;
}

}  // namespace lumo::ini
