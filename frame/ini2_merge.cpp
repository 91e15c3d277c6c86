// Merging one settings text into another; it costs what the other one holds.
#include "frame/ini2_document.h"
#include "frame/ini2_text.h"

namespace lumo::ini {

void Document::merge(Document& other) {
    const std::size_t known = sections_.size();
    for (const Block& block : other.blocks_) {
        if (!block.section) continue;
        const bool isPreamble = block.section->number == 0;
        Section* const section = isPreamble ? &sections_.front() : find(block.section->name);
        // What is new here keeps every byte.
        if (!section || section->number >= known)
            addBlock(block.section->name, keep(ended(block.header)), keep(linesOf(block)));
        else if (isPreamble && section->first->pieces.empty())
            addUnread(*section->first, keep(linesOf(block)));
        else
            mergeBlock(*section, block, other);
    }
}

void Document::mergeBlock(Section& section, const Block& block, Document& other) {
    Section& from = *block.section;
    other.read(from);
    for (const Piece& piece : block.pieces) {
        if (piece.kind != Piece::entry)
            mergeLines(section, piece.text);
        else if (other.find(from, piece.key) == &piece)
            mergeEntry(section, piece);
    }
}

/// An entry that says the same already stays as it is, so that merging again changes nothing.
void Document::mergeEntry(Section& section, const Piece& piece) {
    Piece* const old = find(section, piece.key);
    std::string_view comment = piece.comment();
    if (old) {
        if (comment.empty()) comment = old->comment();
        if (comment == old->comment() && valueOf(*old) == valueOf(piece)) return;
    }
    store(section, piece.key, old, comment, ended(piece.line()));
}

void Document::mergeLines(Section& section, std::string_view lines) {
    if (lines.empty()) return;
    std::set<std::string_view>& others = othersOf(section);
    std::string_view line;
    for (Lines rest(lines); rest.next(line);) {
        line = ended(line);
        if (others.contains(line)) continue;
        const std::string_view kept = keep(line);
        append(section).text = kept;
        others.insert(kept);
    }
}

/// Comments of entries count too: where lines move, a comment may gain or lose its entry.
std::set<std::string_view>& Document::othersOf(Section& section) {
    if (section.others) return *section.others;
    read(section);
    std::set<std::string_view> others;
    for (Block* block = section.first; block; block = block->next)
        for (const Piece& piece : block->pieces) {
            std::string_view line;
            const bool isEntry = piece.kind == Piece::entry;
            for (Lines rest(isEntry ? piece.comment() : piece.text); rest.next(line);)
                others.insert(ended(line));
        }
    return section.others.emplace(std::move(others));
}

}  // namespace lumo::ini
