// The handlers given to libpng.
#include "io/png_support.h"

#include "platform/log.h"

namespace lumo {

void onPngError(png_structp png, png_const_charp message) {
    slog(3, "libpng: %s", message);
    png_longjmp(png, 1);
}

void onPngWarning(png_structp, png_const_charp message) {
    slog(4, "libpng: %s", message);
}

}  // namespace lumo
