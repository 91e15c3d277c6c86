// A step as the table holds it: its options, and the functions that check and apply it. To add one:
// a file that defines its row, and the row's name in table.cpp.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "lumo_legacy.h"
#include "lumo_steps.h"
#include "steps/arguments.h"
#include "steps/new_raster.h"
#include "steps/report.h"

namespace lumo {

/// An option; the fields mean what those of LumoOptionInfo do.
struct StepOption {
    const char* name;
    int type = LumoOptionText;
    std::uint32_t flags = 0;
    double least = 0, largest = 0;
    int count = 1;
    const char* value = "";
    const char* unit = "";
    const char* standard = "";
    const char* summary = "";
    const char* choices = "";
    const char* needs = "";
    const char* excludes = "";
    const char* commands = "";
};

/// An entry of the metadata that a step sets.
struct MetaSetting {
    const char *section, *key;
    std::string value;
};

/// What a step makes of an image. Nothing of it is in the image yet.
struct StepResult {
    NewRaster raster;  ///< without pixels: those of the image stay
    std::uint32_t pixelsizeX, pixelsizeY;
    std::vector<MetaSetting> settings;
    std::string recorded;  ///< what the history gets
};

/// A step at work: reads the image, writes the result, raises its failures.
struct StepWork {
    const lmImage& image;
    const StepArguments& arguments;
    StepResult& result;
    LumoStepReport& report;

    [[nodiscard]] Image source() const { return {image.width, image.height, image.data}; }
    /// A raster of the image's size for the result, not initialised.
    [[nodiscard]] Image target() const { return result.raster.make(image.width, image.height); }
    /// "64 x 48 pixels".
    [[nodiscard]] std::string size() const;
    /// Raises the code of a library call with words that name the step.
    void require(int code) const;
};

struct Step {
    const char *name, *summary, *effect, *examples;
    std::uint32_t flags;
    std::span<const StepOption> options = {};
    const char* oneOf = "";
    /// Refuses what no single option shows.
    void (*check)(const StepArguments&, LumoStepReport&) = nullptr;
    /// Refuses files that are not what the text needs.
    void (*checkFiles)(const StepArguments&, LumoStepReport&) = nullptr;
    /// The flags with these very options, where they matter.
    std::uint32_t (*flagsOf)(const StepArguments&) = nullptr;
    /// Null for a source.
    void (*apply)(const StepWork&) = nullptr;
};

}  // namespace lumo
