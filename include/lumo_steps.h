/**
 * @file lumo_steps.h
 * Steps: operations that change an image record, each given as one line of text such as
 * `window --lo 9600 --hi 50000 --mode sqrt`, `calibrate gains.cal` or
 * `filter type=median_filter size=5`.
 *
 * A step is applied by LumoApplyStep(): raster, sides, pitch, what the metadata records of them,
 * and the processing history change in one go or not at all. The history holds the step's text in
 * its normal form, so that it suffices to make the change again on the same source.
 *
 * Words of a text are separated by blanks; a word that holds some is written in double quotes, in
 * which `\"`, `\\`, `\n`, `\t` and `\xNN` stand for single bytes, or in single quotes, in which
 * every byte stands for itself. A `#` at the start of a word begins a comment. An option is written
 * `--name value` or `--name=value`, a flag `--name`, a key of a filter command `key=value` without
 * blanks. Numbers have a decimal point in every locale.
 *
 * Which steps there are, their options, types, ranges, units and defaults are listed by
 * LumoCountSteps(), LumoDescribeStep() and LumoDescribeStepOption(): help texts and bindings are
 * made from these. Texts handed out by them are constant.
 *
 * Records begin with their size in bytes, which the caller sets to `sizeof` the record before the
 * call; no more than that is written, so that later versions may add fields at the end. Calls on
 * different images and reports may run in several threads at once.
 */
#ifndef LUMO_STEPS_H
#define LUMO_STEPS_H

#include "lumo.h"

#ifdef __cplusplus
extern "C" {
#endif

/** What is known of a step; of the table's row those that hold for all its options. */
enum LumoStepFlag {
    LumoStepRepeatable = 1, /**< applied again to the same source it gives the same raster */
    LumoStepLinear = 2,     /**< grey values stay proportional to the exposure, clamping apart */
    LumoStepHarmless = 4, /**< noise and sharpness remain those of the detector: quality figures may
                               be measured */
    LumoStepSource = 8,   /**< records where the picture came from; cannot be applied to one */
    LumoStepSides = 16,   /**< width and height may change */
    LumoStepPitch = 32,   /**< the pitch may change */
    LumoStepFilterCommand = 64 /**< a filter command behind the word `filter` */
};

/** What an option takes. */
enum LumoOptionType {
    LumoOptionFlag = 0,     /**< nothing: it is there or not */
    LumoOptionInteger = 1,  /**< a whole number */
    LumoOptionReal = 2,     /**< a number */
    LumoOptionChoice = 3,   /**< one of a list of words */
    LumoOptionIntegers = 4, /**< `count` whole numbers separated by commas */
    LumoOptionFile = 5,     /**< the name of a file that the step reads */
    LumoOptionText = 6      /**< any text */
};

/** How an option is written, and whether it must be. */
enum LumoOptionFlagBit {
    LumoOptionRequired = 1,   /**< must be given (a key: for each of its `commands`) */
    LumoOptionPositional = 2, /**< its value alone, without a name */
    LumoOptionKey = 4         /**< written `name=value` */
};

/** A row of the table of steps. */
typedef struct LumoStepInfo {
    uint32_t size;        /**< bytes of the record, set by the caller */
    uint32_t flags;       /**< ::LumoStepFlag */
    const char* name;     /**< the first word of its text */
    const char* summary;  /**< one line for people */
    const char* effect;   /**< what becomes of grey values, sides, pitch and metadata */
    const char* examples; /**< texts of such steps, a line each */
    const char* oneOf; /**< names of options, separated by blanks, one of which is needed; or "" */
    int32_t optionCount; /**< rows for LumoDescribeStepOption() */
    int32_t reserved;    /**< 0 */
} LumoStepInfo;

/** An option of a step. Lists are separated by blanks, and empty texts where there are none. */
typedef struct LumoOptionInfo {
    uint32_t size;        /**< bytes of the record, set by the caller */
    int32_t type;         /**< ::LumoOptionType */
    uint32_t flags;       /**< ::LumoOptionFlagBit */
    int32_t count;        /**< numbers of a ::LumoOptionIntegers, else 1 */
    double least;         /**< smallest value of a number */
    double largest;       /**< largest value of a number */
    const char* name;     /**< without `--` or `=` */
    const char* value;    /**< what stands for the value in a help text, such as `X1,Y1,X2,Y2` */
    const char* unit;     /**< of the value */
    const char* standard; /**< the default as text; empty: none */
    const char* summary;  /**< one line for people */
    const char* choices;  /**< the words of a ::LumoOptionChoice */
    const char* needs;    /**< options without which it has no meaning */
    const char* excludes; /**< options beside which it must not stand */
    const char* commands; /**< values of the key `type` that it belongs to; empty: all */
} LumoOptionInfo;

/**
 * @name The table of steps
 * @{
 */

/** Steps that there are. @return their number */
LUMO_API int32_t LumoCountSteps(void);

/**
 * A row of the table.
 * @param step  its place, from 0
 * @param info  [in, out] size set by the caller
 * @return 0; -2 no such row, no record or a size below 8
 */
LUMO_API int LumoDescribeStep(int32_t step, LumoStepInfo* info);

/**
 * An option of a step. Keys of filter commands come in a row for each set of commands that they
 * have the same meaning in, so that a name may come more than once.
 * @param step    the step's place, from 0
 * @param option  the option's place, from 0
 * @param info    [in, out] size set by the caller
 * @return 0; -2 no such row, no record or a size below 8
 */
LUMO_API int LumoDescribeStepOption(int32_t step, int32_t option, LumoOptionInfo* info);

/** @} */
/**
 * @name Steps as text
 * @{
 */

/** What a call reports of a step: owned by the caller, see LumoDestroyStepReport(). */
typedef struct LumoStepReport LumoStepReport;

/** The contents of a report. Texts belong to it and are one line each: control characters are
 * written as escapes. */
typedef struct LumoStepSummary {
    uint32_t size;  /**< bytes of the record, set by the caller */
    uint32_t flags; /**< ::LumoStepFlag of this very text; 0 if it was refused */
    const char*
        message;      /**< why the call failed: which option, what is allowed; empty: it did not */
    const char* text; /**< the text in its normal form; applied: as it stands in the history */
    int32_t valueCount; /**< for LumoGetStepValue() */
    int32_t noteCount;  /**< for LumoGetStepNote() */
} LumoStepSummary;

/** A figure that a step reports, such as the pixels that a correction reached. */
typedef struct LumoStepValue {
    uint32_t size;     /**< bytes of the record, set by the caller */
    int32_t decimals;  /**< digits after the point that have a meaning */
    const char* name;  /**< for programs: one word */
    const char* label; /**< for people */
    const char* unit;  /**< or empty */
    double value;      /**< the figure; whole numbers are exact */
} LumoStepValue;

/**
 * Checks a step without an image.
 * @param text    the step
 * @param files   not 0: files that it names are opened and checked, too
 * @param report  [out] null, or a place that receives a report; one that it holds already is
 *                destroyed first
 * @return 0; -2 the text is refused; -1 a file cannot be opened; -11 a file is damaged or another
 * than the text says; -8 without memory (the place may then be null)
 */
LUMO_API int LumoCheckStep(const char* text, int files, LumoStepReport** report);

/**
 * Applies a step to an image. The raster is replaced by a new one: its old address is no longer
 * valid. A failure changes nothing. Logs as the Lumo functions do. Filter commands leave the
 * process's LC_NUMERIC as SC_Filter_ImageEx() does.
 *
 * In the metadata, what is there of `MaxPix`, `AvgPix`, `Width`, `Height`, `PixelsizeX`,
 * `PixelsizeY`, `Res_X`, `Res_Y` and `Pixelsize` in section "Image_X" is renewed, as are the
 * record's maxPix and avgPix unless they are 0; quarter turns and mirrorings set what
 * LumoRotateImage() and LumoMirrorImage() set.
 * @param image   with a raster
 * @param text    the step
 * @param report  [out] as in LumoCheckStep()
 * @return 0; -2 the text is refused, or its values do not fit this image; -50 no image or raster,
 * or a region or table that does not fit it; -1, -11 as LumoCheckStep(); -8 without memory
 */
LUMO_API int LumoApplyStep(lmImage* image, const char* text, LumoStepReport** report);

/**
 * The contents of a report.
 * @param report   from one of the calls above
 * @param summary  [in, out] size set by the caller
 * @return 0; -2 no report, no record or a size below 8
 */
LUMO_API int LumoGetStepReport(const LumoStepReport* report, LumoStepSummary* summary);

/**
 * A figure of a report.
 * @param report  from one of the calls above
 * @param index   from 0
 * @param value   [in, out] size set by the caller
 * @return 0; -2 no report, no such figure, no record or a size below 8
 */
LUMO_API int LumoGetStepValue(const LumoStepReport* report, int32_t index, LumoStepValue* value);

/**
 * A note of a report: what a caller should know though the step succeeded.
 * @param report  from one of the calls above
 * @param index   from 0
 * @return one line; null without report or such a note
 */
LUMO_API const char* LumoGetStepNote(const LumoStepReport* report, int32_t index);

/**
 * Frees a report and clears the place.
 * @param report  the place
 * @return 0, also for an empty place; -2 if it is null
 */
LUMO_API int LumoDestroyStepReport(LumoStepReport** report);

/**
 * A value as a word of a step's text: in quotes where it needs them. Handed out by size: with a
 * null buffer or a size of 0 the call stores the size needed, terminating zero counted.
 * @param word  any text, such as the name of a file
 * @param text  [out] buffer of *size bytes, or null
 * @param size  [in, out] at least as large as the size needed; becomes the bytes copied
 * @return 0; -2 without word or size, or if the buffer is too small; -8 without memory
 */
LUMO_API int LumoQuoteStepWord(const char* word, char* text, int32_t* size);

/** @} */
/**
 * @name The history as steps
 * @{
 */

/** The processing history of an image at the time of the call: owned by the caller. */
typedef struct LumoHistory LumoHistory;

/** An entry of the history. Texts belong to the history. */
typedef struct LumoHistoryStep {
    uint32_t size;        /**< bytes of the record, set by the caller */
    uint32_t flags;       /**< ::LumoStepFlag; 0 for a text that is no step */
    uint32_t number;      /**< as in the entry's key, "Step0" and so on; gaps may occur */
    uint32_t reserved;    /**< 0 */
    const char* recorded; /**< the text as it stands there; may hold any bytes */
    const char* text;     /**< the step in its normal form, one line; empty if it is none */
    const char* reason;   /**< why it cannot be applied again, one line; empty: it can */
} LumoHistoryStep;

/**
 * Reads the history of an image as steps. The forms in which the library's functions record
 * themselves are understood: `LumoRotateImage(angle=90)` is `rotate --quarter 90`,
 * `LumoMirrorImage(h=1, v=0)` is `mirror --horizontal`, and
 * `CalibrateImage(calibrationDataFileName=gains.cal)` is `calibrate gains.cal --partial`.
 * @param image    only read
 * @param history  [out] a place; a history that it holds already is destroyed first
 * @return 0; -50 without image; -2 without place; -8 without memory
 */
LUMO_API int LumoReadHistory(lmImage* image, LumoHistory** history);

/**
 * Entries of a history.
 * @param history  from LumoReadHistory()
 * @return their number; 0 without history
 */
LUMO_API int32_t LumoCountHistory(const LumoHistory* history);

/**
 * An entry of a history, in the order of their numbers.
 * @param history  from LumoReadHistory()
 * @param index    from 0
 * @param step     [in, out] size set by the caller
 * @return 0; -2 no history, no such entry, no record or a size below 8
 */
LUMO_API int LumoGetHistoryStep(const LumoHistory* history, int32_t index, LumoHistoryStep* step);

/**
 * Frees a history and clears the place.
 * @param history  the place
 * @return 0, also for an empty place; -2 if it is null
 */
LUMO_API int LumoDestroyHistory(LumoHistory** history);

/** @} */

#ifdef __cplusplus
} /* extern "C" */
#endif

#endif
