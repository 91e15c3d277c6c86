// Little-endian fields in blocks of bytes: one bounds-checked reader and one writer.
#pragma once

#include <bit>
#include <cassert>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <type_traits>

namespace lumo {

/// Takes fields from the front of a block. A field that the block does not hold whole is left alone
/// and uses the block up, as the end of a file would.
class ByteReader {
public:
    explicit ByteReader(std::span<const std::uint8_t> bytes) : rest_(bytes) {}

    template <std::integral Field>
    bool take(Field& field) {
        if (!holds(sizeof field)) return false;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < sizeof field; ++i) value |= std::uint64_t{rest_[i]} << (8 * i);
        field = static_cast<Field>(value);
        rest_ = rest_.subspan(sizeof field);
        return true;
    }

    bool take(float& field) {
        std::uint32_t bits = 0;
        if (!take(bits)) return false;
        field = std::bit_cast<float>(bits);
        return true;
    }

    /// Takes up to `count` single bytes; returns how many there were.
    std::size_t take(void* target, std::size_t count) {
        const std::size_t taken = count < rest_.size() ? count : rest_.size();
        if (taken > 0) std::memcpy(target, rest_.data(), taken);
        rest_ = rest_.subspan(taken);
        return taken;
    }

private:
    bool holds(std::size_t count) {
        if (count <= rest_.size()) return true;
        rest_ = {};
        return false;
    }

    std::span<const std::uint8_t> rest_;
};

/// Puts fields one behind the other into a block that has room for them all.
class ByteWriter {
public:
    explicit ByteWriter(std::span<std::uint8_t> bytes) : rest_(bytes) {}

    template <std::integral Field>
    void put(Field field) {
        assert(sizeof field <= rest_.size());
        const auto value = static_cast<std::make_unsigned_t<Field>>(field);
        for (std::size_t i = 0; i < sizeof field; ++i)
            rest_[i] = static_cast<std::uint8_t>(value >> (8 * i));
        rest_ = rest_.subspan(sizeof field);
    }

    void put(float field) { put(std::bit_cast<std::uint32_t>(field)); }

    void put(const void* source, std::size_t count) {
        assert(count <= rest_.size());
        std::memcpy(rest_.data(), source, count);
        rest_ = rest_.subspan(count);
    }

private:
    std::span<std::uint8_t> rest_;
};

}  // namespace lumo
