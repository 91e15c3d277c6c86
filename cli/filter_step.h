// How the history names a filter command: written by `filter`, given back by `history --script`.
#pragma once

namespace lumo::cli {

constexpr const char filterStepPrefix[] = "filter ";

}  // namespace lumo::cli
