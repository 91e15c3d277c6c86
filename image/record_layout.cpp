// The layout of the exported records, asserted once.
#include <cstddef>

#include "lumo_legacy.h"

// The records are the binary interface: callers compiled elsewhere rely on size and field order.
static_assert(sizeof(lmImage) == 64 && offsetof(lmImage, data) == 8 &&
              offsetof(lmImage, pixelsizeX) == 16 && offsetof(lmImage, maxPix) == 24 &&
              offsetof(lmImage, equivHigh) == 30 && offsetof(lmImage, rowPointers) == 32 &&
              offsetof(lmImage, pngWriter) == 40 && offsetof(lmImage, metaSize) == 48 &&
              offsetof(lmImage, metaData) == 56);
static_assert(sizeof(Image) == 16 && offsetof(Image, height) == 2 && offsetof(Image, data) == 8);
static_assert(sizeof(FImage) == 16 && offsetof(FImage, data) == 8);
static_assert(sizeof(Roi) == 16 && offsetof(Roi, y1) == 4 && offsetof(Roi, x2) == 8 &&
              offsetof(Roi, y2) == 12);
static_assert(sizeof(ImageValue) == 24 && offsetof(ImageValue, min) == 4 &&
              offsetof(ImageValue, max) == 6 && offsetof(ImageValue, mean) == 8 &&
              offsetof(ImageValue, sigma) == 16);
static_assert(sizeof(Image8) == 80 && offsetof(Image8, whiteLevel) == 20 &&
              offsetof(Image8, pixels) == 72);
static_assert(sizeof(ImageInfo) == 108 && offsetof(ImageInfo, source) == 37 &&
              offsetof(ImageInfo, reserved2) == 84 && offsetof(ImageInfo, extHeaderSize) == 104);
