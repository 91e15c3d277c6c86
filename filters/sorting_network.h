// Networks of compare-exchanges, made at compile time: sorting, and merging of sorted lists.
//
// Batcher's odd-even merge, for lists of any two lengths: the elements at even positions of both
// lists are merged, those at odd positions too, and each odd one is compared with the even one that
// follows it. Nothing is moved: a network says which wire ends up holding which rank.
#pragma once

#include <array>
#include <cstddef>
#include <utility>

namespace lumo {

/// Exchanges the wires' values so that `low` holds the smaller one.
struct Comparator {
    short low, high;
};

template <int wireCount>
struct Network {
    /// Some of the wires, in ascending order of what they hold.
    struct Wires {
        std::array<short, static_cast<std::size_t>(wireCount)> at{};
        int count = 0;
        constexpr void add(short wire) { at[static_cast<std::size_t>(count++)] = wire; }
        [[nodiscard]] constexpr short operator[](int i) const {
            return at[static_cast<std::size_t>(i)];
        }
        /// Every second wire.
        [[nodiscard]] constexpr Wires alternate(int first) const {
            Wires half;
            for (int i = first; i < count; i += 2) half.add((*this)[i]);
            return half;
        }
        [[nodiscard]] constexpr Wires part(int first, int end) const {
            Wires some;
            for (int i = first; i < end; ++i) some.add((*this)[i]);
            return some;
        }
    };

    std::array<Comparator, static_cast<std::size_t>(wireCount) * 8> comparators{};
    std::size_t count = 0;
    Wires order;  ///< the wire of each rank

    constexpr Wires merge(const Wires& a, const Wires& b) {
        if (a.count == 0) return b;
        if (b.count == 0) return a;
        Wires merged;
        if (a.count == 1 && b.count == 1) {
            compare(a[0], b[0], merged);
            return merged;
        }
        const Wires even = merge(a.alternate(0), b.alternate(0));
        const Wires odd = merge(a.alternate(1), b.alternate(1));
        merged.add(even[0]);
        int i = 0;
        for (; i < odd.count && i + 1 < even.count; ++i) compare(odd[i], even[i + 1], merged);
        if (i < odd.count) merged.add(odd[i]);
        for (; i + 1 < even.count; ++i) merged.add(even[i + 1]);
        return merged;
    }

    constexpr Wires sort(const Wires& wires) {
        if (wires.count < 2) return wires;
        const int half = wires.count / 2;
        return merge(sort(wires.part(0, half)), sort(wires.part(half, wires.count)));
    }

private:
    constexpr void compare(short low, short high, Wires& merged) {
        comparators[count++] = {low, high};
        merged.add(low);
        merged.add(high);
    }
};

template <int wireCount>
constexpr typename Network<wireCount>::Wires firstWires(int first, int end) {
    typename Network<wireCount>::Wires wires;
    for (int i = first; i < end; ++i) wires.add(static_cast<short>(i));
    return wires;
}

template <int size>
constexpr Network<size> makeSorting() {
    Network<size> network;
    network.order = network.sort(firstWires<size>(0, size));
    return network;
}

/// Wires 0 to a - 1 hold one list, the others the second.
template <int a, int b>
constexpr Network<a + b> makeMerging() {
    Network<a + b> network;
    network.order = network.merge(firstWires<a + b>(0, a), firstWires<a + b>(a, a + b));
    return network;
}

template <int size>
inline constexpr auto sortingNetwork = makeSorting<size>();
template <int a, int b>
inline constexpr auto mergingNetwork = makeMerging<a, b>();

}  // namespace lumo
