// Steps checked and applied: the one place where a step's result goes into an image.
#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "frame/history.h"
#include "image/lm_image.h"
#include "steps/step.h"
#include "steps/words.h"

namespace lumo {
namespace {

constexpr const char* section = "Image_X";

/// An entry that is renewed where it is there.
struct Renewal {
    const char* key;
    std::uint32_t value;
};

class Renewing {
public:
    explicit Renewing(ini2& store) : store_(store) {}
    [[nodiscard]] bool has(const char* key) {
        char value[1024] = "";
        store_.get(section, key, value, nullptr);
        return *value != '\0';
    }
    void renew(const Renewal& entry) {
        if (has(entry.key)) store_.set(section, entry.key, static_cast<long>(entry.value), nullptr);
    }

private:
    ini2& store_;
};

/// What an image becomes besides its raster.
struct Facts {
    std::uint16_t width, height;
    std::uint32_t pixelsizeX, pixelsizeY;
    std::uint16_t maxPix, avgPix;
};

void renewStatistics(Renewing& renewing, const Image& raster, Facts& facts) {
    const bool told = facts.maxPix != 0 || facts.avgPix != 0;
    if (!told && !renewing.has("MaxPix") && !renewing.has("AvgPix")) return;
    ImageValue value{};
    // Does not fail on a raster; a raise would leave the store's earlier changes behind.
    if (Get_ImageValue(raster, &value) != LumoOk) return;
    const auto mean = static_cast<std::uint16_t>(value.mean);
    if (facts.maxPix != 0) facts.maxPix = value.max;
    if (facts.avgPix != 0) facts.avgPix = mean;
    renewing.renew({"MaxPix", value.max});
    renewing.renew({"AvgPix", mean});
}

void renewGeometry(Renewing& renewing, const lmImage& before, const Facts& facts) {
    const Renewal entries[] = {{"Width", facts.width},           {"Height", facts.height},
                               {"PixelsizeX", facts.pixelsizeX}, {"PixelsizeY", facts.pixelsizeY},
                               {"Res_X", facts.pixelsizeX},      {"Res_Y", facts.pixelsizeY}};
    for (const Renewal& entry : entries) renewing.renew(entry);
    // Computed from the pitch when the image is written as XYZ.
    if (before.pixelsizeX != facts.pixelsizeX || before.pixelsizeY != facts.pixelsizeY)
        renewing.renew({"Pixelsize", 0});
}

/// Writes the metadata, the last that may fail, and then takes the raster over.
void commit(lmImage& image, StepResult& result) {
    const Image made = result.raster.image();
    const bool hasRaster = made.data != nullptr;
    const Image raster = hasRaster ? made : Image{image.width, image.height, image.data};
    if (std::uint64_t{raster.width} * raster.height * sizeof *raster.data > UINT32_MAX)
        raise(LumoErrorMemory);
    Facts facts{raster.width,      raster.height, result.pixelsizeX,
                result.pixelsizeY, image.maxPix,  image.avgPix};
    ini2 store(&image.metaData, &image.metaSize);
    for (const MetaSetting& entry : result.settings)
        store.set(entry.section, entry.key, entry.value.c_str(), nullptr);
    Renewing renewing(store);
    renewStatistics(renewing, raster, facts);
    renewGeometry(renewing, image, facts);
    AddPerformedStep(result.recorded.c_str(), &store);
    store.finish();

    image.pixelsizeX = facts.pixelsizeX;
    image.pixelsizeY = facts.pixelsizeY;
    image.maxPix = facts.maxPix;
    image.avgPix = facts.avgPix;
    if (!hasRaster) return;
    releaseRowPointers(image);
    std::free(image.data);
    image.data = result.raster.release();
    image.width = facts.width;
    image.height = facts.height;
}

void checkStep(const char* text, bool files, LumoStepReport& report) {
    if (text == nullptr) refuse(report, LumoErrorParameter, "no text");
    const StepArguments arguments = parseStep(text, report);
    const Step& step = arguments.step();
    if (files && step.checkFiles != nullptr) step.checkFiles(arguments, report);
    report.text = arguments.normalForm();
    report.flags = arguments.flags();
}

void applyStep(lmImage* image, const char* text, LumoStepReport& report) {
    if (text == nullptr) refuse(report, LumoErrorParameter, "no text");
    const StepArguments arguments = parseStep(text, report);
    const Step& step = arguments.step();
    if (step.apply == nullptr)
        refuse(report, LumoErrorParameter,
               std::string(step.name) + ": makes a picture and cannot be applied to one");
    if (image == nullptr || image->data == nullptr || image->width == 0 || image->height == 0)
        refuse(report, LumoErrorImage, std::string(step.name) + ": there is no picture");
    StepResult result{{}, image->pixelsizeX, image->pixelsizeY, {}, arguments.normalForm()};
    step.apply({*image, arguments, result, report});
    report.text = result.recorded;
    report.flags = arguments.flags();
    commit(*image, result);
}

}  // namespace

std::string StepWork::size() const {
    return std::to_string(image.width) + " x " + std::to_string(image.height) + " pixels";
}

void StepWork::require(int code) const {
    if (code == LumoOk) return;
    const std::string name = std::string(arguments.step().name) + ": ";
    if (code == LumoErrorParameter)
        refuse(report, code, name + "the values do not fit a picture of " + size());
    refuse(report, code, name + lmtErrorMessage(code));
}

}  // namespace lumo

extern "C" {

int LumoCheckStep(const char* text, int files, LumoStepReport** report) {
    return lumo::guarded([=] {
        lumo::withReport(report,
                         [=](LumoStepReport& to) { lumo::checkStep(text, files != 0, to); });
    });
}

int LumoApplyStep(lmImage* image, const char* text, LumoStepReport** report) {
    return lumo::callFrame("LumoApplyStep", [=] {
        lumo::withReport(report, [=](LumoStepReport& to) { lumo::applyStep(image, text, to); });
    });
}

int LumoQuoteStepWord(const char* word, char* text, int32_t* size) {
    return lumo::guarded([=] {
        if (word == nullptr || size == nullptr) lumo::raise(LumoErrorParameter);
        const std::string quoted = lumo::quotedWord(word);
        const auto needed = static_cast<std::int32_t>(quoted.size() + 1);
        const bool asked = text == nullptr || *size == 0;
        if (!asked && *size < needed) lumo::raise(LumoErrorParameter);
        if (!asked) std::memcpy(text, quoted.c_str(), quoted.size() + 1);
        *size = needed;
    });
}

}  // extern "C"
