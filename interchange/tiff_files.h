// TIFF files, read and written through libtiff.
#pragma once

#include <string>
#include <vector>

#include "interchange/helper_main.h"

namespace lumo::interchange {

/// Options: frame (from 1), monochrome2.
[[nodiscard]] Picture readTiff(int file, const Request& request);

/// Options: compression (none, lzw, deflate, packbits).
std::vector<std::string> writeTiff(const Picture& picture, int file, const Request& request);

}  // namespace lumo::interchange
