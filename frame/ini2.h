// The settings text store: INI text with sections, entries and whole-section bodies, in which image
// metadata lives. A store is used by one thread at a time.
#pragma once

class ini2 {
public:
    /// An empty store.
    ini2();
    /// A store bound to a caller's text in a malloc block; `*size` counts the terminating zero. A
    /// change is written back, at the latest by the destructor, into a malloc block that replaces the
    /// caller's; a store that was only read leaves text and address as they were.
    ini2(char** text, int* size);
    /// A store made from a copy of at most `length` bytes; a zero byte ends the text.
    ini2(const char* text, int length);
    virtual ~ini2();
    ini2(const ini2&) = delete;
    ini2& operator=(const ini2&) = delete;
};
