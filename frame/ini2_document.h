// A settings text taken apart into sections and pieces, for questions and changes; every byte that
// nobody changes stays.
#pragma once

#include <cstdint>
#include <deque>
#include <list>
#include <map>
#include <memory_resource>
#include <optional>
#include <set>
#include <string>
#include <string_view>

namespace lumo::ini {

/// One entry with the own comment before it, or a run of other lines. Removed ones are empty and
/// keep their place.
struct Piece {
    enum Kind : std::uint8_t {
        lines,   ///< none of them is an entry
        entry,   ///< a comment or none, and the entry's line
        unread,  ///< lines not yet looked at: nobody has asked for an entry of their section
    };
    std::string_view text;
    std::string_view key;   ///< of an entry: what it means
    std::size_t begin = 0;  ///< of the entry's line, behind the comment
    Kind kind = lines;

    std::string_view line() const { return text.substr(begin); }
    std::string_view comment() const { return text.substr(0, begin); }
};

/// A header line and what follows it.
struct Block {
    explicit Block(std::pmr::memory_resource* arena) : pieces(arena) {}
    struct Section* section = nullptr;  ///< null once a body took the place of several blocks
    std::string_view header;            ///< empty before the first section
    std::pmr::list<Piece> pieces;
    Block* next = nullptr;  ///< of the same section
};

/// The blocks that have one name: one section to everybody outside.
struct Section {
    std::string_view name;
    std::size_t number = 0;
    Block* first = nullptr;
    Block* last = nullptr;
    bool isRead = true;       ///< holds no piece that is unread
    std::uint32_t walks = 0;  ///< questions answered by walking so far
    std::optional<std::multimap<std::string_view, Piece*>> index = {};  ///< of the entries by key
    std::optional<std::set<std::string_view>> others = {};  ///< lines that are no entries
};

/// Few questions are answered by walking, many by an index, so that no number of questions or names
/// costs squares. After an exception the text is whole, but a merge may be half done.
class Document {
public:
    /// Works on a copy of the text.
    explicit Document(std::string_view text);
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    /// The value of an entry; none if it is missing.
    std::optional<std::string> value(std::string_view section, std::string_view key);
    void setEntry(std::string_view section, std::string_view key, std::string_view value,
                  const char* comment);
    bool removeEntry(std::string_view section, std::string_view key);
    /// The largest number below INT_MAX behind a key's prefix.
    std::optional<int> maxIndex(std::string_view section, std::string_view prefix);

    /// The entries that count, section by section; those before the first section come first, with
    /// an empty name. The visitor takes section, key and value; false ends the walk.
    template <class Visitor>
    void visitEntries(Visitor&& visitor);

    std::string body(std::string_view section);
    void setBody(std::string_view section, std::string_view bytes, const char* comment);

    /// Costs what the other one holds.
    void merge(Document& other);

    std::string text() const;

private:
    Section* find(std::string_view name);
    void addBlock(std::string_view name, std::string_view header, std::string_view lines);
    std::string_view keep(std::string_view text);
    std::string_view ended(std::string_view line);

    void read(Section& section);
    std::pmr::list<Piece> piecesOf(std::string_view lines);
    Piece* find(Section& section, std::string_view key);
    void makeIndex(Section& section);
    void store(Section& section, std::string_view key, Piece* old, std::string_view comment,
               std::string_view line);
    Piece& append(Section& section);

    void mergeBlock(Section& section, const Block& block, Document& other);
    void mergeEntry(Section& section, const Piece& piece);
    void mergeLines(Section& section, std::string_view lines);
    std::set<std::string_view>& othersOf(Section& section);

    const std::string source_;
    std::pmr::monotonic_buffer_resource
        arena_;  ///< holds pieces, and texts that are not in source_
    std::string_view byteOrderMark_;
    std::deque<Block> blocks_;      ///< the first one has no header
    std::deque<Section> sections_;  ///< in the order of their first headers; the first one has none
    std::map<std::string_view, Section*> names_;
};

/// What the entry's value means.
std::string valueOf(const Piece& piece);
/// All lines below the header.
std::string linesOf(const Block& block);
/// Puts lines at the block's end that are looked at when somebody asks for an entry.
void addUnread(Block& block, std::string_view lines);

template <class Visitor>
void Document::visitEntries(Visitor&& visitor) {
    for (Section& section : sections_) {
        read(section);
        for (Block* block = section.first; block; block = block->next)
            for (const Piece& piece : block->pieces) {
                const bool counts =
                    piece.kind == Piece::entry && find(section, piece.key) == &piece;
                if (counts && !visitor(section.name, piece.key, valueOf(piece))) return;
            }
    }
}

}  // namespace lumo::ini
