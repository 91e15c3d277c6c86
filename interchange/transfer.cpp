// The format in which a picture crosses the pipe between the program and a helper.
#include "interchange/transfer.h"

#ifdef LUMO_HAVE_ISAL
#include <isa-l/crc.h>
#else
#include <zlib.h>
#endif

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

namespace lumo::interchange {

namespace {

constexpr std::string_view pictureMagic = "LUMOEX01", answerMagic = "LUMOAN01";
constexpr std::size_t blockSize = 256
                                  << 10;  // stays in the cache between the checksum and the pipe
constexpr std::size_t numberSize = 4;

void require(bool holds, const char* what) {
    if (!holds) throw TransferError(what);
}

/// CRC-32 as in PNG and zip, continued.
std::uint32_t checksum(std::uint32_t crc, const void* bytes, std::size_t count) {
#ifdef LUMO_HAVE_ISAL
    return crc32_gzip_refl(crc, static_cast<const std::uint8_t*>(bytes), count);
#else
    return static_cast<std::uint32_t>(crc32_z(crc, static_cast<const Bytef*>(bytes), count));
#endif
}

/// Collects what is small, passes on what is large, and keeps the checksum of both.
class Sender {
public:
    explicit Sender(const Sink& sink) : sink_(sink) {}

    void bytes(std::string_view text) { pending_ += text; }
    void byte(std::uint8_t value) { pending_ += static_cast<char>(value); }
    void number(std::uint64_t value) {
        for (std::size_t i = 0; i < numberSize; ++i)
            byte(static_cast<std::uint8_t>(value >> 8 * i));
    }
    void text(std::string_view value) {
        number(value.size());
        bytes(value);
    }
    void large(const void* from, std::uint64_t count) {
        flush();
        const char* place = static_cast<const char*>(from);
        while (count > 0) {
            const std::size_t part = std::min<std::uint64_t>(count, blockSize);
            crc_ = checksum(crc_, place, part);
            sink_(place, part);
            place += part;
            count -= part;
        }
    }
    void finish() {
        flush();
        number(crc_);
        sink_(pending_.data(), pending_.size());
    }

private:
    void flush() {
        crc_ = checksum(crc_, pending_.data(), pending_.size());
        sink_(pending_.data(), pending_.size());
        pending_.clear();
    }

    const Sink& sink_;
    std::string pending_;
    std::uint32_t crc_ = 0;
};

/// Takes what was sent off the source, with the checksum of it.
class Receiver {
public:
    explicit Receiver(const Source& source) : source_(source), block_(blockSize) {}

    void bytes(void* to, std::size_t count) {
        take(to, count);
        crc_ = checksum(crc_, to, count);
    }
    std::uint8_t byte() {
        std::uint8_t value = 0;
        bytes(&value, 1);
        return value;
    }
    std::uint32_t number() {
        std::uint8_t digits[numberSize];
        bytes(digits, numberSize);
        return littleEndian(digits);
    }
    std::uint32_t numberUpTo(std::uint32_t largest, const char* what) {
        const std::uint32_t value = number();
        require(value <= largest, what);
        return value;
    }
    std::string text(std::size_t longest) {
        const std::uint32_t length = number();
        require(length <= longest, "a text is too long");
        require(length <= textLeft_, "there is too much text");
        textLeft_ -= length;
        std::string value(length, '\0');
        bytes(value.data(), length);
        require(value.find('\0') == std::string::npos, "a text holds a zero");
        return value;
    }
    /// `count` bytes.
    void raster(std::uint16_t* to, std::uint64_t count) {
        for (char* place = static_cast<char*>(static_cast<void*>(to)); count > 0;) {
            const std::size_t part = std::min<std::uint64_t>(count, blockSize);
            bytes(place, part);
            place += part;
            count -= part;
        }
    }
    /// The checksum has to follow, and then the end.
    void finish() {
        std::uint8_t digits[numberSize];
        take(digits, numberSize);
        require(littleEndian(digits) == crc_, "the checksum is wrong");
        require(used_ == filled_ && source_(block_.data(), 1) == 0, "something follows");
    }

private:
    static std::uint32_t littleEndian(const std::uint8_t (&digits)[numberSize]) {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < numberSize; ++i) value |= std::uint32_t{digits[i]} << 8 * i;
        return value;
    }

    void take(void* to, std::size_t count) {
        char* place = static_cast<char*>(to);
        const std::size_t held = std::min(count, filled_ - used_);
        std::copy_n(block_.data() + used_, held, place);
        used_ += held;
        place += held;
        count -= held;
        if (count >= blockSize) {
            require(source_(place, count) == count, "it ends early");
        } else if (count > 0) {
            filled_ = source_(block_.data(), blockSize);
            used_ = 0;
            require(filled_ >= count, "it ends early");
            take(place, count);
        }
    }

    const Source& source_;
    std::vector<char> block_;
    std::size_t used_ = 0, filled_ = 0;  // of the block
    std::size_t textLeft_ = mostText;
    std::uint32_t crc_ = 0;
};

/// The text's beginning, not cut within a character.
void cut(std::string& text, std::size_t longest) {
    if (text.size() <= longest) return;
    while (longest > 0 && (static_cast<std::uint8_t>(text[longest]) & 0xC0) == 0x80) --longest;
    text.resize(longest);
}

/// Texts end at a zero for all who will read them.
void prepare(std::string& text, std::size_t longest) {
    text.resize(std::min(text.find('\0'), text.size()));
    cut(text, longest);
}

/// Whether an entry may go; a long value is cut.
bool fits(Entry& entry, Description& description, std::size_t& textLeft) {
    const std::string name = entry.section + '/' + entry.key;
    const bool named = entry.section.size() <= longestName && entry.key.size() <= longestName &&
                       name.find('\0') == std::string::npos;
    const std::size_t before = entry.value.size();
    prepare(entry.value, longestValue);
    const std::size_t size = entry.section.size() + entry.key.size() + entry.value.size();
    if (!named || size > textLeft) {
        description.note("left out: entry " + name);
        return false;
    }
    textLeft -= size;
    if (entry.value.size() < before)
        description.note(name + " is cut to " + std::to_string(entry.value.size()) + " bytes");
    return true;
}

void keepEntriesWithinLimits(Description& description) {
    std::size_t textLeft = mostText - mostNotes * longestNote;
    std::vector<Entry> kept;
    for (Entry& entry : std::exchange(description.entries, {}))
        if (kept.size() < mostEntries && fits(entry, description, textLeft))
            kept.push_back(std::move(entry));
        else if (kept.size() == mostEntries)
            break;
    description.entries = std::move(kept);
}

void keepNotesWithinLimits(std::vector<std::string>& notes) {
    if (notes.size() > mostNotes) {
        const std::size_t more = notes.size() - mostNotes + 1;
        notes.resize(mostNotes - 1);
        notes.push_back("and " + std::to_string(more) + " notes more");
    }
    for (std::string& note : notes) prepare(note, longestNote);
}

void checkNumbers(const Description& description) {
    for (const std::uint32_t side : {description.width, description.height})
        require(1 <= side && side <= largestSide, "a side is out of range");
    for (const std::uint32_t pitch : {description.pitchX, description.pitchY})
        require(1 <= pitch && pitch <= largestPitch, "the pitch is out of range");
    require(1 <= description.bits && description.bits <= 16, "the bits are out of range");
    require(description.rasterBytes() < rasterLimit, "the raster is too large");
}

void sendNotes(Sender& to, const std::vector<std::string>& notes) {
    for (const std::string& note : notes) to.text(note);
}

std::vector<std::string> receiveNotes(Receiver& from, std::uint32_t count) {
    std::vector<std::string> notes;
    for (std::uint32_t i = 0; i < count; ++i) notes.push_back(from.text(longestNote));
    return notes;
}

Answer receiveAnswer(Receiver& from) {
    Answer answer;
    const std::uint8_t done = from.byte();
    require(done <= 1, "an answer is yes or no");
    answer.done = done == 1;
    answer.notes = receiveNotes(from, from.numberUpTo(mostNotes, "there are too many notes"));
    require(answer.done || answer.notes.size() == 1, "a refusal has one reason");
    return answer;
}

Description receivePicture(Receiver& from, const Allocate& allocate) {
    Description description;
    for (std::uint32_t* number :
         {&description.width, &description.height, &description.pitchX, &description.pitchY})
        *number = from.number();
    description.bits = from.byte();
    checkNumbers(description);
    const std::uint32_t entries = from.numberUpTo(mostEntries, "there are too many entries");
    const std::uint32_t notes = from.numberUpTo(mostNotes, "there are too many notes");
    for (std::uint32_t i = 0; i < entries; ++i) {
        Entry entry;
        entry.section = from.text(longestName);
        entry.key = from.text(longestName);
        entry.value = from.text(longestValue);
        description.entries.push_back(std::move(entry));
    }
    description.notes = receiveNotes(from, notes);
    from.raster(allocate(description), description.rasterBytes());
    return description;
}

}  // namespace

void sendPicture(const Sink& sink, Description description, const std::uint16_t* raster) {
    checkNumbers(description);
    keepEntriesWithinLimits(description);
    keepNotesWithinLimits(description.notes);
    Sender to(sink);
    to.bytes(pictureMagic);
    for (const std::uint32_t number :
         {description.width, description.height, description.pitchX, description.pitchY})
        to.number(number);
    to.byte(description.bits);
    to.number(description.entries.size());
    to.number(description.notes.size());
    for (const Entry& entry : description.entries)
        for (const std::string* text : {&entry.section, &entry.key, &entry.value}) to.text(*text);
    sendNotes(to, description.notes);
    to.large(raster, description.rasterBytes());
    to.finish();
}

void sendAnswer(const Sink& sink, Answer answer) {
    keepNotesWithinLimits(answer.notes);
    Sender to(sink);
    to.bytes(answerMagic);
    to.byte(answer.done ? 1 : 0);
    to.number(answer.notes.size());
    sendNotes(to, answer.notes);
    to.finish();
}

std::variant<Description, Answer> receive(const Source& source, const Allocate& allocate) {
    Receiver from(source);
    std::string magic(pictureMagic.size(), '\0');
    from.bytes(magic.data(), magic.size());
    require(magic == pictureMagic || magic == answerMagic, "it begins with something else");
    std::variant<Description, Answer> received;
    if (magic == pictureMagic)
        received = receivePicture(from, allocate);
    else
        received = receiveAnswer(from);
    from.finish();
    return received;
}

}  // namespace lumo::interchange
