// The settings text store: INI text with sections, entries and whole-section bodies, in which image
// metadata lives. A store is used by one thread at a time.
#pragma once

#include <memory>

/// Sections, entries and comments keep their order and their bytes; names are compared exactly.
/// Sections of the same name are one section, of entries with the same key the first counts.
///
/// Texts that would not survive as they stand (line breaks, blanks at the ends, an '=' in a key)
/// are written in an escaped form that marks itself, so any value, key, name or body comes back as
/// it was set and none can forge another. Members return 0 for success and throw only
/// std::bad_alloc; a bound store that has thrown leaves the caller's text and size as they were and
/// stays so.
class ini2 {
public:
    /// An empty store.
    ini2();
    /// A store bound to a caller's text in a malloc block; `*size` counts the terminating zero. A
    /// change is written back, at the latest by the destructor, into a malloc block that replaces
    /// the caller's; a store that was only read leaves text and address as they were. Until the
    /// store is gone nobody else may change or free the text.
    ini2(char** text, int* size);
    /// A store made from a copy of at most `length` bytes; a zero byte ends the text.
    ini2(const char* text, int length);
    /// Writes a bound store back if finish() did not; a failure is lost here.
    virtual ~ini2();
    ini2(const ini2&) = delete;
    ini2& operator=(const ini2&) = delete;

    /// Writes a bound store's changes back now, with one allocation of exactly the new size. Call
    /// it before the destructor where the failure matters; the store stays usable.
    void finish();

    /// Copies the entry's value, at most 1023 characters and a zero; a missing entry gives the
    /// fallback (null: the empty text) and a non-zero result.
    int get(const char* section, const char* key, char* value, const char* fallback);
    /// The number at the start of the value, saturated; the fallback and a non-zero result if the
    /// entry is missing or does not begin with a number.
    int get(const char* section, const char* key, long* value, long fallback);
    int get(const char* section, const char* key, double* value, double fallback);
    /// A section's whole body. With a null body or a size of 0 or less `*size` becomes the number
    /// of bytes needed, otherwise at most `*size` bytes are copied, without a terminating zero, and
    /// `*size` becomes their count. A missing section has the size 0. Non-zero only for a null
    /// size.
    int getBody(const char* section, char* body, int* size);

    /// Creates or replaces an entry in its place, and the section if it is new. A comment becomes a
    /// line of its own before the entry; null leaves the one that is there. A null value is empty.
    int set(const char* section, const char* key, const char* value, const char* comment);
    int set(const char* section, const char* key, long value, const char* comment);
    int set(const char* section, const char* key, int value, const char* comment) {
        return set(section, key, long{value}, comment);
    }
    /// The shortest text that reads back as the same number, whatever the locale.
    int set(const char* section, const char* key, double value, const char* comment);
    /// Replaces a section's whole body by any bytes, which getBody() gives back one for one; lines
    /// that are entries can be read by key. A length of 0 or less makes an empty section.
    int setBody(const char* section, const char* body, int length, const char* comment);
    /// Merges another store into this one: its entries replace those of the same section and key or
    /// are appended, with their comments; its other lines are kept unless the section has them.
    int set(ini2& other);

    /// Removes an entry and the comment set with it; non-zero if there is none.
    int remove(const char* section, const char* key);

    /// Among the keys made of the prefix and decimal digits: the largest number below INT_MAX, so
    /// that one more still fits. Non-zero, and `*index` untouched, if there is none.
    int maxIndex(int* index, const char* section, const char* prefix);

    /// The whole text, zero-terminated, valid until the store changes or is gone.
    char* getBuffer();
    /// The length of that text without the terminating zero.
    unsigned int getSize();

private:
    struct Impl;
    std::unique_ptr<Impl> impl_;
};
