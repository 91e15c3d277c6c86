// The table of verbs: what each is called, does, and looks like in use.
#include "cli/verbs/verbs.h"

namespace lumo::cli {

namespace {

/// In the order of --help. Verbs that are one step have their words from the library.
constexpr Verb table[] = {
    {"info", "Show what image files hold", setUpInfo,
     "info chest.png\n"
     "info --json *.png"},
    {"convert", "Write an image in another format, with changed metadata", setUpConvert,
     "convert chest.xyz chest.png\n"
     "convert chest.png out.png --set Image/Author=QA --pitch 143000"},
    {"run", "Apply a chain of steps to an image", setUpRun, nullptr},
    {"filter", "Run filter commands on an image", setUpFilter, nullptr},
    {"history", "List the processing steps that an image went through", setUpHistory, nullptr},
    {"rotate", "", setUpStep, nullptr},
    {"mirror", "", setUpStep, nullptr},
    {"shear", "", setUpStep, nullptr},
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
     "histogram chest.png edge.png --chart histogram.svg"},
    {"profile", "Means of a region's columns or rows, as numbers or as a picture", setUpProfile,
     "profile chest.png --roi 0,500,1023,520 --axis x\n"
     "profile chest.png --roi 0,500,1023,520 --axis x --chart profile.pdf"},
    {"dose", "Report the dose indicator of images", setUpDose,
     "dose *.png\n"
     "dose --json chest.png"},
    {"quality", "Measure noise, contrast and sharpness", setUpQuality,
     "quality snr flat.png --roi 100,100,399,399\n"
     "quality mtf edge.png --roi 200,200,711,711 --json"},
    {"average", "The mean of frames", setUpAverage,
     "average frame1.png frame2.png frame3.png mean.png"},
    {"badpixels", "Find, list and mend bad pixels", setUpBadPixels,
     "badpixels list map.png\n"
     "badpixels mend map.png in.png out.png"},
    {"window", "", setUpStep, nullptr},
    {"equalize", "", setUpStep, nullptr},
    {"invert", "", setUpStep, nullptr},
    {"crop", "", setUpStep, nullptr},
    {"bin", "", setUpStep, nullptr},
    {"deflash", "", setUpStep, nullptr},
};

}  // namespace

std::span<const Verb> verbs() {
    return table;
}

}  // namespace lumo::cli
