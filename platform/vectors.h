// Vectors of any width, for kernels that compilers do not make of plain loops.
#pragma once

#include <cstring>
#include <type_traits>
#include <utility>

#include "platform/cpu_level.h"

namespace lumo {

template <class Element, int bytes>
struct VectorType {
    using Type [[gnu::vector_size(bytes)]] = Element;
};
/// As many elements as `bytes` hold; arithmetic and comparisons act on each. Passed by reference
/// only, as no binary interface has registers of every width.
template <class Element, int bytes>
using Vector = typename VectorType<Element, bytes>::Type;

template <class Vector>
LUMO_INLINE void load(Vector& vector, const void* from) {
    std::memcpy(&vector, from, sizeof vector);
}

template <class Vector>
LUMO_INLINE void store(const Vector& vector, void* to) {
    std::memcpy(to, &vector, sizeof vector);
}

template <class To, class From, std::size_t... lane>
LUMO_INLINE void convertLanes(To& to, const From& from, std::index_sequence<lane...>) {
    using Element = std::remove_reference_t<decltype(to[0])>;
    to = To{static_cast<Element>(from[lane])...};
}

/// Converts each element; compilers do it at once.
template <class To, class From>
LUMO_INLINE void convert(To& to, const From& from) {
    convertLanes(to, from, std::make_index_sequence<sizeof to / sizeof to[0]>());
}

/// The smaller (larger) of each pair of elements; a where b is NaN.
template <class Vector>
LUMO_INLINE void lower(Vector& a, const Vector& b) {
    a = b < a ? b : a;
}
template <class Vector>
LUMO_INLINE void raise(Vector& a, const Vector& b) {
    a = b > a ? b : a;
}

/// Keeps the compiler from reading a vector again for each of its uses.
template <class Vector>
LUMO_INLINE void keep([[maybe_unused]] Vector& vector) {
#if defined(__x86_64__) && !defined(__clang__)
    asm("" : "+v"(vector));
#endif
}

}  // namespace lumo
