// A file written by one function and closed: what the system still held back counts as well.
#pragma once

#include <utility>

#include "lumo.h"
#include "platform/file.h"

namespace lumo {

/// Writes a block. @return 0; -16
[[nodiscard]] inline int writeBlock(std::FILE* file, const void* source,
                                    std::size_t size) noexcept {
    return writeBytes(file, source, size) ? LumoOk : LumoErrorWrite;
}

/// Lets `write` fill a file that was opened for writing, and closes it.
/// @param write  gives a code and raises none
/// @return its code; -16 also where that was 0 and closing failed
template <class Write>
[[nodiscard]] int writeAndClose(FilePtr file, Write&& write) {
    const int code = write(file.get());
    const bool closed = closeWritten(std::move(file));
    return code == LumoOk && !closed ? LumoErrorWrite : code;
}

}  // namespace lumo
