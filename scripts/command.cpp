// The filter command: one operation on a raster, chosen and parameterised by a short text.
#include <cfloat>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

#include "filters/filters.h"
#include "frame/call_frame.h"
#include "frame/ini2.h"
#include "greyscale/equalise_clipped.h"
#include "image/size_check.h"
#include "platform/numeric_locale.h"
#include "scripts/band_filter.h"
#include "scripts/parameters.h"

/// The result store of a filter command.
struct IniReturn : ini2 {};

namespace lumo {
namespace {

constexpr const char* function = "SC_Filter_ImageEx";
constexpr std::size_t longestCommand = 255;

/// What an operation works on.
struct Call {
    Image source, destination;
    int pixelsizeX, pixelsizeY;
    std::string text;
    ini2* results;  ///< null unless the caller asked for them

    [[nodiscard]] double real(const char* key, double fallback) const {
        return Get_ParamDouble(text, key, fallback);
    }
    [[nodiscard]] int integer(const char* key, int fallback) const {
        return Get_ParamInt(text, key, fallback);
    }
    /// The key "radius=", millimetres, in pixels of the mean pitch.
    [[nodiscard]] double radius() const {
        return real("radius=", 1.0) * 2000000.0 /
               (static_cast<double>(pixelsizeX) + static_cast<double>(pixelsizeY));
    }
    [[nodiscard]] float strength() const {
        return static_cast<float>(Get_ParamDouble(text, "value=", 1.0, double{FLT_MAX}));
    }
};

int runBandFilter(const Call& call, bool automaticWindow) {
    const BandParameters standard;
    BandParameters p;
    p.al0 = call.real("al0=", standard.al0);
    p.al1 = call.real("al1=", standard.al1);
    p.ftp = call.real("ftp=", standard.ftp);
    p.ah0 = call.real("ah0=", standard.ah0);
    p.ah1 = call.real("ah1=", standard.ah1);
    p.fhp = call.real("fhp=", standard.fhp);
    p.ab0 = call.real("ab0=", standard.ab0);
    p.ab1 = call.real("ab1=", standard.ab1);
    p.fbp0 = call.real("fbp0=", standard.fbp0);
    p.fbp = call.real("fbp=", standard.fbp);
    p.preserveZeroFrequency = call.integer("preservezerofreq=", 0) != 0;
    return bandFilter(asSource(viewOf(call.source)), viewOf(call.destination), call.pixelsizeX,
                      call.pixelsizeY, p, automaticWindow);
}

int runUnsharpMask(const Call& call) {
    const int side = unsharpKernelSide(call.radius());
    if (side > call.source.width || side > call.source.height) {
        // Such a kernel is laid nowhere and its weights are not read: none are made.
        float none = 0.0F;
        const auto word = static_cast<std::uint16_t>(side);
        return UnsharpMask(call.source, call.destination, {word, word, &none}, call.strength());
    }
    FImage kernel = {};
    if (const int code = Make_UnsharpKernel(&kernel, call.radius(), 1.0); code != LumoOk)
        return code;
    const int code = UnsharpMask(call.source, call.destination, kernel, call.strength());
    Destroy_FImage(&kernel);
    return code;
}

int runUnsharpMask2(const Call& call) {
    return UnsharpMask2(call.source, call.destination, toInt(call.radius()), call.strength());
}

int runMean(const Call& call) {
    return Mean_Image(call.destination, call.source, toInt(call.real("size=", 3.0)));
}

int runMedian(const Call& call) {
    return Median_Image(call.destination, call.source, toInt(call.real("size=", 3.0)));
}

int runEqualisation(const Call& call) {
    return Equal_Histo(call.destination, call.source, toInt(call.real("low=", 3.0) * 10000.0),
                       toInt(call.real("high=", 3.0) * 10000.0));
}

/// Equal_Histo3, but the results are in the store before the destination is written: storing them
/// may fail.
int runClippedEqualisation(const Call& call) {
    EqualSettings settings{call.integer("np=", 50),    call.integer("lp=", 0),
                           call.integer("rp=", 65535), call.integer("lf=", 0),
                           call.integer("rf=", 0),     call.integer("gew=", 0)};
    return guarded([&] {
        const auto histogram = std::make_unique<Histogram>();
        const auto lut = std::make_unique<LutBlock>();
        const bool empty = viewOf(call.source).count() == 0;
        if (!empty) {
            raiseFailure(Make_Histogram(call.source, histogram->data()));
            Make_EqualLut3(*histogram, *lut, settings);
        }
        if (call.results != nullptr) {
            call.results->set("return", "lp", long{settings.low}, nullptr);
            call.results->set("return", "rp", long{settings.high}, nullptr);
            call.results->getBuffer();
        }
        if (!empty) raiseFailure(Apply_Lut(call.source, call.destination, lut->data()));
    });
}

struct Operation {
    const char* name;
    int (*run)(const Call& call);
    bool handsBack = false;  ///< values, also for an image of zero pixels
};
constexpr Operation operations[] = {{"unsharp_mask", runUnsharpMask},
                                    {"unsharp_mask2", runUnsharpMask2},
                                    {"mean_filter", runMean},
                                    {"median_filter", runMedian},
                                    {"histogramm_equal", runEqualisation},
                                    {"histogramm_equal3", runClippedEqualisation, true}};

/// An operation that refuses its parameters does not fail the call; it leaves its code as the last
/// error. Without pixels there is nothing to do, whatever the parameters.
void runOperation(const Operation& operation, const Call& call) {
    if (viewOf(call.source).count() == 0 && !operation.handsBack) return;
    const int code = operation.run(call);
    if (code != LumoOk) reportFailure(function, code, 4);
}

std::string workingText(const char* command) {
    std::string text(command, strnlen(command, longestCommand));
    for (char& c : text)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    return text;
}

/// Leaves the process with decimal points in its numbers, as hosts have come to rely on; our own
/// reading does not depend on it.
void setNumericLocale() {
    {
        const NumericLocale before;
        slog(7, "%s LC_NUMERIC %s", function, before.name());
        if (std::string_view(before.name()) != "C") useDecimalPoint();
    }
    slog(7, "%s LC_NUMERIC %s", function, NumericLocale().name());
}

/// A pitch that no detector has stands for 0.1 mm.
int usablePitch(int nanometres) {
    return nanometres < 1000 ? 100000 : nanometres;
}

/// Raises the call's failures.
void filterImage(Image source, Image destination, int pixelsizeX, int pixelsizeY,
                 const char* command, ini2* results) {
    raiseFailure(Check_SameSize(source, destination));
    if (command == nullptr) raise(LumoErrorParameter);
    const Call call{
        source, destination, usablePitch(pixelsizeX), usablePitch(pixelsizeY), workingText(command),
        results};
    const std::string name = Get_ParamString(call.text, "type=", "");
    setNumericLocale();
    if (name == "gauss_fd") return raiseFailure(runBandFilter(call, true));
    if (name == "gauss_fd2") return raiseFailure(runBandFilter(call, false));
    for (const Operation& operation : operations)
        if (name == operation.name) return runOperation(operation, call);
    raise(LumoErrorParameter);
}

}  // namespace
}  // namespace lumo

extern "C" {

int SC_Filter_ImageEx(Image source, Image destination, int32_t pixelsizeX, int32_t pixelsizeY,
                      const char* command, IniReturn** result, char** text, uint32_t* size) {
    using namespace lumo;
    slog(7, "%s entry %s ", function, command != nullptr ? command : "");
    std::unique_ptr<IniReturn> store;
    const int code = guarded([&] {
        if (result != nullptr) {
            if (*result != nullptr) raise(LumoErrorSlot);
            auto made = std::make_unique<IniReturn>();
            made->getBuffer();  // from here on handing it out allocates nothing
            store = std::move(made);
        }
        filterImage(source, destination, pixelsizeX, pixelsizeY, command, store.get());
    });
    if (store != nullptr) {
        if (text != nullptr) *text = store->getBuffer();
        if (size != nullptr) *size = store->getSize();
        *result = store.release();
    }
    slog(7, "%s return %d", function, code);
    return code;
}

int SC_Filter_Image(Image source, Image destination, int32_t pixelsizeX, int32_t pixelsizeY,
                    const char* command) {
    return SC_Filter_ImageEx(source, destination, pixelsizeX, pixelsizeY, command, nullptr, nullptr,
                             nullptr);
}

int Destroy_IniReturn(IniReturn** result) {
    if (result == nullptr) return LumoErrorSlot;
    delete *result;
    *result = nullptr;
    return LumoOk;
}

}  // extern "C"
