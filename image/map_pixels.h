// Pixels replaced by what a table holds for them.
#pragma once

#include <cstddef>
#include <cstdint>

namespace lumo {

/// Onto the same pixels or others; the table has an entry for every grey value.
void mapPixels(const std::uint16_t* from, std::uint16_t* to, std::size_t count,
               const std::uint16_t* table);

}  // namespace lumo
