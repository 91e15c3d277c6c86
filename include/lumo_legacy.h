/**
 * @file lumo_legacy.h
 * The functions to measure, map, filter and correct with: statistics, histograms and profiles,
 * raster operations, greyscale windows and tables, convolution, unsharp masking and filter
 * commands, turning by any angle, flat-field calibration, the dose indicator. They are older than
 * those of lumo.h and work on plain rasters without metadata, but nothing replaces them. Beside
 * them stand the raw pixel files, the information file as a record, 8-bit coding and the script
 * path.
 *
 * An lmImage begins with the fields of an Image, so its raster can be handed to these functions:
 * `Image raster = {image->width, image->height, image->data};`. Results are 0 or a negative
 * ::LumoResult; unless a function says otherwise it neither logs nor records its failure.
 *
 * Calls may run in several threads at once as long as none writes to a record, raster or table that
 * another one uses; what is only read may be shared. What the whole process has is changed by
 * Set_ImageExtraHeader(), which is not safe in several threads at once, and by SC_Filter_ImageEx()
 * and SC_Filter_Image(), which set the numeric locale. All other functions leave the numeric locale
 * alone.
 */
#ifndef LUMO_LEGACY_H
#define LUMO_LEGACY_H

#include "lumo.h"

#ifdef __cplusplus
extern "C" {
#endif

/** A 16-bit raster, row by row from the top, in a block from malloc(); the record is the caller's.
 */
typedef struct Image {
    uint16_t width;  /**< pixels per row */
    uint16_t height; /**< rows */
    uint16_t* data;  /**< width x height pixels, or null */
} Image;

/** A raster of single-precision values, laid out like ::Image. */
typedef struct FImage {
    uint16_t width;  /**< values per row */
    uint16_t height; /**< rows */
    float* data;     /**< width x height values, or null */
} FImage;

/** A region of interest. Callers may give the corners in either order. */
typedef struct Roi {
    int32_t x1; /**< first column */
    int32_t y1; /**< first row */
    int32_t x2; /**< last column, inclusive */
    int32_t y2; /**< last row, inclusive */
} Roi;

/** Statistics of an image or a region. */
typedef struct ImageValue {
    uint32_t size; /**< 24, the record's bytes */
    uint16_t min;  /**< smallest grey value, or the lower limit */
    uint16_t max;  /**< largest grey value, or the upper limit */
    double mean;   /**< mean grey value */
    double sigma;  /**< standard deviation of the population; 0 between limits */
} ImageValue;

/**
 * The mode of a look-up table: the number of a curve in the low 8 bits (one that is not listed is
 * the identity), combined with flags.
 */
enum LutMode {
    CurveLinear = 0,                 /**< proportional */
    CurveSquareRoot = 1,             /**< square root of the distance from lo */
    CurveLogarithm = 2,              /**< logarithm of the distance from lo */
    CurveQuadratic = 3,              /**< square of the distance from lo */
    CurveExponential = 4,            /**< 65535 to the power of the part of the window */
    CurveThresholdQuarter = 5,       /**< 0 up to a quarter of the window, 65535 above */
    CurveThresholdHalf = 6,          /**< the same at its middle */
    CurveThresholdThreeQuarters = 7, /**< the same at three quarters */
    CurveSigmoid = 8,                /**< arctangent over the logarithm of the grey value */
    CurveShiftedSquareRoot = 9,      /**< difference of the square roots of v and lo */
    CurveIdentity = 10,              /**< every grey value as it is */
    LutCurveMask = 0x00FF,           /**< the bits that hold the curve */
    LutMirror = 0x4000,              /**< flag: entry v is that of 65535 - v, after an inversion */
    LutInvert = 0x8000               /**< flag: every entry e becomes 65535 - e */
};

/** An 8-bit raster as WriteImage8Rot() takes it. Fields named `unused` are not read. */
typedef struct Image8 {
    int32_t width;          /**< pixels per row, 0 to 65535 */
    int32_t height;         /**< rows, 0 to 65535 */
    uint32_t unused2;       /**< 0 */
    uint32_t unused3;       /**< 0 */
    uint32_t unused4;       /**< 1 */
    uint32_t whiteLevel;    /**< 16-bit level that the codes span; its low 16 bits are written */
    uint32_t unused6;       /**< 0 */
    uint32_t size;          /**< width x height x bytesPerPixel; not read */
    uint32_t bytesPerPixel; /**< 1; not read */
    uint32_t unused9[8];    /**< not read */
    uint8_t* pixels;        /**< width x height codes, row by row from the top */
} Image8;

/**
 * The fixed header of an XYZ image's information file. The ranges are those that Get_ImageInfo()
 * and the XYZ reader accept.
 */
typedef struct ImageInfo {
    uint32_t headerSize;   /**< 108 */
    int32_t width;         /**< pixels per row, 1 to 65535 */
    int32_t height;        /**< rows, 1 to 65535 */
    int32_t resX;          /**< pitch along a row, nanometres, 1000 to 1000000 */
    int32_t resY;          /**< pitch between rows, nanometres, 1000 to 1000000 */
    uint8_t bits;          /**< significant bits per pixel */
    int32_t offsetX;       /**< start offset, 0 or more */
    uint8_t slotMask;      /**< slot mask */
    uint16_t year;         /**< acquisition year, 1997 or later */
    uint8_t month;         /**< at most 12 */
    uint8_t day;           /**< at most 31 */
    uint8_t hour;          /**< at most 23 */
    uint8_t minute;        /**< at most 59 */
    uint8_t second;        /**< at most 59 */
    char source[32];       /**< acquiring source, zero-padded, not always terminated */
    uint8_t reserved[14];  /**< reserved */
    uint16_t reserved2;    /**< reserved */
    uint8_t rotation;      /**< rotation value */
    int32_t pixelsize;     /**< pixel size */
    float scale;           /**< scale factor */
    uint16_t maxPix;       /**< maximum pixel value */
    uint16_t avgPix;       /**< average pixel value */
    uint8_t modeUuid;      /**< mode identifier */
    uint16_t maxPixValue;  /**< maximum possible pixel value */
    int32_t extHeaderSize; /**< bytes of extended header that follow in the file; 0 or less: none */
} ImageInfo;

/**
 * The library's version text with its build date and time.
 * @param text  [out] at least 45 bytes, or null
 * @return always 0
 */
LUMO_API int Get_Version(char* text);

/**
 * @name Rasters
 * @{
 */

/**
 * Allocates a raster, not initialised; one that the record holds already is not released. Logs.
 * @param width   pixels per row
 * @param height  rows
 * @param image   [out] receives the raster
 * @return 0, also for zero pixels; -8 without memory (the record is then 0 x 0 without raster); -2
 * without record
 */
LUMO_API int Create_Image(uint16_t width, uint16_t height, Image* image);

/**
 * Releases the raster and clears the record.
 * @param image  the record; its raster, from malloc(), may be null
 * @return 0; -2 without record
 */
LUMO_API int Destroy_Image(Image* image);

/**
 * Create_Image() for single-precision values; does not log.
 * @param width   values per row
 * @param height  rows
 * @param image   [out] receives the raster
 * @return as Create_Image()
 */
LUMO_API int Create_FImage(uint16_t width, uint16_t height, FImage* image);

/**
 * Releases the raster and clears the record.
 * @param image  the record; its raster, from malloc(), may be null
 * @return 0; -2 without record
 */
LUMO_API int Destroy_FImage(FImage* image);

/**
 * Widens 8-bit codes v to v * v * (scale / 65535) in double precision, truncated, at most 65535.
 * @param source  width x height codes
 * @param target  [out] width x height values
 * @param width   codes per row
 * @param height  rows
 * @param scale   the white level: code 255 stands for 65025 * scale / 65535
 * @return 0; -2 if an array is null
 */
LUMO_API int Convert_Image8_16(const uint8_t* source, uint16_t* target, int32_t width,
                               int32_t height, uint16_t scale);

/**
 * Narrows 16-bit values p to 255 / sqrt(M) * sqrt(p), truncated, at most 255, M being the largest
 * value below 65535 that occurs (65535 if there is none).
 * @param source    width x height values
 * @param target    [out] width x height codes
 * @param width     values per row
 * @param height    rows
 * @param reserved  no effect
 * @param maximum   [out] M, the white level for the way back
 * @return 0; -2 if an array or the output is null
 */
LUMO_API int Convert_Image16_8(const uint16_t* source, uint8_t* target, int32_t width,
                               int32_t height, int32_t reserved, uint16_t* maximum);

/** @} */
/**
 * @name Information file
 * A file of 101 bytes and an optional block, beside the image and named after it with the last
 * three characters replaced by "txt".
 * @{
 */

/**
 * Reads the information file's fixed header.
 * @param info           [out] what could be read, also after a failure
 * @param imageFileName  name of the image, which must exist
 * @return 0; -1 if a file is missing, the header is short or a value outside its range;
 * -2 without record
 */
LUMO_API int Get_ImageInfo(ImageInfo* info, const char* imageFileName);

/**
 * Reads the extended header block.
 * @param imageFileName  name of the image, which need not exist
 * @param block          [out] room for as many bytes as Get_ImageExtraHeaderSize() gives
 * @return the number of bytes delivered; 0 if there is no file, no block or nowhere to put it
 */
LUMO_API int Get_ImageExtraHeader(const char* imageFileName, void* block);

/**
 * Room that Get_ImageExtraHeader() needs: never more than the file holds.
 * @param imageFileName  name of the image, which need not exist
 * @return the number of bytes; 0 if there is no file or no block
 */
LUMO_API int Get_ImageExtraHeaderSize(const char* imageFileName);

/**
 * Keeps a copy of an extended header block in the process's one slot, instead of an earlier one.
 * Not safe in several threads at once.
 * @param size   bytes; 0 empties the slot
 * @param block  copied; null empties the slot
 * @return 0; -8 without memory (the slot is then empty)
 */
LUMO_API int Set_ImageExtraHeader(uint32_t size, const void* block);

/** @} */
/**
 * @name Raw pixel files
 * The pixel files of the XYZ format without an information file: width and height in two bytes each
 * and 16-bit pixels, or a 256-byte header and 8-bit codes. Little-endian.
 *
 * Rotations, in degrees: 90 or -270 turns against the clock, 270 or -90 with it, 180 or -180 by
 * half; any other value leaves the image as it is.
 * @{
 */

/**
 * Reads a raw pixel file in either form; allocates the raster into the record, which is emptied
 * first without releasing an earlier raster. A failure may leave a partly filled raster there: call
 * Destroy_Image().
 * @param fileName  name of the file
 * @param image     [out] receives size and raster
 * @return 0; -1 the file cannot be opened (the record is then empty); -8 no memory; -50 too few
 * pixels, or in the 16-bit form none (the 8-bit form then gives an empty raster); -2 without record
 */
LUMO_API int Read_Image(const char* fileName, Image* image);

/**
 * Writes the 16-bit form.
 * @param fileName  name of the file; an existing one is replaced
 * @param image     with a raster; only read
 * @return 0; -50 no raster; -1 cannot be created; -16 not fully written
 */
LUMO_API int Write_Image(const char* fileName, Image image);

/**
 * Writes the 8-bit form, turned on the way. Logs its entry.
 * @param image     codes and white level; only read
 * @param fileName  as Write_Image() takes it
 * @param rotation  degrees, as above
 * @return 0; -50 no pixels or a size outside 0 to 65535; -1 cannot be created; -8 no memory; -16
 * not fully written
 */
LUMO_API int WriteImage8Rot(Image8 image, const char* fileName, int rotation);

/** @} */
/**
 * @name Measuring
 * Images are only read. Percentile limits are parts per million of the pixel count (10000 is 1 %);
 * a negative one is not searched, more than 40 % counts as 40 %, and grey values 0 and 65535 are
 * left out of the search from either end.
 * @{
 */

/**
 * One pixel.
 * @param image  only read
 * @param x      column
 * @param y      row
 * @return its grey value; 0 outside the image and without raster
 */
LUMO_API uint16_t Get_Pixel(Image image, uint16_t x, uint16_t y);

/**
 * Smallest, largest and mean grey value and standard deviation.
 * @param image  only read
 * @param value  [out] of an image without pixels: min 65535, max 0, mean and sigma 0
 * @return 0; -50 no raster; -2 without record
 */
LUMO_API int Get_ImageValue(Image image, ImageValue* value);

/**
 * Get_ImageValue() of a region.
 * @param image   only read
 * @param region  corners in either order, inside the image
 * @param value   [out] as Get_ImageValue() gives it; untouched on failure
 * @return as Get_ImageValue(); also -50 if the region leaves the image
 */
LUMO_API int Get_ImageValueRoi(Image image, Roi region, ImageValue* value);

/**
 * Percentile limits and the mean between them.
 * @param image    only read
 * @param value    [out] min: the first grey value up to which, itself included, more than the low
 *                 share of the pixels lies; max: the same from the bright end; 0 and 65535 where
 *                 there is none. Moved apart by up to 32 if closer than 16; with shares that meet,
 *                 min may exceed max. mean: of the pixels from min to max, 0 if there are none
 * @param lowPpm   share of the darkest pixels
 * @param highPpm  share of the brightest pixels
 * @return 0; -50 no pixels; -2 without record; -8 without memory
 */
LUMO_API int Get_ImageValueLim(Image image, ImageValue* value, int32_t lowPpm, int32_t highPpm);

/**
 * Get_ImageValueLim() of a region.
 * @param image    only read
 * @param region   corners in either order, inside the image
 * @param value    [out] as Get_ImageValueLim() gives it; untouched on failure
 * @param lowPpm   share of the region's darkest pixels
 * @param highPpm  share of the region's brightest pixels
 * @return as Get_ImageValueLim(); also -50 if the region leaves the image
 */
LUMO_API int Get_ImageValueLimRoi(Image image, Roi region, ImageValue* value, int32_t lowPpm,
                                  int32_t highPpm);

/**
 * Counts the pixels of each grey value.
 * @param image      only read
 * @param histogram  [out] 65536 counts
 * @return 0; -50 no pixels; -2 without histogram
 */
LUMO_API int Make_Histogram(Image image, uint32_t* histogram);

/**
 * Make_Histogram() of a region.
 * @param image      only read
 * @param region     corners in either order, inside the image
 * @param histogram  [out] 65536 counts; untouched on failure
 * @return as Make_Histogram(); also -50 if the region leaves the image
 */
LUMO_API int Make_HistogramRoi(Image image, Roi region, uint32_t* histogram);

/**
 * Counts the pixels of grey values lo..hi in `bins` bins, for display. With step = (hi - lo + 1) /
 * bins, bin i holds grey values lo + floor(i * step) up to those of bin i + 1; with a step below 1
 * it holds the count of grey value lo + floor(i * step + 0.5), at most hi. Where bins times step
 * rounds below hi - lo + 1, hi itself is in no bin. A bin of 2^31 pixels and more is not taken for
 * the highest one.
 * @param image      only read
 * @param condensed  [out] one value per bin
 * @param bins       how many there are, at least 1
 * @param height     what the highest bin becomes, the others in proportion, truncated; 0: bins hold
 *                   counts
 * @param lo         first grey value
 * @param hi         last grey value, not below lo
 * @return 0; -50 no pixels; -2 no bins, hi < lo or no output; -8 without memory
 */
LUMO_API int Make_HistogramScaled(Image image, uint32_t* condensed, uint16_t bins, uint16_t height,
                                  uint16_t lo, uint16_t hi);

/**
 * Make_HistogramScaled() of a region.
 * @param image      only read
 * @param region     corners in order, inside the image
 * @param condensed  [out] one value per bin
 * @param bins       how many there are, at least 1
 * @param height     as Make_HistogramScaled() takes it
 * @param lo         first grey value
 * @param hi         last grey value, not below lo
 * @return as Make_HistogramScaled(); also -50 if the region leaves the image or its corners are not
 * in order
 */
LUMO_API int Make_HistogramScaledRoi(Image image, Roi region, uint32_t* condensed, uint16_t bins,
                                     uint16_t height, uint16_t lo, uint16_t hi);

/**
 * Shares of the pixels beyond two grey values, in parts per million: the way back from percentile
 * limits.
 * @param image      only read
 * @param lowValue   last grey value of the dark share
 * @param highValue  first grey value of the bright share
 * @param lowPpm     [out] of grey values 1..lowValue
 * @param highPpm    [out] of grey values highValue..65534
 * @return 0; -50 no pixels, both shares being 0; -2 without place for a share; -8 without memory
 */
LUMO_API int Get_HistoValue(Image image, uint16_t lowValue, uint16_t highValue, uint32_t* lowPpm,
                            uint32_t* highPpm);

/**
 * Profile along the rows of a region: the mean of each column, truncated.
 * @param image    only read
 * @param region   corners in either order, inside the image
 * @param profile  [out] one value per column of the region
 * @return 0; -50 no raster, no profile, or the region leaves the image
 */
LUMO_API int Make_XScan(Image image, Roi region, uint16_t* profile);

/**
 * Profile down a region: the mean of each row, truncated.
 * @param image    only read
 * @param region   corners in either order, inside the image
 * @param profile  [out] one value per row of the region
 * @return as Make_XScan()
 */
LUMO_API int Make_YScan(Image image, Roi region, uint16_t* profile);

/**
 * The median grey value of the image's central region, which leaves 33 % off on each side: the
 * smallest one up to which half of the region's pixels (rounded down) lie, 0 for a single pixel.
 * Logs the result.
 * @param image      only read
 * @param indicator  [out] 0 to 65535; untouched on failure
 * @return 0; -2 without image or place; -50 no pixels; -8 without memory
 */
LUMO_API int GetOrvelDoseIndicator(const Image* image, int32_t* indicator);

/** @} */
/**
 * @name Raster operations
 * Source and destination of the same size may be one image. Images of zero pixels: nothing is done.
 * @{
 */

/**
 * Every grey value v becomes 65535 - v.
 * @param source       pixels to invert
 * @param destination  [out] as large as the source; its pixels are overwritten
 * @return 0; -50 sizes differ or a raster is missing
 */
LUMO_API int Invert_Image(Image source, Image destination);

/**
 * Copies all pixels; the rasters may overlap.
 * @param source       pixels to copy
 * @param destination  [out] as large as the source; its pixels are overwritten
 * @return 0; -50 sizes differ or a raster is missing
 */
LUMO_API int Copy_Image(Image source, Image destination);

/**
 * Cuts a region out. What of it lies outside the image is left off: negative corners count as 0, of
 * a region wholly left of or above the image its first column or row remains, of one that starts
 * beyond the image the bottom-right pixel.
 * @param source       cropped in place when there is no destination, its raster then being
 *                     reallocated: not for the raster of an lmImage, whose address would dangle
 * @param destination  null, or a record that receives the region: in its own raster, if that is as
 *                     wide and as high at least, or in a new one, if it has none
 * @param region       what to keep, corners in either order
 * @return 0; -50 no pixels, or the destination's raster is too small; -8 without memory. The
 * records are then as they were, but one without raster may have become 0 x 0
 */
LUMO_API int Crop_Image(Image* source, Image* destination, Roi region);

/**
 * Means of blocks of factorX x factorY pixels, truncated. Pixels beyond the last whole block at the
 * right and at the bottom are not used; a factor above a side leaves an image of zero pixels.
 * @param source       only read
 * @param destination  [out] receives a new raster; one that it holds already is not released
 * @param factorX      pixels per block along a row, at least 1
 * @param factorY      rows per block, at least 1
 * @return 0; -50 no raster; -2 a factor of 0 or no destination; -8 without memory
 */
LUMO_API int Bin_Image(Image source, Image* destination, uint8_t factorX, uint8_t factorY);

/**
 * Writes a region as a raw pixel file in its 16-bit form.
 * @param fileName  as Write_Image() takes it
 * @param image     only read
 * @param region    corners in either order, inside the image
 * @return 0; -50 no raster, or the region leaves the image; -1 cannot be created; -8 no memory; -16
 * not fully written
 */
LUMO_API int Write_ImageRoi(const char* fileName, Image image, Roi region);

/**
 * Removes flashes in place: a pixel that exceeds the one above by more than the threshold becomes
 * the mean of the pixels above and below. Row by row from the top; the outermost rows and columns
 * stay.
 * @param image      changed in place; below 3 rows or columns it stays
 * @param threshold  the largest rise that is no flash, in grey values
 * @return 0; -50 no raster
 */
LUMO_API int DeFlash(Image image, uint16_t threshold);

/** @} */
/**
 * @name Greyscale mapping
 * A look-up table holds 65536 entries: entry v is what grey value v becomes. Modes are those of
 * ::LutMode; other bits have no effect. Source and destination may be one image; images of zero
 * pixels are left alone.
 * @{
 */

/**
 * Builds the table of a curve over a window. With d = hi - lo and t = v - lo, entry v for lo <= v <
 * hi is, truncated:
 *  - linear: t * (65535 / d)
 *  - square root: sqrt(t) * (65536 / sqrt(d + 1))
 *  - logarithm: ln(t + 1) * (65536 / ln(d + 1))
 *  - quadratic: t / d * 65535 * (t / d)
 *  - exponential: 65535 ^ (t / d)
 *  - shifted square root: (sqrt(v) - sqrt(lo)) * (65536 / (sqrt(hi) - sqrt(lo))) + 0.5
 *
 * with 0 below lo and 65535 from hi on, also where hi <= lo. Thresholds: 65535 above lo + d / 4,
 * (lo + hi) / 2 or lo + 3 * d / 4, else 0. Sigmoid, with L(x) = ln(x + 1): atan((L(v) - (L(hi) +
 * L(lo)) / 2) * 2 * tan(1.25664) / (L(hi) - L(lo))) * 20860.1 truncated, + 32768, both constants
 * held in single precision; without width a step of 1, 32768 and 65535.
 * @param lut   [out] the table
 * @param lo    grey value at which the window begins
 * @param hi    grey value at which it ends
 * @param mode  a curve and flags of ::LutMode
 * @return 0; -2 without table
 */
LUMO_API int Make_LutAbs16(uint16_t* lut, uint16_t lo, uint16_t hi, uint16_t mode);

/**
 * Maps every pixel through a table.
 * @param source       pixels to map
 * @param destination  [out] as large as the source; its pixels are overwritten
 * @param lut          65536 entries, only read
 * @return 0; 1 sizes differ or a raster is missing; -2 no table
 */
LUMO_API int ApplyLut16(Image source, Image destination, const uint16_t* lut);

/**
 * Maps through the table of a window.
 * @param source       pixels to map
 * @param destination  [out] as large as the source; its pixels are overwritten
 * @param lo           as Make_LutAbs16() takes it
 * @param hi           as Make_LutAbs16() takes it
 * @param mode         a curve and flags of ::LutMode
 * @return 0; 1 as ApplyLut16(); -8 without memory
 */
LUMO_API int Opt_GreyscaleAbs(Image source, Image destination, uint16_t lo, uint16_t hi,
                              uint16_t mode);

/**
 * Opt_GreyscaleAbs() over the window that Get_ImageValueLim() finds in the source.
 * @param source       pixels to measure and to map
 * @param destination  [out] as large as the source; its pixels are overwritten
 * @param lowPpm       as Get_ImageValueLim() takes it
 * @param highPpm      as Get_ImageValueLim() takes it
 * @param mode         a curve and flags of ::LutMode
 * @return as Opt_GreyscaleAbs()
 */
LUMO_API int Opt_GreyscaleLim(Image source, Image destination, int32_t lowPpm, int32_t highPpm,
                              uint16_t mode);

/**
 * Builds the display table from a viewer's settings. With angle = contrast / 200 * 3.1415926535 (so
 * that the neutral table differs from the identity here and there), entry v is
 * tan(angle) * (v / 65535) ^ (1 / gamma) * 65535 + (1 / cos(angle) + cos(angle)) * (brightness / 50
 * - 1) * 32767.5 + (1 - tan(angle)) * 32767.5, truncated, from 0 to 65535.
 * @param input       a table to go through first, or null; may be the output
 * @param output      [out] the table
 * @param brightness  0 to 100, neutral 50
 * @param contrast    0 (flat) to 100 (nearly vertical), neutral 50
 * @param gamma       0.01 to 5, neutral 1. Values outside their range are clamped, NaN is neutral
 * @return 0; -2 without output
 */
LUMO_API int Make_DispLut(const uint16_t* input, uint16_t* output, double brightness,
                          double contrast, double gamma);

/**
 * Equalises the histogram between percentile limits: below the lower one 0, from the upper one on
 * 65535, between them by the share of the pixels up to each grey value.
 * @param destination  [out] as large as the source; its pixels are overwritten
 * @param source       pixels to measure and to map
 * @param lowPpm       as Get_ImageValueLim() takes it, without its least distance; where nothing is
 *                     found the limit is 65536
 * @param highPpm      the same from the bright end; where nothing is found the limit is -1. The
 *                     upper limit itself becomes 65535; without pixels between the limits those
 *                     there become 0
 * @return 0; -50 sizes differ or a raster is missing; -8 without memory
 */
LUMO_API int Equal_Histo(Image destination, Image source, int32_t lowPpm, int32_t highPpm);

/**
 * Equalises a histogram whose counts are limited: those of grey value v to 10 ^ ((strength - 50) *
 * 3 / 50) * 0.00111 * pixels / sqrt(v + 1). Below the useful range they count by 0.01, from its end
 * on by 0.1, each truncated. With C their running sum, entry v is (1 - w) * 65535 * C(v) / C(65535)
 * + w * sqrt(65535 * v), w being weight / 100. An end that is to be found is the first one, in
 * blocks of 50 grey values from the dark or the bright side, at which a block's average falls below
 * a quarter of the highest so far; if half of the pixels lie before it, the block in which the
 * first per cent of them ended. Found ends that cross are exchanged. Values outside their range are
 * clamped; a low above high makes both their middle.
 * @param destination  [out] as large as the source; its pixels are overwritten
 * @param source       pixels to measure and to map
 * @param strength     clip level, 0 to 100; 50 is neutral, each 50 steps are a factor of 1000
 * @param low          [in, out] lower end of the useful range: the caller's, or the one found
 * @param high         [in, out] upper end of the useful range
 * @param fixLow       1 keeps the caller's low, 0 finds it
 * @param fixHigh      1 keeps the caller's high, 0 finds it
 * @param weight       percentage of the square-root curve
 * @return 0 (for an image without pixels low and high stay as they are); -50 sizes differ or a
 * raster is missing; -2 without low or high; -8 without memory
 */
LUMO_API int Equal_Histo3(Image destination, Image source, int32_t strength, int32_t* low,
                          int32_t* high, int32_t fixLow, int32_t fixHigh, int32_t weight);

/** @} */
/**
 * @name Turning by any angle
 * Angles are in degrees; a positive one turns the picture against the clock.
 * @{
 */

/**
 * Turns an image about its centre into a new one that holds all of it, with bilinear interpolation.
 * What lies outside the source counts as 0.
 *
 * The centre is (width / 2, height / 2), halves kept. With the source's corner pixels turned about
 * it, in single precision, X0 is floor(least x - 1), Y0 floor(least y) - 1, the target's width
 * ceil(largest x + 1) - X0 and its height ceil(largest y) + 1 - Y0. Target pixel (i, j) stands for
 * position (X0 + i, Y0 + j) of the turned picture. It is sampled where the turn back takes that
 * position, in double precision, advanced from row to row by two additions; weights and sums are
 * single precision.
 * @param image   only read
 * @param target  [out] receives a raster from malloc(), whatever it held; untouched on failure
 * @param angle   degrees
 * @return 0; -2 without target or for an angle that is no finite number; -50 without pixels or if
 * the target would be wider or higher than 65535; -8 without memory
 */
LUMO_API int RotationNewImage(Image image, Image* target, double angle);

/**
 * Approximates a turn by two shears in whole pixels, into a new image of the same size: with t the
 * tangent of the angle, row y moves left by (height - 1 - y) * t (for negative angles by -y * t),
 * then column x up by x * t (or (x + 1 - width) * t), cut to whole pixels. Where the tangent has
 * the other sign, beyond 90 degrees either way, the same moves go right and down. Pixels that get
 * nothing are 0.
 * @param image   only read
 * @param target  [out] as RotationNewImage() takes it
 * @param angle   degrees
 * @return as RotationNewImage()
 */
LUMO_API int Shear(Image image, Image* target, double angle);

/**
 * Estimates how far the exposed area, where pixels exceed 8000, is tilted: straight lines through
 * the middle half of its four edges, the mean of the two middle slopes. Handing the result to
 * RotationNewImage() sets the area straight.
 * @param image  only read
 * @return degrees; 0 for an image without raster or without exposed pixels, or without memory
 */
LUMO_API double CalculateRotationAngle(Image image);

/** @} */
/**
 * @name Calibration
 * Correction of a detector's pixel-to-pixel sensitivity by a table of gains, made from an exposure
 * without an object. The file: a header of 20 bytes (version, width, height and header length in
 * two bytes each, pixelsizeX and pixelsizeY in four, minPercent and maxPercent in two) and one code
 * c of two bytes per pixel, all little-endian, for a gain of
 * minPercent / 100 + c * (maxPercent - minPercent) / 100 / 65535.
 * @{
 */

/**
 * Makes a calibration file. A pixel's gain brings it to the mean of the smoothed reference's inner
 * 70 % by 70 %, between the limits; 1 for a pixel of 0.
 * @param reference     smoothed in place by this call, also when the file cannot be made
 * @param smoothWidth   the smoothing window is 2 * (smoothWidth / 2) + 1 pixels wide; 0, 1: none
 * @param smoothHeight  the same for its height
 * @param minPercent    lowest gain, below 100
 * @param maxPercent    highest gain, above 100
 * @param fileName      the file to make; an existing one is replaced
 * @return 0; -2 limits outside their ranges; -50 no raster; -8 no memory (nothing is changed by
 * these three); -1 the file cannot be created; -16 it cannot be completely written
 */
LUMO_API int CreateCalibrationData(lmImage* reference, uint16_t smoothWidth, uint16_t smoothHeight,
                                   uint16_t minPercent, uint16_t maxPercent, const char* fileName);

/**
 * Corrects an image: each pixel times its gain, cut, at most 65535. Pixels beyond the table keep
 * their values. Appends the step with the file's name to the processing history.
 * @param image     changed in place
 * @param fileName  a calibration file
 * @return 0; -50 no raster; -1 the file cannot be opened; -11 it does not hold its header and whole
 * table; -8 no memory. A failure changes nothing, unless the file shrinks while it is read
 */
LUMO_API int CalibrateImage(lmImage* image, const char* fileName);

/** @} */

/**
 * @name Filters
 * A kernel is an ::FImage of weights, used as they stand: weight (i, j) of a kernel of kw x kh lies
 * on pixel (x + i - lo, y + j - loY), lo = kw - 1 - kw / 2, loY = kh - 1 - kh / 2 (integer
 * division), so a kernel of even size reaches one pixel further to the right and down. Pixels from
 * which it would leave the image, all of them if it is larger than the image, are the border. Each
 * sum begins at 0 and takes one fused multiply-add in single precision per weight, column after
 * column, each from the top.
 *
 * Source and destination may be the same raster, but must not overlap otherwise. Images of zero
 * pixels: nothing is done. After a failure the destination is as it was.
 * @{
 */

/**
 * Convolution (correlation): the sums, clamped to 0..65535 and truncated, 0 for NaN; the border is
 * copied. Logs in place, where it creates a temporary image.
 * @param source       width x height pixels
 * @param destination  [out] as large as the source
 * @param kernel       weights, only read
 * @return 0; -50 if the images differ in size or a raster is missing; -2 if the kernel has no
 * raster or a side of 0; -8 without memory
 */
LUMO_API int Convol_Image(Image source, Image destination, FImage kernel);

/**
 * Unsharp masking: T = (1 + strength) * source - strength * blur, the blur being the sums, not
 * clamped, and the source's values on the border; then T's range is stretched over 0..65535:
 * (T - min) * (65535 / (max - min)), truncated. An image of one value becomes zeros.
 * T and the gain are computed in double and rounded to single precision once.
 * @param source       width x height pixels
 * @param destination  [out] as large as the source
 * @param kernel       weights, only read
 * @param strength     0 leaves the source, but for the stretching
 * @return as Convol_Image()
 */
LUMO_API int UnsharpMask(Image source, Image destination, FImage kernel, float strength);

/** @} */

/**
 * @name Filter commands
 * One operation on a raster, chosen and parameterised by a text such as
 * "type=unsharp_mask radius=0.5 value=2".
 *
 * A key is searched anywhere in the text (at most 255 characters are used, upper case counts as
 * lower case); its value starts directly after the "=". Reals are decimal numbers; integers may
 * begin with 0x (hexadecimal) or 0 (octal). No number there means 0; no key, or a real too
 * large for its type, the default; integers are held to the range of int. What matches no key is
 * passed over. Radii are in millimetres, frequencies in cycles per millimetre.
 *
 * Operations, each with its keys and defaults:
 *  - type=gauss_fd al0=1 al1=1 ftp=10 ah0=1 ah1=1 fhp=10 ab0=1 ab1=1 fbp0=5 fbp=2
 *    preservezerofreq=0: band filter, the result spread between its darkest and brightest per cent
 *  - type=gauss_fd2, the same keys: band filter, grey values on the image's own scale
 *  - type=unsharp_mask radius=1 value=1: UnsharpMask() with a square of 2 * trunc(radius in pixels)
 *    + 1 equal weights
 *  - type=unsharp_mask2 radius=1 value=1: unsharp mask by the mean of trunc(radius in pixels),
 *    clamped, then smoothed by half of that
 *  - type=mean_filter size=3, type=median_filter size=3: mean or median of the size x size window
 *    that begins at each pixel (the last rows and columns are kept)
 *  - type=histogramm_equal low=3 high=3: Equal_Histo(), limits in per cent
 *  - type=histogramm_equal3 np=50 lp=0 rp=65535 lf=0 rf=0 gew=0: Equal_Histo3(); the range it used
 *    is handed back as "lp" and "rp" in section "return"
 *
 * The band filter multiplies the spectrum at the frequency f by L * P * B, where with
 * G(x, m, s) = exp(-((x - m) / s)^2 / 2)
 * L = al0 + (al1 - al0) * G(f, 0, ftp), P = ah0 + (ah1 - ah0) * (1 - G(f, 0, fhp)) and
 * B = ab0 + (ab1 - ab0) * G(f, fbp0, fbp / 2); preservezerofreq=1 keeps the image's mean. The image
 * is padded with its edge pixels; it runs on as many threads as the calling thread may use
 * processors, at most OMP_NUM_THREADS where that is set. The transform's rounding depends on their
 * number at some sizes: of 404, one differed between one thread and two, 76 between one and eight,
 * by less than 0.1 before truncation. A forked child transforms on one thread and rounds as its
 * parent does.
 * @{
 */

/** Values that a filter command hands back: INI text. */
typedef struct IniReturn IniReturn;

/**
 * Runs a filter command. Logs. Afterwards the process's LC_NUMERIC is "C", unless the call fails
 * before it looks at the command: with -14, -50, without a command or without memory for its copy.
 * No other function of the library sets a locale. Numbers are read with a decimal point in any
 * locale. Calls from several threads on different images are safe. An image of zero pixels is
 * answered with 0.
 *
 * An operation that refuses its parameters (a size outside the image, say) leaves the destination
 * as it was and its code as the last error, see lmtGetLastError(); the call's own result is 0.
 * So it is when it finds no memory. Only the band filter's own codes, -2 and -8, are the call's
 * result.
 *
 * The band filter's transform library, the system's FFTW, ends the process when it gets no memory
 * for the few small blocks that it plans with. Nothing that a caller could do prevents it.
 * @param source       width x height pixels
 * @param destination  [out] as large as the source, or the same raster
 * @param pixelsizeX   pitch along a row, nanometres; below 1000 stands for 100000
 * @param pixelsizeY   pitch between rows
 * @param command      the command
 * @param result       [out] null, or a place holding null that receives a store, empty unless the
 *                     operation hands values back, also after a failure; free it with
 *                     Destroy_IniReturn()
 * @param text         [out] null, or receives the store's text, which belongs to it
 * @param size         [out] null, or receives the length of that text
 * @return 0; -2 no known operation, no command, or ftp * fhp * fbp is 0; -14 the place holds a
 * store; -50 the images differ in size or a raster is missing; -8 without memory
 */
LUMO_API int SC_Filter_ImageEx(Image source, Image destination, int32_t pixelsizeX,
                               int32_t pixelsizeY, const char* command, IniReturn** result,
                               char** text, uint32_t* size);

/**
 * SC_Filter_ImageEx() without results.
 * @param source       as SC_Filter_ImageEx() takes it
 * @param destination  as SC_Filter_ImageEx() takes it
 * @param pixelsizeX   pitch along a row, nanometres
 * @param pixelsizeY   pitch between rows, nanometres
 * @param command      the command
 * @return as SC_Filter_ImageEx()
 */
LUMO_API int SC_Filter_Image(Image source, Image destination, int32_t pixelsizeX,
                             int32_t pixelsizeY, const char* command);

/**
 * Frees a result store and clears the place.
 * @param result  holds a store, or null
 * @return 0, also for an empty place; -14 without place
 */
LUMO_API int Destroy_IniReturn(IniReturn** result);

/** @} */

/**
 * Completes the bare name of a filter script to a path in the workstation's script folder (entry
 * ScriptDir, section `Software\Orvel\scripts` of the configuration file that ORVEL_CONFIG names,
 * else of /etc/orvel.ini): the folder, a backslash, the name; the name alone without that setting.
 * @param path  [out] at least 1024 bytes; longer results are cut; untouched for an empty name
 * @param name  the script's name
 */
LUMO_API void CompleteImoPath(char* path, const char* name);

#ifdef __cplusplus
} /* extern "C" */

/**
 * Write_Image() turned on the way.
 * @param image     with a raster; only read
 * @param fileName  as Write_Image() takes it; only read
 * @param rotation  degrees, as WriteImage8Rot() takes it
 * @return as Write_Image(); -8 without memory
 */
LUMO_API int WriteImageRot(Image image, char* fileName, int rotation);

/**
 * Writes the information file's fixed header, 101 bytes; no value is checked.
 * @param info          the values
 * @param infoFileName  used as it is
 * @return 0; -1 cannot be created; -16 not fully written
 */
LUMO_API int WriteImageInfo(ImageInfo info, const char* infoFileName);
#endif

#endif
