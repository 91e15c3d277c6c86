/**
 * @file lumo_legacy.h
 * The older functions on plain rasters without metadata: records, 8-bit coding, raw files, the
 * information file as a record, the script path.
 *
 * An lmImage begins with the fields of an Image, so its raster can be handed to these functions:
 * `Image raster = {image->width, image->height, image->data};`. Results are 0 or a negative
 * ::LumoResult; unless a function says otherwise it neither logs nor records its failure.
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

/** An 8-bit raster as WriteImage8Rot() takes it. Fields named `unused` are not read. */
typedef struct Image8 {
    int32_t width;          /**< pixels per row, 1 to 65535 */
    int32_t height;         /**< rows, 1 to 65535 */
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
 * @param text  [out] at least 64 bytes, or null
 * @return always 0
 */
LUMO_API int Get_Version(char* text);

/** @name Rasters @{ */

/**
 * Allocates a raster, not initialised; one that the record holds already is not released. Logs.
 * @return 0, also for zero pixels; -8 without memory (the record is then 0 x 0 without raster);
 * -2 without record
 */
LUMO_API int Create_Image(uint16_t width, uint16_t height, Image* image);

/** Releases the raster and clears the record. @return 0; -2 without record */
LUMO_API int Destroy_Image(Image* image);

/** Create_Image() for single-precision values; does not log. */
LUMO_API int Create_FImage(uint16_t width, uint16_t height, FImage* image);

/** Releases the raster and clears the record. @return 0; -2 without record */
LUMO_API int Destroy_FImage(FImage* image);

/**
 * Widens 8-bit codes v to v * v * scale / 65535, truncated, at most 65535.
 * @param source  width x height codes
 * @param target  [out] width x height values
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
 * @param imageFileName  name of the image, which must exist; at most 1023 characters
 * @return 0; -1 if a file is missing, the header is short or a value outside its range;
 * -2 without record
 */
LUMO_API int Get_ImageInfo(ImageInfo* info, const char* imageFileName);

/**
 * Reads the extended header block.
 * @param block  [out] room for as many bytes as Get_ImageExtraHeaderSize() tells
 * @return the number of bytes delivered; 0 if there is no file, no block or nowhere to put it
 */
LUMO_API int Get_ImageExtraHeader(const char* imageFileName, void* block);

/** Bytes that Get_ImageExtraHeader() delivers: never more than the file holds. */
LUMO_API int Get_ImageExtraHeaderSize(const char* imageFileName);

/**
 * Keeps a copy of an extended header block in the process's one slot, instead of an earlier one.
 * Not safe in several threads at once.
 * @param size  bytes; 0 or a null block empties the slot
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
 * Reads a raw pixel file in either form; allocates the raster into the record, whose earlier one is
 * not released. A failure may leave a partly filled raster there: call Destroy_Image().
 * @return 0; -1 the file cannot be opened (the record is then empty); -8 no memory; -50 no pixels
 * or too few; -2 without record
 */
LUMO_API int Read_Image(const char* fileName, Image* image);

/** Writes the 16-bit form. @return 0; -50 no raster; -1 cannot be created; -16 not fully written */
LUMO_API int Write_Image(const char* fileName, Image image);

/**
 * Writes the 8-bit form, turned on the way. Logs its entry.
 * @return 0; -50 no pixels or a size outside 0 to 65535; -1 cannot be created; -8 no memory;
 * -16 not fully written
 */
LUMO_API int WriteImage8Rot(Image8 image, const char* fileName, int rotation);

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
 * Target pixel (i, j) stands for position (X0 + i, Y0 + j) of the turned picture. It is sampled
 * where the turn by the angle takes that position, in double precision, advanced from row to row by
 * two additions; weights and sums are single precision.
 * @param target  [out] receives a raster from malloc(), whatever it held; untouched on failure
 * @return 0; -2 without target or for an angle that is no finite number; -50 without pixels or if
 * the target would be wider or higher than 65535; -8 without memory
 */
LUMO_API int RotationNewImage(Image image, Image* target, double angle);

/**
 * Approximates a turn by two shears in whole pixels, into a new image of the same size: with t the
 * tangent of the angle, row y moves left by (height - 1 - y) * t (for negative angles by -y * t),
 * then column x up by x * t (or (x + 1 - width) * t), cut to whole pixels. Beyond 90 degrees either
 * way the same moves go right and down. Pixels that get nothing are 0.
 * @return as RotationNewImage()
 */
LUMO_API int Shear(Image image, Image* target, double angle);

/**
 * Estimates how far the exposed area, where pixels exceed 8000, is tilted: straight lines through
 * the middle half of its four edges, the mean of the two middle slopes. Handing the result to
 * RotationNewImage() sets the area straight.
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
 * @param reference    smoothed in place by this call, also when the file cannot be made
 * @param smoothWidth  the smoothing window is 2 * (smoothWidth / 2) + 1 pixels wide; 0, 1: none
 * @param smoothHeight the same for its height
 * @param minPercent   lowest gain, below 100
 * @param maxPercent   highest gain, above 100
 * @return 0; -2 limits outside their ranges; -50 no raster; -8 no memory (nothing is changed by
 * these three); -1 the file cannot be created; -16 it cannot be completely written
 */
LUMO_API int CreateCalibrationData(lmImage* reference, uint16_t smoothWidth, uint16_t smoothHeight,
                                   uint16_t minPercent, uint16_t maxPercent, const char* fileName);

/**
 * Corrects an image: each pixel times its gain, cut, at most 65535. Pixels beyond the table keep
 * their values. Appends the step with the file's name to the processing history.
 * @return 0; -50 no raster; -1 the file cannot be opened; -11 it does not hold its header and whole
 * table; -8 no memory. A failure changes nothing, unless the file shrinks while it is read
 */
LUMO_API int CalibrateImage(lmImage* image, const char* fileName);

/** @} */

/**
 * Completes the bare name of a filter script to a path in the workstation's script folder (entry
 * ScriptDir, section Software\Orvel\scripts of the configuration file that ORVEL_CONFIG names, else
 * of /etc/orvel.ini): the folder, a backslash, the name; the name alone without that setting.
 * @param path  [out] at least 1024 bytes; longer results are cut; untouched for an empty name
 * @param name  the script's name
 */
LUMO_API void CompleteImoPath(char* path, const char* name);

#ifdef __cplusplus
} /* extern "C" */

/** Write_Image() turned on the way. @return as Write_Image(); -8 without memory */
LUMO_API int WriteImageRot(Image image, char* fileName, int rotation);

/**
 * Writes the information file's fixed header, 101 bytes; no value is checked.
 * @param infoFileName  used as it is
 * @return 0; -1 cannot be created; -16 not fully written
 */
LUMO_API int WriteImageInfo(ImageInfo info, const char* infoFileName);
#endif

#endif
