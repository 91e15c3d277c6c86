// The settings store's text as sections and entries: kept as it stands, understood only where a
// question or a change needs it.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <memory_resource>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace lumo::ini {

/// Either one entry with the own comment before it, or a run of lines that are no entries. Removed
/// ones are empty, so that the others keep their places.
struct Piece {
    static constexpr std::size_t noEntry = static_cast<std::size_t>(-1);
    std::string_view text;
    std::size_t entry = noEntry;  ///< where the entry's line begins, after the comment

    bool isEntry() const { return entry != noEntry; }
    std::string_view line() const { return text.substr(entry); }
    std::string_view comment() const { return text.substr(0, entry); }
};

struct Block;

struct Place {
    Block* block;
    std::size_t piece;
};

using EntryTree = std::multimap<std::string_view, Place>;
using LineSet = std::set<std::string_view>;

/// What is known of a block beyond its unread text. The trees cover all blocks of a section and
/// hang on its first one.
struct Content {
    std::vector<Piece> pieces;
    std::unique_ptr<EntryTree> entries;
    std::unique_ptr<LineSet> others;  ///< lines that are no entries
};

/// A header line and what follows it; the text is `header`, `unread`, then the pieces.
struct Block {
    std::string_view header;  ///< empty before the first section, and once removed
    std::string_view unread;
    std::unique_ptr<Content> content;
    Block* next = nullptr;    ///< next block of the same section
    std::uint32_t walks = 0;  ///< questions answered by walking so far
    std::uint32_t order = 0;
};

Content& contentOf(Block& block);
/// All text but the header.
std::string belowHeader(const Block& block);

/// The blocks that have one name: one section to everybody outside.
struct Section {
    Block* first = nullptr;
    Block* last = nullptr;

    explicit operator bool() const { return first != nullptr; }
    void link(Block& block) {
        (last ? last->next : first) = &block;
        last = &block;
    }
};

/// The first questions are answered by walking through the text, which a single question does not
/// pay trees for; then trees are built, so that no number of questions or names costs squares.
/// After an exception the document is whole, but a merge may be half done.
class Document {
public:
    /// Views the source, which must live as long.
    explicit Document(std::string_view source);
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    /// The line of an entry, or an empty view.
    std::string_view findLine(std::string_view section, std::string_view key);
    void setEntry(std::string_view section, std::string_view key, std::string_view value,
                  const char* comment);
    bool removeEntry(std::string_view section, std::string_view key);
    /// The largest number below INT_MAX behind a key's prefix.
    std::optional<int> maxIndex(std::string_view section, std::string_view prefix);

    std::string body(std::string_view section);
    void setBody(std::string_view section, std::string_view bytes, const char* comment);

    void merge(Document& other);

    std::size_t size() const;
    /// Writes size() bytes.
    void copyTo(char* target) const;

private:
    void split();
    Section find(std::string_view name);
    Section addBlock(std::string_view name, std::string_view header);
    std::string_view keep(std::string_view text);
    std::string_view ended(std::string_view line);

    void parse(Block& block);
    EntryTree* entriesOf(Section section);
    LineSet& othersOf(Section section);
    Piece* findPiece(Section section, std::string_view key);
    void store(Section section, std::string_view key, Piece* old, std::string_view comment,
               std::string_view line);
    Piece& append(Section section);
    void endLastLine(Block& block);
    template <class Sink>
    void emit(Sink sink) const;

    void mergePreamble(Document& other);
    void copyBlock(std::string_view name, const Block& block);
    void mergeBlock(Section section, Section from, Block& block, Document& other);
    void mergeEntry(Section section, std::string_view key, std::string_view value,
                    const Piece& piece);
    void mergeOthers(Section section, std::string_view lines);

    std::pmr::monotonic_buffer_resource arena_{std::pmr::new_delete_resource()};
    std::string_view byteOrderMark_;
    std::string_view source_;   ///< without that mark
    std::deque<Block> blocks_;  ///< none until needed; the first one has no header
    std::optional<std::map<std::string_view, Section>> sections_;
    std::uint32_t walks_ = 0;
};

}  // namespace lumo::ini
