/**
 * @file lumo.h
 * Image processing for 16-bit greyscale radiographic images: image records, their metadata and
 * their files.
 *
 * A first program: LumoReadImage() a file, work on the raster that LumoGetBufferAddress() gives,
 * LumoWriteImage() it, LumoDestroyImage() it. The functions to measure, map, filter and correct
 * with work on such rasters; they are in lumo_legacy.h.
 *
 * Results are 0 or a negative ::LumoResult. Calls on different images may run in several threads at
 * once; one image belongs to one thread at a time. File names are in the platform's own encoding
 * and of at most 1023 characters: a longer one is a file that cannot be opened.
 */
#ifndef LUMO_H
#define LUMO_H

#include <stdint.h>

/**
 * @name Version of these headers
 * The text that LumoGetVersion() gives is another one: hosts know the library by it, so it stays.
 * @{
 */
#define LUMO_VERSION_MAJOR 2 /**< changes when callers have to be compiled anew */
#define LUMO_VERSION_MINOR 3 /**< changes with new functions */
#define LUMO_VERSION_PATCH 0 /**< changes with mended faults */
#define LUMO_VERSION "2.3.0" /**< as a text */
/** @} */

/** @def LUMO_API
 * Marks what the library exports. */
#if defined(__GNUC__)
#define LUMO_API __attribute__((visibility("default")))
#else
#define LUMO_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Result codes. Negative ones are failures; lmtErrorMessage() gives a sentence for each. */
enum LumoResult {
    LumoOk = 0,              /**< success */
    LumoSizeMismatch = 1,    /**< source and destination differ in size, or one has no raster */
    LumoErrorOpen = -1,      /**< a file cannot be opened (or created, by the older functions) */
    LumoErrorParameter = -2, /**< a parameter is missing or outside its range */
    LumoErrorMemory = -8,    /**< no memory, no place for the image, or no PNG write in progress */
    LumoErrorFile = -11,     /**< a file cannot be removed, read to its end or positioned */
    LumoErrorSlot = -14,     /**< a result slot is occupied or missing */
    LumoErrorWrite = -16,    /**< a file cannot be created or completely written */
    LumoErrorRange = -20,    /**< an angle or a compression level outside the allowed values */
    LumoErrorImage = -50,    /**< no image, no raster, or pixel data that does not fit */
    LumoErrorAccess = -102,  /**< a pixel outside the raster; a missing section or key name */
    LumoErrorInfoMissing = -10004, /**< the information file of an XYZ image cannot be opened */
    LumoErrorInfoInvalid =
        -10006 /**< the information file is too short or holds values out of range */
};

/** Image file formats. */
enum ImageFormat {
    FormatAuto = 0, /**< when writing: by the file name's extension */
    FormatXyz = 1,  /**< XYZ with 16-bit pixels; whatever matches no signature */
    FormatXyz8 = 2, /**< XYZ with square-root coded 8-bit pixels (lossy) */
    FormatPng = 3,  /**< PNG, 16-bit greyscale when written */
    FormatGif = 4,  /**< recognised, neither read nor written */
    FormatRaw = 5,  /**< a raw pixel file, written like FormatXyz */
    FormatTxt =
        6 /**< written like FormatXyz; a name that ends in "txt" gives the information file alone */
};

/** An open row-by-row PNG write; belongs to its image. */
struct PngWriteState;

/**
 * A 16-bit greyscale image with its pitch and metadata. Created by LumoCreateImage() or a reader,
 * freed by LumoDestroyImage(); its first three fields are those of ::Image.
 *
 * `data` is null or holds `width` x `height` pixels, row by row from the top, in a block from
 * malloc(). `metaData` is zero-terminated INI text of `metaSize` bytes, the zero counted.
 */
typedef struct lmImage {
    uint16_t width;                  /**< pixels per row; 0 without raster */
    uint16_t height;                 /**< rows; 0 without raster */
    uint16_t* data;                  /**< the raster, or null */
    uint32_t pixelsizeX;             /**< pitch along a row, nanometres; 100000 at creation */
    uint32_t pixelsizeY;             /**< pitch between rows, nanometres; 100000 at creation */
    uint16_t maxPix;                 /**< maximum pixel value by the file; 0 at creation */
    uint16_t avgPix;                 /**< average pixel value by the file; 0 at creation */
    uint16_t equivLow;               /**< lower dose-equivalent bound; 0 at creation */
    uint16_t equivHigh;              /**< upper dose-equivalent bound; 65535 at creation */
    uint16_t** rowPointers;          /**< cache of the rows' addresses, or null */
    struct PngWriteState* pngWriter; /**< the PNG write in progress, or null */
    int32_t metaSize;                /**< bytes of metadata, terminating zero counted */
    char* metaData;                  /**< the metadata, INI text */
} lmImage;

/**
 * @name Version and failures
 * @{
 */

/**
 * Version of the library and of the libpng it uses.
 * @return a text that stays valid while the library is loaded; one buffer for all callers
 */
LUMO_API const char* LumoGetVersion(void);

/**
 * Records a failure code as the calling thread's last error. The library does so itself for the
 * failures that it logs under a function's name; success does not reset it.
 * @param code  a ::LumoResult or any other number
 */
LUMO_API void lmtSetLastError(int code);

/**
 * The calling thread's last error.
 * @return the code recorded last; 0 before the first one
 */
LUMO_API int lmtGetLastError(void);

/**
 * A sentence for a result code.
 * @param code  a ::LumoResult; any other number has a sentence too
 * @return a text that stays valid while the library is loaded; never null
 */
LUMO_API const char* lmtErrorMessage(int code);

/**
 * A hook that a program may define, never called by the program itself: the folder in which the
 * library writes its log when ORVEL_LOG_DIR is not set. Called once, while the library is loaded
 * and before the program's own initialisation, so it may use nothing but the C library. Without the
 * hook the log goes to the current folder.
 * @return the folder; null or an empty text means the current one
 */
const char* lumoLogDirectory(void);

/**
 * A hook as lumoLogDirectory(): the highest level that the library writes to its log when
 * ORVEL_LOG_LEVEL is not set or no number. Without the hook all are written.
 * @return the level, -1 (none) to 8 (all)
 */
int lumoLogLevel(void);

/** @} */
/**
 * @name Image life cycle
 * @{
 */

/**
 * Creates an image with the current time as its "Creation Time". Pixels are not initialised. A
 * record that the place holds already is destroyed first.
 * @param place   [out] the new record; null after a failure
 * @param width   pixels per row
 * @param height  rows; if either is 0 the image has no raster and both are 0
 * @return 0; -8 without a place or memory
 */
LUMO_API int LumoCreateImage(lmImage** place, uint16_t width, uint16_t height);

/**
 * Gives the image a raster of another size. The raster's bytes are kept up to the smaller size and
 * not moved to new row positions. The metadata is not touched.
 * @param place   holds the record; null after a failure, which destroys the record
 * @param width   pixels per row
 * @param height  rows
 * @return 0; -50 for zero pixels or an empty place; -8 without memory or for 4 GiB and more
 */
LUMO_API int LumoResizeImageBuf(lmImage** place, uint16_t width, uint16_t height);

/**
 * Exchanges the raster for the caller's, which the image owns from now on.
 * @param image  the image, whose size stays; its raster so far is freed, unless it is the same
 * @param data   from malloc(), at least width x height pixels
 * @return 0; -2 if the image or the raster is null
 */
LUMO_API int LumoChangeDataBuffer(lmImage* image, uint16_t* data);

/**
 * Frees an image and clears the place. An open PNG write is abandoned: its file stays unfinished.
 * @param place  holds the record, or null
 * @return 0, also for an empty place; -50 if the place itself is null
 */
LUMO_API int LumoDestroyImage(lmImage** place);

/**
 * Removes an image file, and the information file beside it if the name ends in ".xyz" (any case).
 * Never removes a folder. An information file that cannot be removed is only a warning in the log.
 * @param fileName  name of the image file
 * @return 0; -11 if the image file cannot be removed
 */
LUMO_API int LumoDeleteImage(const char* fileName);

/** @} */
/**
 * @name Pixels and metadata
 * Texts are handed out by size: with a null buffer or a size of 0 the call stores the size needed,
 * terminating zero counted; otherwise it copies at most the given size and stores the count copied.
 * @{
 */

/**
 * Sets a pixel.
 * @param image  the image
 * @param x      column
 * @param y      row
 * @param value  the new grey value
 * @return 0; -102 outside the raster or without image or raster
 */
LUMO_API int LumoSetPixel(lmImage* image, uint16_t x, uint16_t y, uint16_t value);

/**
 * Reads a pixel.
 * @param image  only read
 * @param x      column
 * @param y      row
 * @param value  [out] its grey value; untouched on failure
 * @return 0; -102 outside the raster or without image or raster; -2 without output
 */
LUMO_API int LumoGetPixel(lmImage* image, uint16_t x, uint16_t y, uint16_t* value);

/**
 * Size in pixels and pitch in nanometres.
 * @param image       only read
 * @param width       [out] pixels per row; 0 without raster
 * @param height      [out] rows; 0 without raster
 * @param pixelsizeX  [out] pitch along a row
 * @param pixelsizeY  [out] pitch between rows
 * @return 0; -50 without image; -2 if an output is null (nothing is written then)
 */
LUMO_API int LumoGetGeometry(lmImage* image, uint32_t* width, uint32_t* height,
                             uint32_t* pixelsizeX, uint32_t* pixelsizeY);

/**
 * The raster itself, for reading and writing; null if there is none. Valid until the image is
 * resized, turned, given another raster or destroyed.
 * @param image  keeps owning the raster
 * @param data   [out] width x height pixels, row by row from the top, or null
 * @return 0; -50 without image; -2 without output
 */
LUMO_API int LumoGetBufferAddress(lmImage* image, uint16_t** data);

/**
 * The whole metadata text.
 * @param image  only read
 * @param text   [out] buffer of *size bytes, or null to ask for the size
 * @param size   [in, out] see above; a copy shorter than the text has no terminating zero
 * @return 0; -50 without image; -2 without size
 */
LUMO_API int LumoGetMetaData(lmImage* image, char* text, int32_t* size);

/**
 * The value of one metadata entry, at most 1023 characters; a missing entry reads as the empty
 * text.
 * @param image    only read
 * @param section  name of the section; its case counts
 * @param key      name of the entry; its case counts
 * @param value    [out] buffer of *size bytes, or null to ask for the size
 * @param size     [in, out] see above; a copy shorter than the value has no terminating zero
 * @return 0; -50 without image; -102 without section or key; -2 without size; -8 without memory
 */
LUMO_API int LumoGetMetaEntry(lmImage* image, const char* section, const char* key, char* value,
                              int32_t* size);

/**
 * Receives one metadata entry; the texts are zero-terminated and valid during the call. It may
 * change the image's metadata, which the walk does not see, and must not throw.
 * @param section  name of the entry's section
 * @param key      name of the entry
 * @param value    the value in full length
 * @param user     as it was given to LumoForEachMetaEntry()
 * @return 0 to go on; anything else ends the walk
 */
typedef int (*LumoMetaVisitor)(const char* section, const char* key, const char* value, void* user);

/**
 * Hands every metadata entry to a visitor, in the order of the text, those of a section together
 * and each key once, with the value that LumoGetMetaEntry() reads, but in full length. It takes one
 * reading of the text, where asking for each entry takes one for each. The extended header, which
 * need not hold entries at all, is passed over. Entries before the first section come with an empty
 * section name; LumoGetMetaEntry() does not find them.
 * @param image    only read, unless the visitor changes it
 * @param visitor  called once for each entry, on the caller's thread
 * @param user     handed on to the visitor; may be null
 * @return 0, also if the visitor ended the walk; -50 without image; -2 without visitor; -8 without
 * memory, perhaps after some entries
 */
LUMO_API int LumoForEachMetaEntry(lmImage* image, LumoMetaVisitor visitor, void* user);

/**
 * Creates, replaces or removes one metadata entry. Any text may be a value, line breaks included.
 * @param image    the image
 * @param section  name of the section, made if it is missing
 * @param key      name of the entry
 * @param value    null removes the entry
 * @return 0; -50 without image; -102 without section or key; -8 without memory (nothing changed)
 */
LUMO_API int LumoSetMetaEntry(lmImage* image, const char* section, const char* key,
                              const char* value);

/**
 * Appends a step to the image's processing history, section "PerformedSteps".
 * @param image  the image
 * @param step   a short text that names the operation and its arguments
 * @return 0; -50 without image; -2 without step; -8 without memory (nothing changed)
 */
LUMO_API int LumoAddPerformedStep(lmImage* image, const char* step);

/**
 * The extended header block of an XYZ image, byte for byte; no terminating zero is added or
 * counted.
 * @param image  only read
 * @param body   [out] buffer of *size bytes, or null to ask for the size
 * @param size   [in, out] bytes of the buffer; bytes of the block that were copied, or its size
 * @return 0; -50 without image; -2 without size; -8 without memory
 */
LUMO_API int LumoGetExtHeader(lmImage* image, char* body, int32_t* size);

/**
 * The four dose-equivalent values. Mind the order.
 * @param image      only read
 * @param avgPix     [out] average pixel value
 * @param maxPix     [out] maximum pixel value
 * @param equivLow   [out] lower dose-equivalent bound
 * @param equivHigh  [out] upper dose-equivalent bound
 * @return 0; -50 without image; -2 if an output is null (nothing is written then)
 */
LUMO_API int LumoGetDoseEquiv(lmImage* image, uint16_t* avgPix, uint16_t* maxPix,
                              uint16_t* equivLow, uint16_t* equivHigh);

/** @} */
/**
 * @name Turning and mirroring
 * In place, the raster keeping its address. The metadata's geometry follows, and each call appends
 * its step to the processing history. A failure changes nothing.
 * @{
 */

/**
 * Turns an image by 90 degrees (against the clock), 180 or 270; other multiples of 90 count as the
 * one they amount to. Sets "Rotation" in section "Image_X" to this turn, not to a sum of turns; 90
 * and 270 exchange the sides, the pitches and their metadata entries. Logs failures without
 * recording them as the last error.
 * @param image  the image; turned without raster, too
 * @param angle  degrees, a multiple of 90 that is no whole turn
 * @return 0; -20 for any other angle and for no turn at all; -50 without image; -8 without memory
 */
LUMO_API int LumoRotateImage(lmImage* image, int angle);

/**
 * Mirrors an image. Sets "Mirror" in section "Image_X". Both directions together are
 * LumoRotateImage() by 180; neither changes nothing.
 * @param image       with a raster
 * @param horizontal  not 0: left and right exchanged
 * @param vertical    not 0: top and bottom exchanged
 * @return 0; -2 without image or raster; -8 without memory
 */
LUMO_API int LumoMirrorImage(lmImage* image, int horizontal, int vertical);

/** @} */
/**
 * @name Image files
 * @{
 */

/**
 * Reads an image file, recognised by its first bytes, into a new image in the place. A record that
 * the place holds already is destroyed when the new one is created, and left alone by a failure
 * before that. After a later failure the place is null (PNG) or holds what was read (XYZ). The file
 * is opened once: a pipe can be read where it is PNG.
 * @param place     [in, out] null or a record; receives the new one
 * @param fileName  name of the file
 * @return 0; -1 the file cannot be opened; -8 no memory or no place; -11 a damaged PNG file, or an
 * XYZ pixel file that is a pipe; -50 no pixels, too few, or a side above 65535; -10004, -10006 the
 * information file is missing or invalid
 */
LUMO_API int LumoReadImage(lmImage** place, const char* fileName);

/**
 * Reads an image from an open descriptor, such as standard input: from its position on, a pipe as
 * well as a file. Only a format whose file alone is the image can come so, which is PNG; an XYZ
 * image needs its information file, which a descriptor does not lead to. Otherwise as
 * LumoReadImage().
 * @param place       [out] the new image
 * @param descriptor  open for reading; stays open, at a position that is not defined
 * @param shownName   what the log calls it; null: nothing
 * @param foreign     [out] as LumoForeignFormat() would say of such a file; may be null
 * @return 0; -1 the descriptor cannot be read; -8 no memory or no place; -11 a damaged PNG file;
 * -50 an empty file, one of a format that the library does not read, or an image with a side above
 * 65535; -10004 no such format, so an XYZ image without its information file
 */
LUMO_API int LumoReadImageFd(lmImage** place, int descriptor, const char* shownName,
                             const char** foreign);

/**
 * The format of a file by its first bytes, as LumoReadImage() finds it. The file is not read
 * further, so it may be damaged all the same.
 * @param fileName  of a file; a pipe is not opened
 * @param format    [out] an ::ImageFormat, FormatXyz where there is no signature; untouched on
 * failure
 * @return 0; -1 the file cannot be opened; -2 without output
 */
LUMO_API int LumoFormatOfFile(const char* fileName, int* format);

/**
 * The format that a file name's extension, in any case, stands for, as LumoWriteImage() finds it.
 * @param fileName  any name; the file need not exist
 * @return an ::ImageFormat; FormatAuto for no or another extension and for null
 */
LUMO_API int LumoFormatOfName(const char* fileName);

/**
 * A format's name for people, such as "XYZ, 16-bit".
 * @param format  an ::ImageFormat
 * @return a text that stays valid while the library is loaded; empty for FormatAuto and a number
 * that is no format
 */
LUMO_API const char* LumoFormatName(int format);

/**
 * A format's extension, without a dot and in lower case.
 * @param format  an ::ImageFormat
 * @return as LumoFormatName()
 */
LUMO_API const char* LumoFormatExtension(int format);

/**
 * Whether files of a format are read as images: not those of FormatGif, and an information file
 * (FormatTxt) only with its image.
 * @param format  an ::ImageFormat
 * @return 1 or 0
 */
LUMO_API int LumoFormatIsImage(int format);

/**
 * What a file that cannot be read is, by its first bytes: "JPEG", "TIFF", "DICOM", "PDF" and other
 * formats that the library does not read.
 * @param fileName  of a file; a pipe is not opened
 * @return a text that stays valid while the library is loaded; empty for a format that the library
 * reads, for what is not known, and for a file that cannot be opened
 */
LUMO_API const char* LumoForeignFormat(const char* fileName);

/**
 * Writes an image file.
 * @param image     with a raster; only read
 * @param fileName  with an extension, unless the format is given; an existing file is replaced
 * @param format  an ::ImageFormat; FormatAuto chooses by the extension, in any case. FormatGif and
 * an unknown extension write nothing and give 0
 * @return 0; -1 for a name without extension and FormatAuto, or an 8-bit file that cannot be
 * created; -16 a file cannot be created or completely written; -50 no image, no raster, or (PNG) a
 * pitch of 0 or above 1000000000; -8 no memory
 */
LUMO_API int LumoWriteImage(lmImage* image, const char* fileName, int format);

/**
 * Sets the compression level of all later PNG writes of the process; 6 at first.
 * @param level  0 (none), 1 to 6 (fast, all alike), 7 to 9 (zlib at that level: many times slower,
 * and smaller for images of few grey values)
 * @return 0; -20 outside that range (the level stays)
 */
LUMO_API int LumoSetWriteCompressionLevel(int level);

/**
 * Opens a PNG file for writing row by row. An earlier write of this image that was never ended is
 * abandoned.
 * @param image     with its final size and pitch, which are written first; the metadata text
 *                  follows the rows
 * @param fileName  name of the file; an existing one is replaced
 * @return 0; -50 without image or with a pitch of 0 or above 1000000000; -8 no memory; -16 the file
 * cannot be set up, or the metadata text is too long to be read back
 */
LUMO_API int LumoPngWriteStart(lmImage* image, const char* fileName);

/**
 * Writes the next row.
 * @param image  the image of the write; its own raster is not read
 * @param row    `width` pixels, from anywhere
 * @return 0; -50 without image; -8 without a write in progress or a row; -16 when all rows are
 * written, which leaves the file as it is, or when libpng fails or the image's size has changed:
 * the write then stays open but dead
 */
LUMO_API int LumoPngWriteRow(lmImage* image, const unsigned short* row);

/**
 * Writes the rows of the raster from the first on, as many as the file still lacks.
 * @param image  the image of the write, with a raster
 * @return as LumoPngWriteRow(), -16 also without raster or where rows were left over; -8 also
 * without memory
 */
LUMO_API int LumoPngWriteRows(lmImage* image);

/**
 * Ends a PNG write: adds the metadata text, closes the file, releases the write on every path.
 * @param image  the image of the write
 * @return 0; -50 without image; -8 without a write in progress; -16 if the file is not complete: it
 * cannot be written, not all rows were handed over, or the metadata text is too long to be read
 * back
 */
LUMO_API int LumoPngWriteEnd(lmImage* image);

/**
 * Writes a whole PNG file: start, all rows, end.
 * @param image     with a raster; only read
 * @param fileName  as LumoPngWriteStart() takes it
 * @return 0; -50 without image or raster; else the first failure of LumoPngWriteStart(),
 * LumoPngWriteRows() and LumoPngWriteEnd()
 */
LUMO_API int LumoWriteImagePNG(lmImage* image, const char* fileName);

/** @} */

#ifdef __cplusplus
} /* extern "C" */

/**
 * Writes all rows of the raster, one by one; stops at the first failure.
 * @param image  the image of the write, with a raster
 * @return 0; -8 without image or write in progress; -16 as LumoPngWriteRow()
 */
LUMO_API int LumoPngWriteRows2(lmImage* image);
#endif

#endif
