/**
 * @file lumo_quality.h
 * Image quality figures of an exposure or a detector: signal-to-noise ratio, contrast-to-noise
 * ratio, duplex wire, modulation transfer, noise power; frames averaged, dark frames subtracted,
 * bad pixels found and mended.
 *
 * Records begin with their size: set `size` to sizeof the record before a call, of options and of
 * results. Options may be null for their defaults. A figure that does not exist is NaN. Curves are
 * handed out by count: with a null buffer or a count of 0 the call stores the count of points
 * needed, otherwise it copies at most the given count and stores the count copied.
 *
 * A picture that does not hold what is to be measured is refused with ::LumoErrorQuality, and the
 * result record's `reason` says why, an ::LumoQualityReason. What was measured but has to be taken
 * with care is in `notes`, a sum of ::LumoQualityNote.
 *
 * The figures need a signal that is proportional to dose and 0 without it, see ::LumoSignal. All
 * arithmetic is in double precision and the same on every machine, but for the transform of the
 * noise power spectrum. Images are only read unless a function says otherwise. Any thread; one
 * accumulator (::LumoStack, ::LumoNps) belongs to one thread at a time.
 */
#ifndef LUMO_QUALITY_H
#define LUMO_QUALITY_H

#include "lumo_legacy.h"

#ifdef __cplusplus
extern "C" {
#endif

/** The result code of these functions beside those of ::LumoResult. */
enum LumoQualityResult {
    LumoErrorQuality = -30 /**< the image does not hold what is to be measured; see the reason */
};

/** Why a measurement was refused; LumoQualityReasonText() gives a sentence for each. */
enum LumoQualityReason {
    LumoReasonNone = 0,            /**< not refused for what the image holds */
    LumoReasonRegionOutside = 1,   /**< the region leaves the image (the result is then -50) */
    LumoReasonRegionSmall = 2,     /**< the region has too few pixels for the figure */
    LumoReasonClipped = 3,         /**< pixels are clipped at the image's darkest or brightest */
    LumoReasonNoSignal = 4,        /**< the mean signal is not above 0 */
    LumoReasonNoNoise = 5,         /**< all pixels that the noise is taken from are equal */
    LumoReasonResponseTable = 6,   /**< the response table is not strictly monotone, or too short */
    LumoReasonResponseRange = 7,   /**< a grey value lies outside the response table */
    LumoReasonSizes = 8,           /**< images that belong together differ in size */
    LumoReasonAssumedPitch = 9,    /**< the pitch is what a PNG file without one reads as */
    LumoReasonStripOutside = 10,   /**< the strip along the line leaves the image */
    LumoReasonStripNarrow = 11,    /**< fewer than 21 lines of pixels in the strip */
    LumoReasonLineShort = 12,      /**< the line is too short to hold a gauge */
    LumoReasonGaugeSpacing = 13,   /**< the wires' distance contradicts pitch or first pair */
    LumoReasonNoEdge = 14,         /**< the contrast is below 20 times the noise */
    LumoReasonTiltSmall = 15,      /**< the edge crosses fewer than two columns (or rows) */
    LumoReasonTiltLarge = 16,      /**< the edge is tilted by more than 15 degrees */
    LumoReasonEdgeBent = 17,       /**< the edge is not straight */
    LumoReasonEdgeNearBorder = 18, /**< fewer than 16 pixels beside the edge */
    LumoReasonFewFrames = 19,      /**< fewer frames than the figure needs */
    LumoReasonNoGoodPixel = 20     /**< the map leaves no good pixel to mend from */
};

/** What has to be known beside a figure; LumoQualityNoteText() gives a sentence for each. */
enum LumoQualityNote {
    LumoNoteRounding = 1,        /**< the noise is below half a grey value: it is rounding */
    LumoNoteOnGrid = 2,          /**< the gauge is not tilted: the profile has one value a pixel */
    LumoNotePitchRatio = 4,      /**< the wires' distance is off by more than 2 % */
    LumoNoteNoPair = 8,          /**< no pair was found, or not even the first is resolved */
    LumoNoteAllResolved = 16,    /**< every pair is resolved: sharper than the gauge shows */
    LumoNoteStraightLine = 32,   /**< a straight line between two pairs instead of a polynomial */
    LumoNoteLowContrast = 64,    /**< the contrast is below 50 times the noise */
    LumoNoteOvershoot = 128,     /**< the edge overshoots by more than 5 %: sharpened */
    LumoNoteEmptyBins = 256,     /**< the tilt leaves more than a fifth of the bins empty */
    LumoNoteFewPixels = 512,     /**< fewer than 4 million pixels */
    LumoNoteNoisyLeftOut = 1024, /**< noisy pixels not looked for: under 30 dark frames, or none
                                      of them varies */
    LumoNoteTooManyPairs = 2048  /**< more groups of wires than the gauge has pairs */
};

/**
 * A sentence without a full stop for an ::LumoQualityReason.
 * @param reason  the record's reason
 * @return a text that stays valid while the library is loaded; "unknown" for other numbers
 */
LUMO_API const char* LumoQualityReasonText(uint32_t reason);

/**
 * A sentence without a full stop for a single ::LumoQualityNote.
 * @param note  one bit of the record's notes
 * @return a text that stays valid while the library is loaded; "unknown" for other numbers
 */
LUMO_API const char* LumoQualityNoteText(uint32_t note);

/**
 * How grey values become signal: minus the dark frame's pixel and the offset, then through the
 * response table by linear interpolation. Without this record grey values are the signal.
 */
typedef struct LumoSignal {
    uint32_t size;                /**< sizeof(LumoSignal) */
    int32_t responseCount;        /**< rows of the table, 2 or more; 0: none */
    double offset;                /**< grey value without dose; 0 with a dark frame */
    const Image* dark;            /**< a dark frame as large as the image, or null */
    const double* responseGrey;   /**< grey values, strictly monotone */
    const double* responseSignal; /**< signals, strictly monotone */
} LumoSignal;

/** A point of a curve. */
typedef struct LumoCurvePoint {
    double x; /**< millimetres, or cycles per millimetre */
    double y; /**< the value there */
} LumoCurvePoint;

/**
 * @name Signal to noise
 * A region falls into groups of 20 neighbours in a row (or column). The signal is the median of the
 * groups' means, the noise the median of their deviations times 1.0179: shading and single pixels
 * do not count.
 * @{
 */

/** Options of LumoMeasureSnr(). */
typedef struct LumoSnrOptions {
    uint32_t size;            /**< sizeof(LumoSnrOptions) */
    uint32_t along;           /**< 0: groups along rows, 1: along columns; 0 */
    double srbMicrometres;    /**< basic spatial resolution for SNRn; 0: none */
    const LumoSignal* signal; /**< or null */
} LumoSnrOptions;

/** A region's signal-to-noise ratio. */
typedef struct LumoSnr {
    uint32_t size;         /**< sizeof(LumoSnr) */
    uint32_t reason;       /**< an ::LumoQualityReason */
    uint32_t notes;        /**< sum of ::LumoQualityNote */
    uint32_t groups;       /**< groups of 20 pixels, 55 or more */
    double mean;           /**< signal */
    double sigma;          /**< noise */
    double snr;            /**< mean / sigma */
    double relativeError;  /**< of snr, by the number of groups: 1.2533 / sqrt(38 groups) */
    double plainSigma;     /**< deviation of all pixels */
    double plainSnr;       /**< mean of all pixels / plainSigma */
    double srbMicrometres; /**< as given, or NaN */
    double snrN;           /**< snr * 88.6 / srbMicrometres, or NaN */
} LumoSnr;

/**
 * Signal-to-noise ratio of a uniform region.
 * @param image    with a raster
 * @param region   at least 55 groups of 20 pixels
 * @param options  or null
 * @param result   [out] the figures
 * @return 0; -30 region too small, clipped, without signal or noise, or grey values outside the
 * response table; -50 no raster or the region leaves it; -2 a record is missing or its size or a
 * value is wrong; -8 without memory
 */
LUMO_API int LumoMeasureSnr(Image image, Roi region, const LumoSnrOptions* options,
                            LumoSnr* result);

/** Options of LumoMeasureCnr(). */
typedef struct LumoCnrOptions {
    uint32_t size;            /**< sizeof(LumoCnrOptions) */
    uint32_t along;           /**< as in ::LumoSnrOptions */
    double srbMicrometres;    /**< for cnrN; 0: none */
    double stepPercent;       /**< relative thickness step between the regions; 0: none */
    const LumoSignal* signal; /**< or null */
} LumoCnrOptions;

/** Contrast of two regions beside the noise. */
typedef struct LumoCnr {
    uint32_t size;                     /**< sizeof(LumoCnr) */
    uint32_t reason;                   /**< an ::LumoQualityReason */
    uint32_t notes;                    /**< sum of ::LumoQualityNote */
    uint32_t objectGroups;             /**< groups in the object's region */
    uint32_t backgroundGroups;         /**< groups in the background's region */
    uint32_t reserved;                 /**< 0 */
    double objectMean;                 /**< signal of the object */
    double objectSigma;                /**< noise on it */
    double backgroundMean;             /**< signal of the background */
    double backgroundSigma;            /**< noise on it */
    double cnr;                        /**< difference of the means / backgroundSigma */
    double cnrPooled;                  /**< the same over the root mean square of both noises */
    double cnrN;                       /**< cnr * 88.6 / srbMicrometres, or NaN */
    double contrastSensitivityPercent; /**< stepPercent / cnr, or NaN */
} LumoCnr;

/**
 * Contrast-to-noise ratio of two regions; means and noises as LumoMeasureSnr() takes them.
 * @param image       with a raster
 * @param object      region on what is to be seen
 * @param background  region beside it
 * @param options     or null
 * @param result      [out] the figures
 * @return as LumoMeasureSnr()
 */
LUMO_API int LumoMeasureCnr(Image image, Roi object, Roi background, const LumoCnrOptions* options,
                            LumoCnr* result);

/** @} */
/**
 * @name Duplex wire
 * Pairs D1 to D15 of parallel wires of diameter d with a gap of d, d in micrometres being 800, 630,
 * 500, 400, 320, 250, 200, 160, 130, 100, 80, 63, 50, 40, 32.
 * @{
 */

/** Options of LumoMeasureDuplex(). */
typedef struct LumoDuplexOptions {
    uint32_t size;            /**< sizeof(LumoDuplexOptions) */
    uint32_t firstPair;       /**< number of the first pair on the line; 1 */
    double stripMillimetres;  /**< width over which the wires are averaged; 9 */
    double magnification;     /**< of the gauge; 1 */
    uint32_t pitchKnown;      /**< 1: the pitch is right though it is an assumed one's */
    uint32_t reserved;        /**< 0 */
    const LumoSignal* signal; /**< or null */
} LumoDuplexOptions;

/** One pair of wires. */
typedef struct LumoDuplexPair {
    uint32_t pair;             /**< its number */
    uint32_t reserved;         /**< 0 */
    double spacingMicrometres; /**< diameter of the wires and their gap */
    double placeMillimetres;   /**< middle of the pair along the line, on the detector */
    double depthA;             /**< depth of the first wire below the background */
    double depthB;             /**< depth of the second */
    double depthC;             /**< depth of the gap */
    double dip;                /**< 100 (A + B - 2 C) / (A + B), held to 0 to 100 */
    double dipError;           /**< its deviation by the profile's noise */
} LumoDuplexPair;

/** How iSRb was found. */
enum LumoIsrbMethod {
    LumoIsrbNone = 0,      /**< not at all */
    LumoIsrbQuadratic = 1, /**< polynomial of second order of the dip over the diameter */
    LumoIsrbLine = 2       /**< straight line between the pairs on either side of 20 % */
};

#define LUMO_DUPLEX_PAIRS 15 /**< most pairs of a gauge */

/** What a duplex wire gauge shows. */
typedef struct LumoDuplex {
    uint32_t size;                           /**< sizeof(LumoDuplex) */
    uint32_t reason;                         /**< an ::LumoQualityReason */
    uint32_t notes;                          /**< sum of ::LumoQualityNote */
    uint32_t pairCount;                      /**< pairs found */
    double tiltDegrees;                      /**< of the line across the wires against the pixels'
                                                  rows (or columns), against the clock */
    double stripMillimetres;                 /**< as used */
    uint32_t srbPair;                        /**< first pair that dips by less than 20 %, or 0 */
    uint32_t isrbMethod;                     /**< an ::LumoIsrbMethod */
    double srbMicrometres;                   /**< its diameter, or NaN */
    double unsharpnessMicrometres;           /**< twice that */
    double isrbMicrometres;                  /**< diameter that would dip by 20 %, or NaN */
    double pitchRatio;                       /**< wires' distance seen / known, or NaN */
    LumoDuplexPair pairs[LUMO_DUPLEX_PAIRS]; /**< the pairs found */
} LumoDuplex;

/**
 * Basic spatial resolution by a duplex wire gauge, from a line across all pairs, from outside the
 * coarsest to outside the finest, within 5 degrees square to the wires.
 * @param image    with a raster
 * @param x1       column of the line's begin, beside the coarsest pair; pixel centres are whole
 * @param y1       its row
 * @param x2       column of the line's end
 * @param y2       its row
 * @param pitchX   pitch along a row, nanometres
 * @param pitchY   pitch between rows, nanometres
 * @param options  or null
 * @param result   [out] the figures
 * @param profile  [out] the profile along the line: millimetres and signal; or null
 * @param count    [in, out] points of the profile, or null
 * @return 0, also if no pair or every pair is resolved; -30 with a reason; -50 no raster; -2 a
 * record or value is wrong; -8 without memory
 */
LUMO_API int LumoMeasureDuplex(Image image, double x1, double y1, double x2, double y2,
                               uint32_t pitchX, uint32_t pitchY, const LumoDuplexOptions* options,
                               LumoDuplex* result, LumoCurvePoint* profile, int32_t* count);

/** @} */
/**
 * @name Modulation transfer
 * @{
 */

/** Options of LumoMeasureMtf(). */
typedef struct LumoMtfOptions {
    uint32_t size;            /**< sizeof(LumoMtfOptions) */
    uint32_t pitchKnown;      /**< as in ::LumoDuplexOptions */
    double spanMillimetres;   /**< distance from the edge that is used on either side; 0: all */
    const LumoSignal* signal; /**< or null */
} LumoMtfOptions;

/** Sharpness of an edge. Frequencies are cycles per millimetre along the edge's normal. */
typedef struct LumoMtf {
    uint32_t size;            /**< sizeof(LumoMtf) */
    uint32_t reason;          /**< an ::LumoQualityReason */
    uint32_t notes;           /**< sum of ::LumoQualityNote */
    uint32_t axis;            /**< across the edge: 0 along rows, 1 along columns */
    double angleDegrees;      /**< of the edge against the columns (or rows), against the clock */
    double spanMillimetres;   /**< used on either side */
    double contrast;          /**< difference of the signals beside the edge */
    double contrastOverNoise; /**< contrast / deviation of the pixels beside the edge */
    double overshootPercent;  /**< of the contrast */
    double mtf50;             /**< first frequency at which the curve falls to 0.5, or NaN */
    double mtf20;             /**< to 0.2 */
    double mtf10;             /**< to 0.1 */
    double mtf50Error;        /**< half the difference of mtf50 of even and of odd rows */
    double nyquist;           /**< the curve at nyquistFrequency */
    double nyquistFrequency;  /**< half a cycle per pixel */
} LumoMtf;

/**
 * Presampled modulation transfer function from a straight, slightly tilted edge.
 * @param image    with a raster
 * @param region   holds the edge and nothing else; at least 32 pixels along it
 * @param pitchX   pitch along a row, nanometres
 * @param pitchY   pitch between rows, nanometres
 * @param options  or null
 * @param result   [out] the figures
 * @param curve    [out] frequency and transfer, from 0 to the Nyquist frequency; or null
 * @param count    [in, out] points of the curve, or null
 * @return 0; -30 with a reason; -50 no raster or the region leaves it; -2 a record or value is
 * wrong; -8 without memory
 */
LUMO_API int LumoMeasureMtf(Image image, Roi region, uint32_t pitchX, uint32_t pitchY,
                            const LumoMtfOptions* options, LumoMtf* result, LumoCurvePoint* curve,
                            int32_t* count);

/** @} */
/**
 * @name Noise power spectrum
 * Regions of 256 x 256 pixels that overlap by half, over any number of images.
 * @{
 */

/** An accumulator of spectra. */
typedef struct LumoNps LumoNps;

/** Options of LumoNpsCreate(). */
typedef struct LumoNpsOptions {
    uint32_t size;       /**< sizeof(LumoNpsOptions) */
    uint32_t keepTrend;  /**< 1: only the mean is subtracted, not a polynomial of second order; 0 */
    uint32_t pitchKnown; /**< as in ::LumoDuplexOptions */
    uint32_t reserved;   /**< 0 */
} LumoNpsOptions;

/** Both cuts of the spectrum at one index. The powers at index 0 are NaN. */
typedef struct LumoNpsPoint {
    double frequencyX; /**< index / (256 pitchX), cycles per millimetre */
    double npsX;       /**< noise power along x, signal^2 mm^2 */
    double nnpsX;      /**< npsX / mean^2, mm^2; NaN for a mean of 0 or less */
    double frequencyY; /**< index / (256 pitchY) */
    double npsY;       /**< along y */
    double nnpsY;      /**< npsY / mean^2 */
} LumoNpsPoint;

/** The spectrum's figures. */
typedef struct LumoNpsFigures {
    uint32_t size;        /**< sizeof(LumoNpsFigures) */
    uint32_t reason;      /**< an ::LumoQualityReason */
    uint32_t notes;       /**< sum of ::LumoQualityNote */
    uint32_t images;      /**< images added */
    uint64_t regions;     /**< regions of 256 x 256 pixels */
    uint64_t pixels;      /**< pixels that they cover */
    double mean;          /**< mean signal of the covered areas */
    double variance;      /**< sum of the spectrum over the plane */
    double meanSquare;    /**< mean square of the regions without trend; equals the variance */
    double rowSigma;      /**< deviation of noise that whole rows share, of the spectrum's v axis
                               above its neighbours */
    double columnSigma;   /**< the same of whole columns */
    double relativeError; /**< of a point, by the number of pixels */
} LumoNpsFigures;

/**
 * Creates an accumulator.
 * @param place    [out] receives it; null after a failure
 * @param pitchX   pitch along a row, nanometres
 * @param pitchY   pitch between rows, nanometres
 * @param options  or null
 * @return 0; -30 the pitch is an assumed one; -2 no place, or a record or value is wrong; -8
 * without memory
 */
LUMO_API int LumoNpsCreate(LumoNps** place, uint32_t pitchX, uint32_t pitchY,
                           const LumoNpsOptions* options);

/**
 * Adds the regions of one image. The trend is fitted to the region as a whole.
 * @param spectrum  from LumoNpsCreate()
 * @param image     with a raster; images of one spectrum have one size
 * @param region    at least 256 x 256 pixels, or null for the centred square of 125 mm
 * @param signal    or null
 * @param reason    [out] an ::LumoQualityReason, or null
 * @return 0; -30 the region is too small or clipped, the sizes differ or a grey value lies outside
 * the response table; -50 no raster or the region leaves it; -2 no spectrum or a record is wrong;
 * -8 without memory (nothing is added after a failure)
 */
LUMO_API int LumoNpsAdd(LumoNps* spectrum, Image image, const Roi* region, const LumoSignal* signal,
                        uint32_t* reason);

/**
 * The spectrum of all that was added.
 * @param spectrum  from LumoNpsCreate(); more may be added afterwards
 * @param result    [out] the figures
 * @param curve     [out] index 0 to 128; or null
 * @param count     [in, out] points of the curve, or null
 * @return 0; -30 nothing was added; -2 no spectrum or a record is wrong;
 * -8 without memory
 */
LUMO_API int LumoMeasureNps(LumoNps* spectrum, LumoNpsFigures* result, LumoNpsPoint* curve,
                            int32_t* count);

/** Frees an accumulator and clears the place.
 * @param place  holds it
 * @return 0, also for an empty place; -2 without place */
LUMO_API int LumoNpsDestroy(LumoNps** place);

/** @} */
/**
 * @name Frames
 * @{
 */

/** A running stack of frames: their sums and, if asked for, sums of squares. */
typedef struct LumoStack LumoStack;

/**
 * Creates an empty stack.
 * @param place      [out] receives it; null after a failure
 * @param width      pixels per row of each frame
 * @param height     rows of each frame
 * @param deviation  1: LumoStackDeviation() will be asked; takes three times the memory
 * @return 0; -2 without place or pixels; -8 without memory
 */
LUMO_API int LumoStackCreate(LumoStack** place, uint16_t width, uint16_t height,
                             uint32_t deviation);

/**
 * Adds a frame.
 * @param stack  from LumoStackCreate()
 * @param frame  of the stack's size, only read
 * @return 0; -50 no raster or another size; -2 without stack; -8 without memory (needed once after
 * 65537 frames; the stack is as it was)
 */
LUMO_API int LumoStackAdd(LumoStack* stack, Image frame);

/**
 * Number of frames added.
 * @param stack  from LumoStackCreate(), or null
 * @return the number; 0 without stack
 */
LUMO_API uint32_t LumoStackCount(const LumoStack* stack);

/**
 * The frames' mean, rounded half up.
 * @param stack   with a frame or more
 * @param target  [out] a raster of the stack's size
 * @return 0; -30 without frames; -50 no raster or another size; -2 without stack
 */
LUMO_API int LumoStackMean(const LumoStack* stack, Image target);

/**
 * Each pixel's deviation over the frames (n - 1), held in single precision.
 * @param stack   created with deviation, two frames or more
 * @param target  [out] a raster of the stack's size
 * @return 0; -30 fewer than two frames; -50 no raster or another size; -2 without stack, or it was
 * created without deviation
 */
LUMO_API int LumoStackDeviation(const LumoStack* stack, FImage target);

/** Frees a stack and clears the place.
 * @param place  holds it
 * @return 0, also for an empty place; -2 without place */
LUMO_API int LumoStackDestroy(LumoStack** place);

/**
 * Subtracts a dark frame: max(0, source - dark).
 * @param source       width x height pixels
 * @param dark         as large as the source
 * @param destination  [out] as large as the source; may be the source's or the dark frame's raster
 * @return 0; -50 the sizes differ or a raster is missing
 */
LUMO_API int LumoSubtractDark(Image source, Image dark, Image destination);

/** @} */
/**
 * @name Bad pixels
 * A map is an image whose pixels are sums of ::LumoBadPixelKind; 0 is a good pixel. Pixels touch at
 * sides and corners; what lies beyond the image's border counts as bad.
 * @{
 */

/** Kinds of bad pixels. */
enum LumoBadPixelKind {
    LumoBadDead = 1,          /**< no or hardly any response */
    LumoBadOver = 2,          /**< responds too strongly */
    LumoBadUnder = 4,         /**< responds too weakly */
    LumoBadNoisy = 8,         /**< varies too much without beam */
    LumoBadNonUniform = 16,   /**< off after correction */
    LumoBadLag = 32,          /**< keeps too much after the beam */
    LumoBadNeighbourhood = 64 /**< good, but all eight neighbours are bad */
};

#define LUMO_BAD_PIXEL_KINDS 7 /**< number of kinds */

/** Limits of LumoFindBadPixels(). The response is the mean bright minus the mean dark frame. */
typedef struct LumoBadPixelLimits {
    uint32_t size;            /**< sizeof(LumoBadPixelLimits) */
    uint32_t leastDarkFrames; /**< needed to look for noisy pixels; 30 */
    double dead;              /**< response below this times the median of 21 x 21; 0.05 */
    double over;              /**< response above this times the median; 1.3 */
    double under;             /**< response below this times the median; 0.6 */
    double noisy;             /**< deviation above this times the median deviation; 6 */
    double nonUniformPercent; /**< corrected mean off the median of 9 x 9 by more; 1 */
    double lag;               /**< signal after the beam above this times the median of 9 x 9, and
                                   that by more than `noisy` median deviations if they are known; 2 */
} LumoBadPixelLimits;

/** What a map holds. */
typedef struct LumoBadPixels {
    uint32_t size;                        /**< sizeof(LumoBadPixels) */
    uint32_t reason;                      /**< an ::LumoQualityReason */
    uint32_t notes;                       /**< sum of ::LumoQualityNote */
    uint32_t bad;                         /**< bad pixels of any kind */
    uint32_t kinds[LUMO_BAD_PIXEL_KINDS]; /**< pixels of each kind, in the order of their bits */
    uint32_t singles;                     /**< bad pixels that touch no other */
    uint32_t clusters;                    /**< groups of two and more that touch */
    uint32_t relevantClusters; /**< clusters with a pixel of fewer than 5 good neighbours */
    uint32_t rows;             /**< rows of which 90 % and more are bad */
    uint32_t columns;          /**< columns of which 90 % and more are bad */
} LumoBadPixels;

/** A cluster of bad pixels. */
typedef struct LumoBadCluster {
    Roi box;           /**< its extent */
    uint32_t pixels;   /**< 2 or more */
    uint32_t relevant; /**< 1: has a pixel of fewer than 5 good neighbours */
} LumoBadCluster;

/**
 * Finds bad pixels. Kinds whose frames are missing are not looked for. Windows of medians are moved
 * into the image at its border.
 * @param dark       dark frames
 * @param bright     frames under even radiation, not corrected, or null
 * @param corrected  frames under even radiation, corrected for dark and gain, or null
 * @param after      the first frame after the beam, or null
 * @param limits     or null
 * @param map        [out] a raster as large as the frames, at least 21 x 21
 * @param result     [out] counts as LumoListBadPixels() gives them
 * @return 0; -30 the image is too small, sizes differ, a stack is empty or the median response is
 * not above 0; -50 no raster; -2 no dark stack, or a record or value is wrong; -8 without memory
 */
LUMO_API int LumoFindBadPixels(const LumoStack* dark, const LumoStack* bright,
                               const LumoStack* corrected, const Image* after,
                               const LumoBadPixelLimits* limits, Image map, LumoBadPixels* result);

/**
 * Counts what a map holds.
 * @param map       a map
 * @param result    [out] the counts
 * @param clusters  [out] the clusters by their first pixel, row by row; or null
 * @param count     [in, out] number of clusters, or null
 * @return 0; -50 no raster; -2 a record is wrong; -8 without memory
 */
LUMO_API int LumoListBadPixels(Image map, LumoBadPixels* result, LumoBadCluster* clusters,
                               int32_t* count);

/**
 * Replaces bad pixels by the mean of the good ones in the smallest square around them that has any
 * (3 x 3, 5 x 5 ...), rounded half up.
 * @param image     [in, out] mended in place
 * @param map       as large as the image
 * @param mended    [out] pixels replaced; or null
 * @param doubtful  [out] those of them with fewer than 5 good neighbours; or null
 * @param reason    [out] an ::LumoQualityReason; or null
 * @return 0; -30 the map has another size or no good pixel (nothing is changed); -50 no raster
 */
LUMO_API int LumoMendPixels(Image image, Image map, uint32_t* mended, uint32_t* doubtful,
                            uint32_t* reason);

/** @} */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
