// The settings store as callers see it: binding to a caller's text, numbers, fixed buffers.
#include "frame/ini2.h"

#include <algorithm>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <string_view>

#include "frame/ini2_document.h"

namespace {

constexpr int missing = 1;
constexpr std::size_t valueSize = 1024;  // of every caller's buffer, the zero counted

/// At most `length` bytes, up to the first zero.
std::string_view bounded(const char* text, int length) {
    if (!text || length <= 0) return {};
    return {text, strnlen(text, static_cast<std::size_t>(length))};
}

std::string_view orEmpty(const char* text) {
    return text ? text : std::string_view{};
}

/// The number at the start of the text, a sign and blanks before it allowed.
template <class Number>
std::from_chars_result readNumber(std::string_view text, Number& number) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r\n"), text.size()));
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    return std::from_chars(text.data(), text.data() + text.size(), number);
}

}  // namespace

struct ini2::Impl {
    explicit Impl(std::string_view source, char** boundText = nullptr, int* boundSize = nullptr)
        : document(source), text(boundText), size(boundSize) {}

    /// A failure leaves a bound text alone from then on.
    template <class Body>
    auto attempt(Body&& body) {
        try {
            return body();
        } catch (...) {
            abandoned = true;
            throw;
        }
    }

    template <class Body>
    int change(Body&& body) {
        rendered.reset();
        const int result = attempt(body);
        changed |= result == 0;
        return result;
    }

    /// Hands the entry's value to the reader; missing if there is none.
    template <class Reader>
    int read(const char* section, const char* key, Reader&& reader) {
        if (!section || !key) return missing;
        return attempt([&] {
            const std::optional<std::string> value = document.value(section, key);
            return value ? reader(std::string_view(*value)) : missing;
        });
    }

    int write(const char* section, const char* key, std::string_view value, const char* comment) {
        if (!section || !key) return missing;
        return change([&] {
            document.setEntry(section, key, value, comment);
            return 0;
        });
    }

    std::string& wholeText() {
        if (!rendered) rendered = document.text();
        return *rendered;
    }

    void writeBack();

    lumo::ini::Document document;
    char** text;  // the caller's, null for a store that is not bound
    int* size;
    std::optional<std::string> rendered;
    bool changed = false;
    bool abandoned = false;
};

void ini2::Impl::writeBack() {
    if (!text || !changed || abandoned) return;
    const std::string& whole = wholeText();
    if (whole.size() >= INT_MAX) throw std::bad_alloc();
    char* const block = static_cast<char*>(std::malloc(whole.size() + 1));
    if (!block) throw std::bad_alloc();
    std::memcpy(block, whole.c_str(), whole.size() + 1);
    std::free(*text);
    *text = block;
    if (size) *size = static_cast<int>(whole.size() + 1);
    changed = false;
}

ini2::ini2() : ini2(nullptr, 0) {}

ini2::ini2(char** text, int* size)
    : impl_(
          std::make_unique<Impl>(text ? bounded(*text, size ? *size : INT_MAX) : "", text, size)) {}

ini2::ini2(const char* text, int length) : impl_(std::make_unique<Impl>(bounded(text, length))) {}

ini2::~ini2() {
    try {
        finish();
    } catch (...) {  // the caller's text is as it was; finish() would have said so
    }
}

void ini2::finish() {
    impl_->attempt([&] { impl_->writeBack(); });
}

int ini2::get(const char* section, const char* key, char* value, const char* fallback) {
    if (!value) return missing;
    const auto copy = [&](std::string_view text) {
        text = text.substr(0, valueSize - 1);
        // A fallback may be the buffer itself.
        if (!text.empty()) std::memmove(value, text.data(), text.size());
        value[text.size()] = '\0';
        return 0;
    };
    const int result = impl_->read(section, key, copy);
    if (result != 0) copy(orEmpty(fallback));
    return result;
}

int ini2::get(const char* section, const char* key, long* value, long fallback) {
    if (!value) return missing;
    *value = fallback;
    return impl_->read(section, key, [&](std::string_view text) {
        long number = 0;
        const std::errc error = readNumber(text, number).ec;
        if (error == std::errc::invalid_argument) return missing;
        const bool negative = text.find('-') < text.find_first_of("0123456789");
        if (error == std::errc::result_out_of_range) number = negative ? LONG_MIN : LONG_MAX;
        *value = number;
        return 0;
    });
}

int ini2::get(const char* section, const char* key, double* value, double fallback) {
    if (!value) return missing;
    *value = fallback;
    return impl_->read(section, key, [&](std::string_view text) {
        double number = 0;
        const auto [end, error] = readNumber(text, number);
        const bool isWord = !std::isfinite(number) && end != text.data() + text.size();
        if (error != std::errc{} || isWord) return missing;
        *value = number;
        return 0;
    });
}

int ini2::getBody(const char* section, char* body, int* size) {
    if (!size) return missing;
    return impl_->attempt([&] {
        const std::string bytes = section ? impl_->document.body(section) : std::string();
        const std::size_t needed = std::min<std::size_t>(bytes.size(), INT_MAX);
        const bool isQuery = !body || *size <= 0;
        const std::size_t count =
            isQuery ? needed : std::min(needed, static_cast<std::size_t>(*size));
        if (!isQuery) std::memcpy(body, bytes.data(), count);
        *size = static_cast<int>(count);
        return 0;
    });
}

int ini2::set(const char* section, const char* key, const char* value, const char* comment) {
    return impl_->write(section, key, orEmpty(value), comment);
}

int ini2::set(const char* section, const char* key, long value, const char* comment) {
    return impl_->write(section, key, std::to_string(value), comment);
}

int ini2::set(const char* section, const char* key, double value, const char* comment) {
    char text[32];
    const char* const end = std::to_chars(text, text + sizeof text, value).ptr;
    return impl_->write(section, key, {text, static_cast<std::size_t>(end - text)}, comment);
}

int ini2::setBody(const char* section, const char* body, int length, const char* comment) {
    if (!section) return missing;
    const std::size_t count = body && length > 0 ? static_cast<std::size_t>(length) : 0;
    return impl_->change([&] {
        impl_->document.setBody(section, {body, count}, comment);
        return 0;
    });
}

int ini2::set(ini2& other) {
    if (&other == this) return 0;
    return impl_->change([&] {
        impl_->document.merge(other.impl_->document);
        return 0;
    });
}

int ini2::remove(const char* section, const char* key) {
    if (!section || !key) return missing;
    return impl_->change([&] { return impl_->document.removeEntry(section, key) ? 0 : missing; });
}

int ini2::maxIndex(int* index, const char* section, const char* prefix) {
    if (!section || !prefix) return missing;
    return impl_->attempt([&] {
        const std::optional<int> largest = impl_->document.maxIndex(section, prefix);
        if (!largest) return missing;
        if (index) *index = *largest;
        return 0;
    });
}

char* ini2::getBuffer() {
    return impl_->attempt([&] { return impl_->wholeText().data(); });
}

unsigned int ini2::getSize() {
    return impl_->attempt([&] { return static_cast<unsigned int>(impl_->wholeText().size()); });
}
