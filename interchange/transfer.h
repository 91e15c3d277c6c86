// The format in which a picture crosses the pipe between the program and a helper. Either side may
// have been taken over by a hostile file: the receiver checks every number before it believes it.
//
//   picture  "LUMOEX01", width, height, pitch x, pitch y (4 bytes each), bits (1 byte), counts of
//            entries and of notes (4 bytes each); each entry as section, key and value, each with
//            its length (4 bytes) before it; each note likewise; the raster; CRC-32 of all before
//   answer   "LUMOAN01", 1 if done or 0 if refused (1 byte), count of notes, the notes, CRC-32
//
// Numbers are little-endian; the raster, which never leaves the machine, is as it lies in memory.
// A helper that reads sends a picture, or an answer that refuses. One that writes takes a picture
// and sends an answer. Nothing follows.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "interchange/picture.h"

namespace lumo::interchange {

inline constexpr std::uint32_t largestSide = 65535, mostEntries = 4096, mostNotes = 64;
inline constexpr std::size_t longestName = 255, longestValue = 1023, longestNote = 500;  // bytes
inline constexpr std::size_t mostText = 4 << 20;  // bytes of all names, values and notes
inline constexpr std::uint64_t rasterLimit = std::uint64_t{4} << 30;  // bytes, not reached

/// How a helper ends.
enum HelperStatus : int {
    helperDone = 0,
    helperRefused = 1,
    helperMisused = 2,
    helperNoMemory = 3
};

/// What is not a picture came through the pipe.
class TransferError : public std::runtime_error {
    using runtime_error::runtime_error;
};

/// What a helper says when it sends no picture.
struct Answer {
    bool done = false;
    std::vector<std::string> notes;  ///< if refused, the one reason
};

/// Gets bytes; fewer than asked for only at the end.
using Source = std::function<std::size_t(void* to, std::size_t count)>;
/// Takes all bytes or throws.
using Sink = std::function<void(const void* from, std::size_t count)>;
/// Makes room for the raster of a picture whose description has been checked.
using Allocate = std::function<std::uint16_t*(const Description&)>;

/// Sends a picture. What passes the limits is cut or left out with a note (values, names, notes),
/// or refused with a TransferError (sides, pitch, bits).
void sendPicture(const Sink& sink, Description description, const std::uint16_t* raster);
void sendAnswer(const Sink& sink, Answer answer);

/// Receives what a helper or the program sends; throws TransferError for anything else. `allocate`
/// is called at most once, and its raster is filled.
[[nodiscard]] std::variant<Description, Answer> receive(const Source& source,
                                                        const Allocate& allocate);

}  // namespace lumo::interchange
