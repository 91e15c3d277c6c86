// Merging one settings text into another; it costs what the other one holds.
#include "frame/ini2_document.h"
#include "frame/ini2_text.h"

namespace lumo::ini {

void Document::merge(Document& other) {
    split();
    other.split();
    const std::size_t known = blocks_.size();
    mergePreamble(other);
    std::string scratch;
    for (std::size_t i = 1; i < other.blocks_.size(); ++i) {
        Block& block = other.blocks_[i];
        if (block.header.empty()) continue;
        const std::string_view name = plain(findHeader(block.header, 0).name, scratch);
        const Section section = find(name);
        if (!section || section.first->order >= known) {
            copyBlock(name, block);
        } else {
            mergeBlock(section, other.find(name), block, other);
        }
    }
}

void Document::mergePreamble(Document& other) {
    Block &mine = blocks_[0], &from = other.blocks_[0];
    if (mine.unread.empty() && !mine.content) {
        mine.unread = keep(belowHeader(from));
    } else {
        mergeBlock({&mine, &mine}, {&from, &from}, from, other);
    }
}

/// A section that is new here keeps every byte.
void Document::copyBlock(std::string_view name, const Block& block) {
    const std::string_view header = keep(ended(block.header));
    const std::string_view unread = keep(belowHeader(block));
    addBlock(name, header);
    blocks_.back().unread = unread;
}

void Document::mergeBlock(Section section, Section from, Block& block, Document& other) {
    other.parse(block);
    if (!block.content) return;
    std::string lineScratch, keyScratch, valueScratch;
    Entry entry;
    for (const Piece& piece : block.content->pieces) {
        if (!piece.isEntry()) {
            mergeOthers(section, piece.text);
        } else if (readEntry(piece.line(), lineScratch, entry)) {
            const std::string_view key = plain(entry.key, keyScratch);
            const bool counts = other.findPiece(from, key) == &piece;
            if (counts) mergeEntry(section, key, plain(entry.value, valueScratch), piece);
        }
    }
}

/// An entry that says the same already stays as it is, so that merging again changes nothing.
void Document::mergeEntry(Section section, std::string_view key, std::string_view value,
                          const Piece& piece) {
    Piece* const old = findPiece(section, key);
    std::string_view comment = piece.comment();
    if (old) {
        std::string lineScratch, scratch;
        Entry entry;
        readEntry(old->line(), lineScratch, entry);
        if (comment.empty()) comment = old->comment();
        if (comment == old->comment() && plain(entry.value, scratch) == value) return;
    }
    store(section, key, old, comment, ended(piece.line()));
}

void Document::mergeOthers(Section section, std::string_view lines) {
    if (lines.empty()) return;
    LineSet& others = othersOf(section);
    std::string_view line;
    for (Lines rest(lines); rest.next(line);) {
        line = ended(line);
        if (others.contains(line)) continue;
        const std::string_view kept = keep(line);
        append(section) = {kept};
        others.insert(kept);
    }
}

/// Comments of entries count too: where lines move, a comment may gain or lose its entry.
LineSet& Document::othersOf(Section section) {
    std::unique_ptr<LineSet>& others = contentOf(*section.first).others;
    if (others) return *others;
    auto lines = std::make_unique<LineSet>();
    for (Block* block = section.first; block; block = block->next) {
        parse(*block);
        for (const Piece& piece : contentOf(*block).pieces) {
            std::string_view line;
            for (Lines rest(piece.isEntry() ? piece.comment() : piece.text); rest.next(line);)
                lines->insert(ended(line));
        }
    }
    others = std::move(lines);
    return *others;
}

}  // namespace lumo::ini
