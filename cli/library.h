// The library as the verbs use it: images that free themselves, result codes as errors.
#pragma once

#include <memory>
#include <string>

#include "cli/error.h"
#include "lumo.h"
#include "lumo_legacy.h"

namespace lumo::cli {

struct ImageDeleter {
    void operator()(lmImage* image) const { LumoDestroyImage(&image); }
};
using ImageHandle = std::unique_ptr<lmImage, ImageDeleter>;

/// "FILE: CODE MESSAGE" for a failed call.
[[nodiscard]] CommandError libraryError(int code, const std::string& file);

/// Throws libraryError() for a negative code.
void check(int code, const std::string& file);

/// The same with a reason, for calls that read a file of their own.
void checkRead(int code, const std::string& file);

/// `file` is only named in errors.
[[nodiscard]] ImageHandle createImage(int width, int height, const std::string& file);

/// The raster of an image for the calls that take a plain one.
[[nodiscard]] inline Image rasterOf(const lmImage& image) {
    return {image.width, image.height, image.data};
}

}  // namespace lumo::cli
