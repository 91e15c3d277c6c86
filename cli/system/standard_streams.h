// Standard output as a promise: what was printed there arrived, or the program says that it did
// not.
#pragma once

namespace lumo::cli {

/// Flushes standard output; false if anything written there was lost.
[[nodiscard]] bool finishOutput();

}  // namespace lumo::cli
