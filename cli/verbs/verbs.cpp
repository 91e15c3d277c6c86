// The table of verbs: what each is called, does, and looks like in use.
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

/// In the order of --help.
constexpr Verb table[] = {
    {"info", "Show what image files hold", setUpInfo,
     "info chest.png\n"
     "info --json *.png"},
    {"convert", "Write an image in another format, with changed metadata", setUpConvert,
     "convert chest.xyz chest.png\n"
     "convert chest.png out.png --set Image/Author=QA --pitch 143000"},
    {"filter", "Run filter commands on an image", setUpFilter,
     "filter in.png out.png \"type=median_filter size=5\" \"type=unsharp_mask radius=0.5 "
     "value=2\"\n"
     "filter --batch raw --out sharp -j 4 \"type=unsharp_mask radius=0.5 value=2\""},
    {"history", "List the processing steps that an image went through", setUpHistory,
     "history sharp.png\n"
     "history --script sharp.png > sharpen.imo"},
    {"rotate", "Turn an image by quarters, by any angle, or straight", setUpRotate,
     "rotate in.png out.png --quarter 90\n"
     "rotate in.png out.png --straighten"},
    {"mirror", "Exchange left and right or top and bottom", setUpMirror,
     "mirror in.png out.png --horizontal"},
    {"shear", "Turn approximately, in whole-pixel shears", setUpShear,
     "shear in.png out.png --angle 1.5"},
    {"calibrate", "Make a gain table, or correct an image by one", setUpCalibrate,
     "calibrate create flat.png gains.cal\n"
     "calibrate apply gains.cal in.png out.png"},
    {"preview", "Write an 8-bit picture to look at", setUpPreview,
     "preview chest.png look.png --width 800"},
    {"sheet", "Write images side by side into one picture", setUpSheet,
     "sheet before.png after.png sheet.png --roi 100,100,299,299"},
    {"phantom", "Make a synthetic radiograph", setUpPhantom,
     "phantom phantom.png\n"
     "phantom exposure.png --detector flat.png --seed 7"},
    {"stats", "Measure the grey values of images and regions", setUpStats,
     "stats chest.png --roi 100,100,299,299\n"
     "stats --csv *.png > figures.csv"},
    {"histogram", "Count grey values, as numbers or as a picture", setUpHistogram,
     "histogram chest.png --bins 64 --csv\n"
     "histogram chest.png --png histogram.png"},
    {"profile", "Means of a region's columns or rows, as numbers or as a picture", setUpProfile,
     "profile chest.png --roi 0,500,1023,520 --axis x\n"
     "profile chest.png --roi 0,500,1023,520 --axis x --png profile.png"},
    {"dose", "Report the dose indicator of images", setUpDose,
     "dose *.png\n"
     "dose --json chest.png"},
    {"window", "Map a window of grey values through a curve", setUpWindow,
     "window in.png out.png --lo 9600 --hi 50000 --mode sqrt\n"
     "window in.png out.png --limits 1000,1000"},
    {"equalize", "Equalise the histogram", setUpEqualize,
     "equalize in.png out.png --limits 5000,5000\n"
     "equalize in.png out.png --clipped --strength 50"},
    {"invert", "Exchange black and white", setUpInvert,
     "invert in.png out.png\n"
     "invert - - < in.png > out.png"},
    {"crop", "Keep a region", setUpCrop, "crop in.png out.png --roi 100,100,1123,899"},
    {"bin", "Average blocks of pixels", setUpBin, "bin in.png out.png --x 2 --y 2"},
    {"deflash", "Remove single pixels much brighter than the one above", setUpDeflash,
     "deflash in.png out.png"},
};

}  // namespace

std::span<const Verb> verbs() {
    return table;
}

}  // namespace lumo::cli
